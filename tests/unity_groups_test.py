"""Which units a build compiles as one.

    unity_groups_test.py PROGRAM
"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

PROGRAM = None


class UnityGroupsTest(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory(prefix="hddtest_unity_groups.")
        self.addCleanup(place.cleanup)
        self.folder = pathlib.Path(place.name)

    def groups(self, units, targets=None, most=8):
        """The number of each unit's group; units are texts by name, targets are lists of names."""
        for name, text in units.items():
            (self.folder / name).write_text(text)
        targets = targets or {"all": [name for name in units if name.endswith(".cpp")]}
        lists = "".join(";".join([target, *(f"{self.folder}/{name}" for name in names)]) + "\n"
                        for target, names in targets.items())
        ran = subprocess.run([sys.executable, "-B", PROGRAM, str(most)], input=lists, text=True,
                             capture_output=True, check=True)
        return {pathlib.Path(unit).name: int(group)
                for unit, group in (line.split("=") for line in ran.stdout.splitlines())}

    def test_units_without_a_common_name_are_one(self):
        self.assertEqual(self.groups({"a.cpp": "int one() {\n", "b.cpp": "int two() {\n"}),
                         {"a.cpp": 0, "b.cpp": 0})

    def test_a_common_name_parts_units(self):
        for first, second in (("int f(int x) {", "void f() {"),
                              ("constexpr int kMost = 3;", "constexpr std::array kMost{1};"),
                              ("using T = A;", "struct T {"), ("using a::T;", "enum class T { X };"),
                              ("#define ROW(x)", "#define ROW(y, z)"),
                              ("std::map<int, int> all;", "const char* all[3];"),
                              ("void usual();", "int usual = 0;"),
                              ("long name(int a,\n     int b) {", "long name(\n    int a) {")):
            with self.subTest(first):
                self.assertEqual(self.groups({"a.cpp": first, "b.cpp": second}),
                                 {"a.cpp": 0, "b.cpp": 1})

    def test_members_tests_and_what_is_inside_part_nothing(self):
        for text in ("int A::size() {", "A::A() {", "A::~A() {", "TEST(A, Holds) {", "  int i = 0;",
                     "namespace a {", "#include <string>", "// name", "}  // namespace"):
            with self.subTest(text):
                self.assertEqual(self.groups({"a.cpp": text, "b.cpp": text}),
                                 {"a.cpp": 0, "b.cpp": 0})

    def test_a_name_in_a_header_that_only_the_other_unit_reads_parts_them(self):
        self.assertEqual(self.groups({"deep.h": "struct Drive {\n", "a.h": '#include "deep.h"\n',
                                      "a.cpp": '#include "a.h"\n', "b.cpp": "using x::Drive;\n"}),
                         {"a.cpp": 0, "b.cpp": 1})

    def test_a_name_in_a_header_of_both_parts_nothing(self):
        self.assertEqual(self.groups({"a.h": "int size();\n", "a.cpp": '#include "a.h"\nint size() {\n',
                                      "b.cpp": '#include "a.h"\n'}), {"a.cpp": 0, "b.cpp": 0})

    def test_a_group_has_at_most_as_many_units_of_a_target(self):
        units = {f"{letter}.cpp": "" for letter in "abcde"}
        self.assertEqual(list(self.groups(units, most=2).values()), [0, 0, 1, 1, 2])

    def test_a_unit_has_one_group_in_all_targets(self):
        units = {"a.cpp": "", "b.cpp": "int f() {", "c.cpp": "int f() {"}
        self.assertEqual(self.groups(units, {"two": ["b.cpp", "c.cpp"], "one": ["a.cpp", "c.cpp"]}),
                         {"a.cpp": 0, "b.cpp": 0, "c.cpp": 1})


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()

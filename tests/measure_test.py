"""What tools/measure counts in a small tree. The program is the first argument."""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

FILES = {
    "a/one.h": '#include "a/two.h"\n',
    "a/two.h": '// Why.\n#include "a/one.h"\nconst char* text = "/*";\nint code; // beside it\n/* first\n   last */\n',
    "a/three.h": '#include "a/two.h"\n',
    "a/one.cpp": "int short_one() {\n  return 1;\n}\nint long_one() {\n" + "  work();\n" * 40 + "}\n",
    "a/one_test.cpp": "TEST(One, IsShort) {\n" + "  check();\n" * 50 + "}\n",
    "b/tool": '#!/usr/bin/env python3\n"""What it is."""\n# Why.\n\n\ndef work():\n    """How."""\n    return """no\ncomment"""\n',
    "b/script.sh": "# Why.\necho '#'\n",
    "b/notes.md": "# No code\n",
    "build/generated.cpp": "int built;\n",
}


@unittest.skipUnless(shutil.which("ctags"), "universal-ctags is not installed")
class Measure(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory(prefix="hddtest_measure.")
        self.addCleanup(place.cleanup)
        for name, text in FILES.items():
            path = pathlib.Path(place.name, name)
            path.parent.mkdir(exist_ok=True)
            path.write_text(text, encoding="utf-8")
        done = subprocess.run([sys.argv[1], place.name], capture_output=True, text=True, check=True)
        self.lines = done.stdout.splitlines()

    def row(self, folder):
        return next(line.split()[1:] for line in self.lines if line.split()[:1] == [folder])

    def test_row_of_a_folder(self):
        self.assertEqual(self.row("a"), ["5", "53", "52", "0.98", "3", "2.9%", "2", "22.5", "42", "50.0%"])

    def test_comments_of_scripts(self):
        self.assertEqual(self.row("b"), ["2", "11", "0", "0.00", "4", "36.4%", "1", "4", "4", "0.0%"])

    def test_sum_leaves_out_what_is_built_and_what_is_no_code(self):
        self.assertEqual(self.row("all")[:3], ["7", "64", "52"])

    def test_longest_function_is_none_of_a_test(self):
        self.assertEqual(self.lines[self.lines.index("longest functions:") + 1].split(),
                         ["42", "long_one", "a/one.cpp"])

    def test_largest_files(self):
        self.assertEqual(self.lines[self.lines.index("largest files:") + 1].split(), ["52", "a/one_test.cpp"])

    def test_circles_name_who_is_in_one_and_nobody_who_leads_to_it(self):
        self.assertEqual(self.lines[-1], "include circles: a/one.h, a/two.h")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)

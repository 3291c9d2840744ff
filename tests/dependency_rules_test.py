"""What the rules of dependency_rules.py find in a small tree."""

import pathlib
import tempfile
import unittest

import dependency_rules


class DependencyRules(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory(prefix="hddtest_dependency_rules.")
        self.addCleanup(place.cleanup)
        self.root = pathlib.Path(place.name)

    def write(self, name, text=""):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def second_places(self):
        return list(dependency_rules.second_places(self.root))

    def forgotten_tests(self):
        return list(dependency_rules.forgotten_tests(self.root))

    def test_a_second_place_is_named_with_the_first(self):
        for folder in ("broker/http", "cli", "drivetest", "inventory"):
            for call, place in (("posix_spawn(&process, name)", "platform/spawn_plan.h"),
                                ("XML_ParserCreateNS(nullptr, ':')", "platform/xml_reader.h"),
                                ("if (lead >= 0xE0) length = 3", "platform/utf8.h"),
                                ("EVP_DecodeBlock(out, in, 4)", "broker/http/head.cpp"),
                                ("strcasecmp(a, b)", "platform/words.h"),
                                ("sqlite3_open_v2(name, &file, 0, nullptr)", "drivetest/database.cpp"),
                                ("localtime_r(&now, &local)", "platform/local_time.h")):
                with self.subTest(call=call, folder=folder):
                    self.write(f"{folder}/unit.cpp", f"void work() {{\n  {call};\n}}\n")
                    self.assertEqual(len(self.second_places()), 1)
                    self.assertIn(f"{folder}/unit.cpp ", self.second_places()[0])
                    self.assertIn(place, self.second_places()[0])
            self.write(f"{folder}/unit.cpp")

    def test_the_place_itself_tests_and_comments_may_name_it(self):
        self.write("platform/spawn_plan.h", "posix_spawn(&process, name);\n")
        self.write("cli/run_test.cpp", "posix_spawn(&process, name);\n")
        self.write("broker/http/test_client.cpp", "posix_spawn(&process, name);\n")
        self.write("cli/run.cpp", "// Like posix_spawn.\nposix_spawn_file_actions_t actions;\n")
        self.assertEqual(self.second_places(), [])

    def test_a_test_that_no_list_names_is_forgotten(self):
        self.write("cli/CMakeLists.txt", "hddtest_test(cli_test SOURCES run_test.cpp)  # stop_test.cpp\n")
        for name in ("cli/stop_test.cpp", "cli/run_test.py", "deploy/systemd/unit_test.py",
                     "tests/soak/soak_test.py"):
            with self.subTest(name):
                self.write(name)
                self.assertEqual(self.forgotten_tests(), [f"{name} is in no CMakeLists.txt"])
                (self.root / name).unlink()

    def test_a_list_names_files_by_themselves_and_in_loops(self):
        self.write("deploy/CMakeLists.txt", "COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/systemd/unit_test.py\n")
        self.write("deploy/systemd/unit_test.py")
        self.write("cli/CMakeLists.txt", "SOURCES memory_test.cpp\nforeach(name run_test stop_test)\n"
                   "  ${CMAKE_CURRENT_SOURCE_DIR}/${name}.py\n")
        self.write("cli/memory_test.cpp")
        self.write("cli/stop_test.py")
        self.write("tests/attacks/CMakeLists.txt", "set(attacks memory storm)\n  ${name}_test.py\n")
        self.write("tests/attacks/storm_test.py")
        self.write("tests/discovery/CMakeLists.txt", "foreach(what tables)\n  recorded_${what}_test.cpp\n")
        self.write("tests/discovery/recorded_tables_test.cpp")
        self.assertEqual(self.forgotten_tests(), [])
        self.write("cli/memory_test.py")
        self.write("tests/attacks/flood_test.py")
        self.assertEqual(self.forgotten_tests(), ["cli/memory_test.py is in no CMakeLists.txt",
                                                  "tests/attacks/flood_test.py is in no CMakeLists.txt"])


if __name__ == "__main__":
    unittest.main()

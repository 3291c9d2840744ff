"""What ./test and its helpers make of a build tree, which is a small one made here.

    test_command_test.py
"""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

TREE = pathlib.Path(__file__).resolve().parent.parent

# A program as GoogleTest makes them: four cases, of which one may fail and one break off.
PROGRAM = """#!/bin/bash
cases="Good.Passes Good.Skips Bad.Fails Bad.Breaks"
if [ "$*" = --gtest_list_tests ]; then
  printf 'Good.\\n  Passes\\n  Skips  # GetParam() = 1\\nBad.\\n  Fails\\n  Breaks\\n'
  exit
fi
[ "${GTEST_FILTER:-*}" = '*' ] || cases=${GTEST_FILTER//:/ }
: >"$TEST_PREMATURE_EXIT_FILE"
echo "[==========] Running $(wc -w <<< "$cases") tests from 2 test suites."
status=0 xml=
for case in $cases; do
  echo "[ RUN      ] $case"
  word="      OK" inside=
  case $case in
    *Skips) word=" SKIPPED" inside="<skipped/>" ;;
    *Fails) [ -z "${FAIL-}" ] || { word=" FAILED " inside="<failure/>" status=1; } ;;
    *Breaks) [ -z "${BREAK-}" ] || exit "$BREAK" ;;
  esac
  echo "[ $word ] $case, where GetParam() = 1 (0 ms)"
  xml+="<testcase name='${case#*.}' classname='${case%.*}' status='run'>$inside</testcase>"
done
echo "<testsuites>$xml<testcase name='Off' classname='Good' status='notrun'/></testsuites>" \\
  >"${GTEST_OUTPUT#xml:}"
rm "$TEST_PREMATURE_EXIT_FILE"
exit $((status | ${LEAK:-0}))
"""


class TestCommand(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory(prefix="hddtest_test_command.")
        self.addCleanup(place.cleanup)
        self.folder = pathlib.Path(place.name).resolve()
        shutil.copytree(TREE / "tools", self.folder / "tools")
        shutil.copy(TREE / "test", self.folder)
        self.build = self.folder / "build"
        (self.build / "house/room").mkdir(parents=True)
        self.program("build/parts_test", PROGRAM)
        self.program("bin/dpkg-query", "#!/bin/sh\necho installed\n")
        self.program("bin/apt-cache", "#!/bin/sh\n")
        self.program("bin/cmake", f"#!/bin/sh\necho \"$@\" >>{self.folder}/built\n"
                     'case "$*" in *"--build build/${BROKEN-none}"*) echo no such thing; exit 1;; esac\n')
        (self.build / "build.ninja").write_text("build parts_test new_test thing: phony\n")
        (self.build / "CTestTestfile.cmake").write_text("subdirs(house)\nsubdirs(house/room)\n")
        (self.build / "house/CTestTestfile.cmake").write_text("".join(
            f"add_test({name} {TREE}/tests/own_tmp.sh {self.folder} {self.build}/parts_test)\n"
            f"set_tests_properties({name} PROPERTIES ENVIRONMENT \"GTEST_OUTPUT=xml:{self.build}/cases/"
            f"{name}.xml;TEST_PREMATURE_EXIT_FILE={self.build}/cases/{name}.running\" LABELS shared)\n"
            for name in ("parts_test.1", "parts_test.2")) + "add_test(new_test new_test)\n")
        (self.build / "house/room/CTestTestfile.cmake").write_text(
            f"add_test(script true {self.build}/thing)\nadd_test(packed true {self.build})\n"
            f"add_test(lab.one true {self.build})\n"
            f"set_tests_properties(lab.one PROPERTIES REQUIRED_FILES {self.build}/parts_test)\n"
            f"add_test(apart true)\nset_tests_properties(apart PROPERTIES LABELS odd)\n"
            f"add_test(many {self.folder}/bin/many)\nset_tests_properties(many PROPERTIES LABELS fleet)\n")
        self.program("bin/many", "#!/bin/sh\n")

    def program(self, name, text):
        path = self.folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(text)
        path.chmod(0o755)

    def call(self, *arguments, **environment):
        """Exit status, last line, and all that was printed."""
        done = subprocess.run(["./test", *arguments], cwd=self.folder, text=True, timeout=60,
                              capture_output=True, check=False,
                              env={**os.environ, "PATH": f"{self.folder}/bin:{os.environ['PATH']}",
                                   **environment})
        lines = (done.stdout + done.stderr).splitlines()
        return done.returncode, done.stdout.splitlines()[-1:], lines

    def built(self):
        lines = (self.folder / "built").read_text().splitlines()
        (self.folder / "built").unlink()
        return [line.split("--target ")[1] for line in lines
                if "--target" in line and "build.ninja" not in line]

    def test_names_of_all_kinds_choose_what_they_name_and_build_what_it_needs(self):
        for name, ran, built in [
                ("parts_test", "6 passed, 0 failed, 2 skipped", ["parts_test"]),
                ("parts_test.1", "3 passed, 0 failed, 1 skipped", ["parts_test"]),
                ("shared", "6 passed, 0 failed, 2 skipped", ["parts_test"]),
                ("house/room", "5 passed, 0 failed", ["all"]),
                ("house/room/", "5 passed, 0 failed", ["all"]),
                ("script", "1 passed, 0 failed", ["thing"]),
                ("packed", "1 passed, 0 failed", ["all"]),
                ("lab", "1 passed, 0 failed", ["parts_test"]),
                ("odd", "1 passed, 0 failed", []),
                ("fleet", "1 passed, 0 failed", []),
                ("^s.*pt$", "1 passed, 0 failed", ["thing"]),
                ("d\\.Skip|Good.Passes", "2 passed, 0 failed, 2 skipped", ["parts_test"])]:
            with self.subTest(name):
                status, last, lines = self.call(name)
                self.assertEqual((status, last), (0, [ran]), "\n".join(lines))
                self.assertEqual(self.built(), built)

    def test_program_without_a_first_build_is_built_by_its_name(self):
        status, last, _ = self.call("new_test")
        self.assertEqual((status, last, self.built()),
                         (1, ["0 passed, 1 failed"], ["new_test"]))

    def test_name_that_there_is_not_shows_those_that_there_are(self):
        for name in ("hous", "?", "shared_"):
            status, last, lines = self.call(name)
            self.assertEqual((status, last, lines[1:]), (2, [], [
                f"./test: there is no part '{name}': no test, folder, label or case that is built.",
                "Tests: apart lab many new_test packed parts_test script", "Folders: house house/room",
                "Labels: fleet odd shared"]))
            self.assertEqual(self.built(), [])
        self.assertEqual(self.call("one", "two")[0], 2)

    def test_failures_are_named_and_fail(self):
        self.assertEqual(self.call("parts_test.1", FAIL="1")[:2],
                         (1, ["2 passed, 1 failed, 1 skipped"]))
        self.assertIn("failed: parts_test.1: Bad.Fails (build)", self.call("shared", FAIL="1")[2])

    def test_leak_after_the_last_case_fails(self):
        status, last, lines = self.call("parts_test.1", LEAK="1")
        self.assertEqual((status, last), (1, ["3 passed, 1 failed, 1 skipped"]))
        self.assertIn("failed: parts_test.1: after its cases (build)", lines)

    def test_program_that_breaks_off_fails_in_the_case_that_it_was_in_whatever_its_status(self):
        for status_of_program in ("0", "134"):
            status, last, lines = self.call("parts_test.1", BREAK=status_of_program)
            self.assertEqual((status, last), (1, ["2 passed, 1 failed, 1 skipped"]))
            self.assertIn("failed: parts_test.1: Bad.Breaks (broke off) (build)", lines)
        # What an earlier run left behind does not count.
        self.assertEqual(self.call("parts_test.1")[:2], (0, ["3 passed, 0 failed, 1 skipped"]))

    def test_cases_after_the_break_are_told(self):
        _, last, lines = self.call("(Bad.Breaks|Good.Passes)$", BREAK="1")
        self.assertEqual(last, ["0 passed, 2 failed"])
        self.assertIn("failed: parts_test.2: Bad.Breaks (broke off, 1 more not run) (build)", lines)

    def three_trees(self):
        for preset, label in (("address", "any"), ("thread", "thread")):
            (self.build / preset).mkdir()
            (self.build / preset / "CTestTestfile.cmake").write_text(
                f"add_test({preset} true)\n"
                f"set_tests_properties({preset} PROPERTIES LABELS {label})\n")

    def test_whole_suite_adds_up_three_trees(self):
        self.three_trees()
        status, last, lines = self.call(FAIL="1")
        self.assertEqual((status, last), (1, ["11 passed, 3 failed, 2 skipped"]), "\n".join(lines))
        self.assertEqual(self.built(), ["all", "all", "thread_tests"])

    def test_whole_suite_goes_on_without_the_packages_of_fleets_and_fails(self):
        self.three_trees()
        self.program("bin/dpkg-query", "#!/bin/sh\ncase $4 in ansible*) ;; *) echo installed;; esac\n")
        self.program("bin/apt-get", "#!/bin/sh\nexit 100\n")
        status, last, lines = self.call()
        self.assertEqual((status, last), (1, ["13 passed, 1 failed, 2 skipped"]), "\n".join(lines))
        self.assertIn("Packages are missing and could not be installed (the log is build/install.log).", lines)

    def test_packages_of_fleets_are_fetched_while_the_first_tree_is_built(self):
        self.three_trees()
        asked, fetched, built = (self.folder / name for name in ("asked", "fetched", "built"))
        self.program("bin/dpkg-query", f"#!/bin/sh\ncase $4 in ansible*) [ -e {fetched} ] ;; esac && "
                     "echo installed\n")
        self.program("bin/apt-get", f"#!/bin/sh\ntouch {asked}\n"
                     f"for i in $(seq 300); do [ ! -e {built} ] || break; sleep 0.1; done\n"
                     f"[ ! -e {built} ] || touch {fetched}\n")
        self.program("bin/cmake", f"#!/bin/sh\nfor i in $(seq 300); do [ ! -e {asked} ] || break; "
                     f"sleep 0.1; done\n[ ! -e {asked} ] || touch {built}\n")
        self.call()
        self.assertTrue(fetched.exists())

    def test_build_beside_the_tests_that_fails_shows_its_log_and_ends_all(self):
        self.three_trees()
        for broken in ("address", "thread"):
            status, _, lines = self.call(BROKEN=broken)
            self.assertEqual(status, 3)
            self.assertIn("no such thing", lines)
            self.assertEqual(lines[-1], "The build failed; the whole log is build/"
                             f"{broken}/build.log")


unittest.main()

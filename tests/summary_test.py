"""What ./test tells at its end of tests that failed, or were skipped and why (tools/summary.py)."""

import pathlib
import subprocess
import sys
import tempfile
import unittest
from xml.sax.saxutils import escape, quoteattr

SUMMARY = pathlib.Path(__file__).resolve().parent.parent / "tools" / "summary.py"

PASSED, SKIPPED, FAILED = "", '<skipped message="SKIP_RETURN_CODE=77"/>', '<failure message=""/>'


class Summary(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.tree = pathlib.Path(folder.name) / "tree"
        (self.tree / "cases").mkdir(parents=True)

    def told(self, *tests, status=0):
        """What it says of tests: a name, how it ended, and its output."""
        text = "".join(f"<testcase name={quoteattr(name)}>{how}<system-out>{escape(output)}</system-out>"
                       "</testcase>" for name, how, output in tests)
        (self.tree / "junit.xml").write_text(f"<testsuite>{text}</testsuite>")
        done = subprocess.run([sys.executable, "-B", SUMMARY, self.tree], capture_output=True,
                              text=True, check=False)
        self.assertEqual((done.returncode, done.stderr), (status, ""), done.stdout)
        return done.stdout.replace(f" ({self.tree})", "").splitlines()

    def write_cases(self, name, *cases):
        text = "".join(f'<testcase classname="Suite" name="{case}" status="run">{how}</testcase>'
                       for case, how in cases)
        (self.tree / "cases" / f"{name}.xml").write_text(f"<testsuites>{text}</testsuites>")

    def test_a_program_without_its_tool_says_which(self):
        self.assertEqual(self.told(("good", PASSED, ""), ("lives", SKIPPED, "so far\nnvme is not installed\n")),
                         ["skipped: lives: nvme is not installed", "1 passed, 0 failed, 1 skipped"])

    def test_a_case_of_a_program_says_why(self):
        self.write_cases("unit", ("Good", ""), ("Root", '<skipped message="a.cpp:9&#x0A;only root"/>'))
        self.assertEqual(self.told(("unit", PASSED, "")),
                         ["skipped: unit: Suite.Root: only root", "1 passed, 0 failed, 1 skipped"])

    def test_a_case_in_python_says_why(self):
        self.assertEqual(
            self.told(("page", PASSED, "test_man (__main__.A.test_man) ... skipped 'man is not installed'\n"
                       "test_two (__main__.A.test_two)\nSays more. ... skipped \"only 'root'\"\n"
                       "test_ok (__main__.A.test_ok) ... ok\n\nOK (skipped=2)\n")),
            ["skipped: page: test_man: man is not installed", "skipped: page: test_two: only 'root'",
             "1 passed, 0 failed, 2 skipped"])

    def test_what_does_not_say_why_is_told_all_the_same(self):
        self.assertEqual(self.told(("page", PASSED, "s.s\n\nOK (skipped=2)\n")),
                         ["skipped: page: one of its cases: no reason was told"] * 2 +
                         ["1 passed, 0 failed, 2 skipped"])

    def test_what_failed_is_told(self):
        self.assertEqual(self.told(("good", PASSED, ""), ("bad", FAILED, ""), status=1),
                         ["failed: bad", "1 passed, 1 failed"])


if __name__ == "__main__":
    unittest.main()

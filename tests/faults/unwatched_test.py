"""hddtest watch, where the system gives it no thread for one of its drives: it says so of this drive, whose
test goes on, and watches the others.

    unwatched_test.py PROGRAMS STANDIN PRELOAD
"""

import json
import pathlib
import sys
import unittest

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(TESTS / "drivetest"))
from life import Life  # noqa: E402
from stage import Stage, skip_without_tools  # noqa: E402

PROGRAMS, STANDIN, PRELOAD = (pathlib.Path(name).resolve() for name in sys.argv[1:4])
DRIVES = {name: (TESTS / "drivetest" / "lives" / "common" / f"{name}.drive").read_text().splitlines()
          for name in ("disk", "solid")}
REASON = "the test cannot be watched: "
UNKNOWN = 3


class Unwatched(unittest.TestCase):
    def setUp(self):
        self.stage = Stage(Life(None, DRIVES, {}), PROGRAMS, STANDIN)
        self.addCleanup(self.stage.close)
        self.stage.let_clock_run(20)
        self.first, self.second = self.stage.nodes()

    def start_tests(self):
        status, output, errors = self.stage.run(["hddtest", "start", "--test", "long"])
        self.assertEqual(status, 0, output + errors)

    def watch(self, failing, *options):
        """Without the thread of this number, or with all for 0; and how many threads it asked for."""
        count = self.stage.folder / "count"
        count.unlink(missing_ok=True)
        before = dict(self.stage.environment)
        self.stage.environment |= {"LD_PRELOAD": f"{PRELOAD}:{before['LD_PRELOAD']}",
                                   "FAILING_CALL": "thread", "FAILING_NUMBER": str(failing),
                                   "FAILING_COUNT": str(count)}
        result = self.stage.run(["hddtest", *options, "watch"])
        self.stage.environment = before
        return *result, int(count.read_text())

    def watch_without_last_thread(self, *options):
        """The last thread of all is the one that follows the second drive."""
        self.start_tests()
        status, output, errors, threads = self.watch(0)
        self.assertEqual((status, errors), (0, ""), output)
        self.start_tests()
        status, output, errors, again = self.watch(threads, *options)
        self.assertEqual(again, threads)
        self.assertEqual(status, UNKNOWN, output + errors)
        self.assertRegex(errors, rf"\Ahddtest: {self.second}: [^\n]*{REASON}[^\n]+\n\Z")
        self.assertNotIn("std::", errors)
        return output

    def test_says_so_and_watches_the_others(self):
        output = self.watch_without_last_thread()
        self.assertRegex(output, rf"(?m)^{self.first}: (long test )?passed")
        self.assertNotRegex(output, rf"(?m)^{self.second}: .*(passed|failed|aborted)")

    def test_names_drive_and_test_in_json(self):
        first, second = json.loads(self.watch_without_last_thread("--json"))
        self.assertEqual((first["device"], first["status"]), (self.first, 0))
        self.assertEqual((second["device"], second["status"]), (self.second, UNKNOWN))
        self.assertEqual(second["test"], "long")
        self.assertIn(REASON, second["reason"])
        self.assertEqual({name for name in ("model", "serial", "begin") if not second.get(name)}, set())


if __name__ == "__main__":
    skip_without_tools()
    unittest.main(argv=sys.argv[:1])

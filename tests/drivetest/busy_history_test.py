"""What the commands tell while another program keeps the history busy: it can be read all the same. The
tools are real and the drives the stand-in's.

    busy_history_test.py PROGRAMS STANDIN
"""

import concurrent.futures
import contextlib
import json
import shutil
import sqlite3
import sys
import unittest

from life import Life
from stage import Stage

PROGRAMS, STANDIN = sys.argv[1:3]

DISK = ["protocol ata", "nodes /dev/sda", "vendor EXAMPLE", "model Example Disk 500", "serial EX0001",
        "firmware 1.0", "wwn 5000c500a1b2c3d1", "result 7", "ends_at 30"]


class Busy(unittest.TestCase):
    def setUp(self):
        self.stage = Stage(Life(None, {"disk": DISK}, {}), PROGRAMS, STANDIN)
        self.addCleanup(self.stage.close)

    @contextlib.contextmanager
    def busy(self):
        with contextlib.closing(sqlite3.connect(self.stage.folder / "history/history.sqlite",
                                                isolation_level=None)) as other:
            other.execute("BEGIN IMMEDIATE")
            yield

    def call(self, status, *words):
        found, output, errors = self.stage.run(["hddtest", *words])
        self.assertEqual(found, status, output + errors)
        return output, errors

    def let_a_test_fail(self):
        """A test that fails, whose end the history has if it is not busy."""
        self.call(0, "start", "--test", "short", "/dev/sda")
        self.stage.clock(200)

    def test_failure_is_still_told(self):
        self.let_a_test_fail()
        self.call(1, "status")
        self.call(0, "start", "--test", "long", "/dev/sda")
        self.stage.clock(60)
        with self.busy(), concurrent.futures.ThreadPoolExecutor() as at_once:  # each waits for long
            status = at_once.submit(self.call, 1, "status")
            status_json = at_once.submit(self.call, 1, "status", "--json")
            report = at_once.submit(self.call, 3, "report")
            metrics, _ = self.call(0, "metrics")
            output, errors = status.result()
            self.assertIn("before it: short test failed", output)
            self.assertIn("not everything is kept in the history: ", errors)
            drive, = json.loads(status_json.result()[0])
            self.assertEqual(drive["failed"]["outcome"], "failed")
            self.assertRegex(metrics, r'hddtest_failure_open\{[^}]*test="short"\} 1\n')
            self.assertRegex(metrics, r'hddtest_tests_total\{[^}]*outcome="failed"\} 1\n')
            self.assertIn("hddtest_scrape_errors 1\n", metrics)
            page, _ = report.result()
            self.assertIn("The history could not be written; this look is not kept.", page)
            self.assertNotIn("could not be read", page)
            self.assertIn("Short test failed", page)

    def test_end_that_cannot_be_kept_is_told(self):
        self.let_a_test_fail()
        with self.busy():
            output, _ = self.call(1, "status")
            self.assertIn("short test failed just now", output)
        self.call(1, "status")

    def test_report_calls_no_test_unknown_where_no_history_can_be_read(self):
        self.let_a_test_fail()
        self.call(1, "status")
        (self.stage.folder / "history").chmod(0o777)
        page, _ = self.call(3, "report")
        self.assertIn("The history of tests could not be read, so tests are missing here.", page)
        self.assertIn(">Not known</b> Without the history nobody knows what its tests came to.", page)
        self.assertNotIn("No test of it is kept", page)

    def test_totals_are_not_told_where_no_history_can_be_read(self):
        self.let_a_test_fail()
        self.call(1, "status")
        (self.stage.folder / "history").chmod(0o777)
        metrics, errors = self.call(3, "metrics")
        self.assertEqual(metrics, "")
        self.assertIn("no metrics: without the history nobody knows which drives have failed", errors)


if __name__ == "__main__":
    if not shutil.which("smartctl", path="/usr/sbin"):
        print("smartctl is not installed")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])

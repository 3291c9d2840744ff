"""One command that fails, be it the first, the second or a later one, makes no other drive of a drive, ends
no test and loses none. The tools are real and the drives the stand-in's.

    one_failure_test.py PROGRAMS STANDIN [COMMANDS]     each of so many commands of a drive (default: 12)
"""

import pathlib
import sys
import unittest

from life import Life
from stage import Stage, skip_without_tools

PROGRAMS, STANDIN = sys.argv[1:3]
COMMANDS = int(sys.argv[3]) if len(sys.argv) > 3 else 12
COMMON = pathlib.Path(__file__).parent / "lives" / "common"
DRIVES = {"disk": "/dev/sda", "sas": "/dev/sdb", "solid": "/dev/nvme0"}
LONG = ["--test", "long"]
DAY = 86400


class OneFailure(unittest.TestCase):
    def play(self, drive, number, command, is_testing):
        """What a command says whose Nth question to the drive fails, and what is kept a day later."""
        fields = (COMMON / f"{drive}.drive").read_text().splitlines()
        stage = Stage(Life(None, {drive: fields}, {}, pace=10), PROGRAMS, STANDIN)
        try:
            node = DRIVES[drive]
            stage.run(["hddtest", "status", node])
            if is_testing:
                stage.run(["hddtest", "start", *LONG, node])
                stage.clock(300)
            stage.event("set", drive, "fail_in", str(number))
            status, output, errors = stage.run(["hddtest", *command, node])
            stage.event("set", drive, "fail_in", "0")
            goes_on = stage.field(drive, "is_testing") == "1"
            begun = int(stage.field(drive, "tests_begun"))
            stage.clock(DAY)
            stage.run(["hddtest", "status", node])
            return status, output + errors, goes_on, begun, stage.rows()
        finally:
            stage.close()

    def each(self, command, is_testing, check):
        for drive in DRIVES:
            for number in range(1, COMMANDS + 1):
                with self.subTest(drive=drive, number=number):
                    status, words, goes_on, begun, rows = self.play(drive, number, command, is_testing)
                    told = [(row["source"], row["identity"], row["outcome"]) for row in rows]
                    self.assertEqual(len({row["identity"] for row in rows}), min(begun, 1), told)
                    self.assertEqual([row["source"] for row in rows], ["hddtest"] * begun, told)
                    self.assertNotIn("failed (", words)
                    check(status, words, goes_on, told)

    def test_look_at_a_test_that_runs(self):
        def check(_status, _words, goes_on, told):
            self.assertTrue(goes_on)
            self.assertEqual(told[0][2], "passed")
        self.each(["status"], True, check)

    def test_start(self):
        def check(status, words, goes_on, told):
            # What is not known to be started is not said to be.
            if status == 0:
                self.assertTrue(goes_on, words)
            self.assertEqual([outcome for _, _, outcome in told], ["passed"] * len(told), words)
        self.each(["start", *LONG], False, check)

    def test_stop(self):
        def check(status, words, goes_on, told):
            if status == 0:
                self.assertFalse(goes_on, words)
            self.assertEqual(told[0][2], "passed" if goes_on else "aborted", words)
        self.each(["stop"], True, check)

    def test_run(self):
        def check(_status, words, _goes_on, told):
            self.assertEqual([outcome for _, _, outcome in told], ["passed"] * len(told), words)
        self.each(["run", *LONG], False, check)


if __name__ == "__main__":
    skip_without_tools()
    unittest.main(argv=sys.argv[:1])

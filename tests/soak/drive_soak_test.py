"""Starts and looks by 16 processes at a time over one history: nothing is left behind, and no test is
lost, kept twice or told otherwise than by its drive.

    drive_soak_test.py PROGRAMS STANDIN [COMMANDS]      so many commands in all (default: 1000)

The tools are real and the drives the stand-in's. Prints what it found, a line per claim.
"""

import collections
import ctypes
import fcntl
import json
import os
import pathlib
import random
import shutil
import sqlite3
import sys
import tempfile
import threading
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "drivetest"))
from life import Life  # noqa: E402
from stage import Stage, skip_without_tools  # noqa: E402

PROGRAMS, STANDIN = (pathlib.Path(name).resolve() for name in sys.argv[1:3])
COMMANDS = int(sys.argv[3]) if len(sys.argv) > 3 else 1000
PROCESSES, DRIVES = 16, 8
DEVICES = [f"/dev/sd{letter}" for letter in "abcdefgh"[:DRIVES]]
# What users do, and how often.
WEIGHTS = {"start": 9, "stop": 2, "status": 4, "history": 1, "drives": 1}
ROUND = 50  # commands, then time passes: a minute, or more than any test takes
TIMES = [60, 9000]
LOG_ROWS = 21  # of an ATA drive
PASSED, ABORTED_BY_HOST = "0", "1"


def disk(number):
    return ["protocol ata", f"nodes {DEVICES[number]}", "model Example Disk 500", f"serial EX000{number}",
            "firmware 1.0", f"wwn 5000c500a1b2c3d{number}"]


class DriveSoak(unittest.TestCase):
    def setUp(self):
        drives = {f"disk{number}": disk(number) for number in range(DRIVES)}
        self.stage = Stage(Life(None, drives, {}), PROGRAMS, STANDIN)
        self.addCleanup(self.stage.close)
        self.scratch = tempfile.mkdtemp(prefix="drive_soak.")
        self.addCleanup(shutil.rmtree, self.scratch, ignore_errors=True)
        self.stage.environment["TMPDIR"] = self.scratch
        self.lock = threading.Lock()
        self.to_do = 0
        self.started = collections.Counter()  # by the test's id
        self.done = collections.Counter()     # by command and exit status
        self.troubles = []

    def begins_another(self):
        with self.lock:
            self.to_do -= 1
            return self.to_do >= 0 and not self.troubles

    def use(self, seed):
        """What one process after the other does, as long as there is something to do."""
        dice = random.Random(seed)
        while self.begins_another():
            command, = dice.choices(list(WEIGHTS), WEIGHTS.values())
            words = [command, "--json"]
            if command == "start":
                words += ["--test", dice.choice(["short", "long"])]
            if command != "drives":  # which looks at all
                words.append(dice.choice(DEVICES))
            status, output, errors = self.stage.run(["hddtest", *words])
            with self.lock:
                self.done[command, status] += 1
                if errors or status not in range(3):
                    self.troubles.append((words, status, output, errors))
                elif command == "start":
                    self.started.update(one["test"]["id"] for one in json.loads(output)
                                        if one["result"] == "started")

    def drive(self, number):
        """The fields of a drive, and the results in its log, the newest first."""
        lines = self.stage.event("show", f"disk{number}").splitlines()
        fields = dict(line.split(" ", 1) for line in lines if not line.startswith("row "))
        rows = [dict(part.split("=") for part in line.split()[1:])
                for line in lines if line.startswith("row ")]
        return fields, [row["result"] for row in rows]

    def expect_nothing_left(self, descriptors):
        left = [pathlib.Path(f"/proc/{child}/cmdline").read_text().replace("\0", " ")
                for task in pathlib.Path("/proc/self/task").iterdir()
                for child in (task / "children").read_text().split()]
        print(f"processes left: {len(left)}")
        self.assertEqual(left, [])
        folder = self.stage.folder / "history"
        names = {file.name for file in folder.iterdir()}
        print(f"files in the history's folder: {', '.join(sorted(names))}; "
              f"in that for temporary ones: {len(os.listdir(self.scratch))}")
        self.assertEqual(names - {"history.lock"}, {"history.sqlite"})
        self.assertEqual(os.listdir(self.scratch), [])
        self.assertEqual(len(os.listdir("/proc/self/fd")), descriptors)
        for file in folder.iterdir():
            with open(file, "rb") as taken:
                fcntl.flock(taken, fcntl.LOCK_EX | fcntl.LOCK_NB)
        with sqlite3.connect(folder / "history.sqlite", timeout=0) as database:
            database.execute("BEGIN EXCLUSIVE")
            self.assertEqual(database.execute("PRAGMA integrity_check").fetchall(), [("ok",)])
        database.close()

    def expect_nothing_lost(self):
        rows = self.stage.rows()
        ids = collections.Counter(row["id"] for row in rows)
        outcomes = collections.Counter(row["outcome"] or "running" for row in rows)
        print(f"{len(self.started)} tests were said to be started; the history has {len(rows)}: "
              + ", ".join(f"{count} {outcome}" for outcome, count in sorted(outcomes.items())))
        self.assertEqual(set(self.started.values()), {1}, "one test was said to be two")
        self.assertEqual(self.started - ids, collections.Counter(), "said to be started, but not kept")
        unsaid = [row for row in rows if row["id"] not in self.started]
        self.assertEqual(unsaid, [], "kept, but not said to be started")
        self.assertEqual({row["source"] for row in rows}, {"hddtest"})
        for number, device in enumerate(DEVICES):
            fields, log = self.drive(number)
            # The log has a row for the test that runs, too.
            own = [row["outcome"] for row in rows if row["device"] == device]
            told = {PASSED: "passed", ABORTED_BY_HOST: "aborted"}
            with self.subTest(device=device, log=log, rows=own):
                self.assertEqual(len(own), int(fields["starts"]))
                self.assertEqual(own.count(None), int(fields["is_testing"]))
                ended = [outcome for outcome in own if outcome]
                entries = [told[result] for result in log if result in told]
                self.assertGreaterEqual(len(entries), min(len(ended), LOG_ROWS - 1))
                self.assertEqual(ended[::-1][:len(entries)], entries)

    def test_nothing_is_lost_or_left_behind(self):
        descriptors = len(os.listdir("/proc/self/fd"))
        begin = time.monotonic()
        dice = random.Random(1)
        for number in range(0, COMMANDS, ROUND):
            self.to_do = min(ROUND, COMMANDS - number)
            users = [threading.Thread(target=self.use, args=(number + user,))
                     for user in range(PROCESSES)]
            for user in users:
                user.start()
            for user in users:
                user.join()
            self.assertEqual(self.troubles, [])
            self.stage.clock(dice.choice(TIMES))
        print(f"{sum(self.done.values())} commands by {PROCESSES} processes in "
              f"{time.monotonic() - begin:.0f} s: "
              + ", ".join(f"{count} {command}" for command, count in sorted(
                  sum((collections.Counter({name: count}) for (name, _), count in self.done.items()),
                      collections.Counter()).items())))
        self.assertEqual(sum(self.done.values()), COMMANDS)
        status, output, errors = self.stage.run(["hddtest", "status", "--json"])
        self.assertEqual((len(json.loads(output)), errors), (DRIVES, ""))
        self.expect_nothing_left(descriptors)
        self.expect_nothing_lost()


if __name__ == "__main__":
    skip_without_tools()
    become_parent_of_orphans = 36  # PR_SET_CHILD_SUBREAPER
    ctypes.CDLL(None).prctl(become_parent_of_orphans, 1, 0, 0, 0)
    unittest.main(argv=sys.argv[:1])

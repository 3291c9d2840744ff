"""Each call of the commands that ask the drives themselves can fail: nothing crashes, what was said is
true, what was said to be begun or over is in the history, and nothing is left behind.

    command_faults_test.py PROGRAMS STANDIN PRELOAD [all]

The tools are real and the drives the stand-in's. Of each kind of call some fail that a seed chooses,
HDDTEST_FAULTS_SEED or 1: every other time that one alone, else all from there on. With `all` each fails.
"""

import collections
import ctypes
import json
import os
import pathlib
import random
import shutil
import signal
import sqlite3
import sys
import time
import unittest
from datetime import datetime, timedelta, timezone

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(TESTS / "drivetest"))
from life import Life  # noqa: E402
from stage import Stage, skip_without_tools  # noqa: E402

PROGRAMS, STANDIN, PRELOAD = (pathlib.Path(name).resolve() for name in sys.argv[1:4])
IS_ALL = sys.argv[4:] == ["all"]
SEED = os.environ.get("HDDTEST_FAULTS_SEED", "1")
DRIVES = {name: (TESTS / "drivetest" / "lives" / "common" / f"{name}.drive").read_text().splitlines()
          for name in ("disk", "solid")}

# By kind of call, how many of them fail at most.
KINDS = {"memory": 7, "open": 2, "write": 3, "read": 2, "sync": 2, "truncate": 1, "unlink": 1,
         "rename": 1, "mkdir": 1, "stat": 1, "link": 1, "lock": 1, "random": 1, "pipe": 1, "spawn": 1,
         "thread": 1, "poll": 1, "wait": 1}
# What can go on failing without the command trying again until its patience is over.
LASTING = {"memory", "open", "write", "sync", "truncate", "mkdir", "pipe", "spawn", "thread"}
# How many of the last calls fail besides, with all after them: the command tells what it has done, and
# takes down what it has made.
LAST = {"memory": 8}
# By name: the command, and what becomes of the drive before it. Waiting takes no time; with "runs" it
# takes the drive much of its own.
LONG = ["--test", "long", "/dev/sda"]
ENDED = ["start", "clock 90000"]
IN_TWO_DAYS = (datetime.now(timezone.utc) + timedelta(days=2)).strftime("%Y-%m-%d")
COMMANDS = {
    "start": (["start", *LONG], []),
    "start_without_history": (["start", *LONG], ["no history"]),
    "start_with_damaged_history": (["start", *LONG], ["damage"]),
    "status": (["status"], ENDED),
    "status_of_running": (["status", "/dev/sda"], ["start", "clock 60"]),
    "drives": (["drives"], ["fails", *ENDED]),
    "stop": (["stop", "/dev/sda"], ["start", "clock 60"]),
    "history": (["history"], [*ENDED, "status"]),
    "history_of_drive": (["history", "/dev/sda"], [*ENDED, "status"]),
    "forget": (["history", "--forget-before", IN_TWO_DAYS], [*ENDED, "status", "clock 90000"]),
    "import": (["history", "--import", "lines"], [*ENDED, "status", "lines"]),
    "metrics": (["metrics"], ["fails", *ENDED]),
    "report": (["report"], ["fails", *ENDED]),
    "patrol": (["patrol", *LONG[:2]], ["runs"]),
    "watch": (["watch", "/dev/sda"], ["fails", "start", "runs"]),
    "run": (["run", *LONG], ["runs"]),
    "run_worker": (["run", *LONG], ["fails", "runs"]),
    "run_both": (["run", "--test", "long"], ["runs"]),
}
UNKNOWN = 3
FILES = {"history.sqlite", "history.sqlite-wal", "history.sqlite-shm", "history.lock"}


def be_parent_of_orphans():
    """Processes that lose their parent become this one's children."""
    is_child_subreaper = 36
    ctypes.CDLL(None).prctl(is_child_subreaper, 1, 0, 0, 0)


def children():
    return [int(child) for task in pathlib.Path("/proc/self/task").iterdir()
            for child in (task / "children").read_text().split()]


class CommandFaults(unittest.TestCase):
    failed = collections.Counter()  # by kind, in how many commands

    @classmethod
    def tearDownClass(cls):
        never = set(KINDS) - set(+cls.failed)
        assert never == set() or os.environ.get("HDDTEST_FAULTS"), f"no such call was made: {never}"

    def setUp(self):
        self.stage = Stage(Life(None, DRIVES, {}), PROGRAMS, STANDIN)
        self.addCleanup(self.stage.close)
        self.kept = pathlib.Path(f"{self.stage.folder}.kept")
        self.addCleanup(shutil.rmtree, self.kept, ignore_errors=True)

    def prepare(self, events):
        self.stage.let_clock_run(20 if "runs" in events else 1)
        history = self.stage.folder / "history"
        if "no history" not in events:
            self.stage.run(["hddtest", "history"])
        for event in events:
            if event.startswith("clock "):
                self.stage.clock(int(event.split()[1]))
            elif event == "fails":
                self.stage.event("set", "disk", "result", "7")
            elif event == "damage":
                (history / "history.sqlite").write_bytes(b"no history " * 1000)
            elif event == "lines":
                _, lines, _ = self.stage.run(["hddtest", "history", "--json"])
                (self.stage.folder / "lines").write_text(lines)
                shutil.rmtree(history)
            elif event == "status":
                self.stage.run(["hddtest", "status", "/dev/sda"])
            elif event == "start":
                status, output, errors = self.stage.run(["hddtest", "start", *LONG])
                self.assertEqual(status, 0, output + errors)
        history.mkdir(mode=0o700, exist_ok=True)
        shutil.copytree(self.stage.folder, self.kept, symlinks=True,
                        ignore=shutil.ignore_patterns("held", "go", "bin", "machine"))

    def restore(self):
        for name in ["drives", "history"]:
            shutil.rmtree(self.stage.folder / name, ignore_errors=True)
            shutil.copytree(self.kept / name, self.stage.folder / name)
        for file in self.kept.iterdir():
            if file.is_file():
                shutil.copy(file, self.stage.folder)

    def perform(self, name, words, kind, number):
        """What the command with the fault ended with and said, and how many such calls it made."""
        count = self.stage.folder / "count"
        count.unlink(missing_ok=True)
        before = dict(self.stage.environment)
        preloaded = [str(PRELOAD), *before.get("LD_PRELOAD", "").split(":")]
        self.stage.environment |= {"LD_PRELOAD": ":".join(filter(None, preloaded)),
                                   "FAILING_CALL": kind, "FAILING_NUMBER": number,
                                   "FAILING_COUNT": str(count)}
        if name == "run_worker":
            self.stage.environment["FAILING_WORKER"] = "1"
        result = self.stage.run(["hddtest", *words])
        self.stage.environment = before
        return result, int(count.read_text()) if count.exists() else 0

    def expect_true(self, name, is_mute, outcome):
        status, output, errors = outcome
        self.assertIn(status, range(UNKNOWN + 1), "it crashed")
        self.assertTrue(output or errors or is_mute, "it says nothing")
        self.assertNotRegex(output + errors, r"std::|terminate|basic_|vector(::|<)|filesystem error")
        if status == UNKNOWN:
            self.assertTrue(errors or "not " in output or "unknown" in output or is_mute,
                            "it does not say why")
        self.expect_no_process()
        is_testing = self.stage.field("disk", "is_testing") == "1"
        history_fault = "history" in errors
        rows = self.expect_history()
        outcomes = [row["outcome"] for row in rows if row["device"] == "/dev/sda"]
        untrue = "passed" if "fails" in COMMANDS[name][1] else "failed"
        self.assertNotRegex(output + errors, rf"/dev/sda(: |.* long test .*){untrue}")
        self.assertNotIn(untrue, outcomes)
        if name == "patrol":  # which looks until it is over
            is_started = self.stage.field("disk", "starts") != "0"
            self.assertGreaterEqual(is_started, "/dev/sda: long test started" in output)
        elif "test started" in output:
            self.assertTrue(is_testing, "no test was started")
            if not history_fault:
                self.assertEqual(outcomes, [None])
        if name.startswith("start"):
            self.assertEqual(is_testing, int(self.stage.field("disk", "starts")) > 0)
            if status == 0:
                self.assertIn("test started", output)
            if "not started" in output + errors:
                self.assertFalse(is_testing, "the test runs")
        if "stopped\n" in output:
            self.assertFalse(is_testing, "the test runs")
        if "not stopped" in errors:
            self.assertTrue(is_testing, "no test runs")
        self.expect_well("damage" in COMMANDS[name][1])

    def expect_no_process(self):
        """Tools end soon after the command that started them."""
        deadline = time.monotonic() + 5
        while left := children():
            for child in left:
                os.waitpid(child, os.WNOHANG)
            self.assertLess(time.monotonic(), deadline, "processes are left behind")
            time.sleep(0.005)

    def expect_history(self):
        folder = self.stage.folder / "history"
        file = folder / "history.sqlite"
        if not file.exists() or file.stat().st_size == 0 or file.read_bytes()[:2] == b"no":
            return []
        with sqlite3.connect(file) as database:
            self.assertEqual(database.execute("PRAGMA integrity_check").fetchall(), [("ok",)])
            is_made = database.execute("SELECT count(*) FROM sqlite_master").fetchone() != (0,)
        database.close()
        return self.stage.rows() if is_made else []

    def expect_well(self, may_be_damaged):
        """Without a fault all is as if there had been none."""
        if None in [row["outcome"] for row in self.expect_history()]:
            # For some seconds a test that is being started belongs to the process that does so.
            self.stage.clock(60)
        status, output, errors = self.stage.run(["hddtest", "status", "--json", "/dev/sda"])
        told = r"hddtest: \S+ was damaged .*, and a new history was begun\n"
        self.assertRegex(errors, rf"\A({told})?\Z" if may_be_damaged else r"\A\Z")
        rows = [row for row in self.stage.rows() if row["device"] == "/dev/sda"]
        is_testing = self.stage.field("disk", "is_testing") == "1"
        self.assertEqual(sum(row["outcome"] is None for row in rows), is_testing, rows)
        is_known = "unknown" not in [row["outcome"] for row in rows]
        self.assertIn(status, range(UNKNOWN) if is_known else [UNKNOWN], output)
        json.loads(output)
        left = {file.name for file in (self.stage.folder / "history").iterdir()}
        self.assertEqual({name for name in left - FILES if "damaged" not in name}, set())

    def fail_each(self, name, kind):
        words, _ = COMMANDS[name]
        dice = random.Random(f"{SEED} {name} {kind}")
        self.restore()
        well, calls = self.perform(name, words, kind, "0")
        self.assertIn(well[0], range(UNKNOWN), well)
        self.failed[kind] += calls > 0
        numbers = range(1, calls + 1)
        last = range(max(1, calls - LAST.get(kind, 0) + 1), calls + 1)
        if not IS_ALL:
            numbers = [*dice.sample(numbers, min(calls, KINDS[kind])), *last]
        for place, number in enumerate(numbers):
            # The clock of the drives is a file: without it patrol would wait as long as the drives do.
            can_last = kind in LASTING and (name, kind) != ("patrol", "open")
            lasts = can_last and ((place + len(name)) % 2 == 0 or number in last)
            self.restore()
            outcome, _ = self.perform(name, words, kind, f"{number}{'+' if lasts else ''}")
            with self.subTest(command=name, kind=kind, number=number, lasts=lasts, of=calls,
                              said=(outcome[0], outcome[1][:2000], outcome[2])):
                self.expect_true(name, lasts and kind == "write", outcome)


def add_tests():
    for name, (_, events) in COMMANDS.items():
        def test(self, name=name, events=events):
            self.prepare(events)
            for kind in KINDS:
                self.fail_each(name, kind)
        setattr(CommandFaults, f"test_{name}", test)


if __name__ == "__main__":
    skip_without_tools()
    add_tests()
    be_parent_of_orphans()
    unittest.main(argv=sys.argv[:1] + os.environ.get("HDDTEST_FAULTS", "").split())

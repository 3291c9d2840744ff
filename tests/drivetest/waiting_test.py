"""How 'hddtest run' and 'hddtest watch' wait: lines for programs, a terminal, Ctrl-C, and how many tests
run behind one controller. The tools are real and the drives the stand-in's, with a clock that goes on
while the commands wait.

    waiting_test.py PROGRAMS STANDIN
"""

import contextlib
import ctypes
import fcntl
import json
import os
import pathlib
import pty
import re
import signal
import struct
import subprocess
import sys
import termios
import time
import unittest

from life import Life
from stage import Stage, skip_without_tools

PROGRAMS, STANDIN = sys.argv[1:3]

PROGRESS = ["format", "event", "device", "type", "test", "remaining", "minutes", "stalled", "source",
            "time"]


def disk(number, **fields):
    """An ATA disk, /dev/sda for 0."""
    letter = "abcdef"[number]
    lines = ["protocol ata", f"nodes /dev/sd{letter}", "vendor EXAMPLE", "model Example Disk 500",
             f"serial EX000{number}", "firmware 1.0", f"wwn 5000c500a1b2c3d{number}"]
    return lines + [f"{name} {value}" for name, value in fields.items()]


SOLID = ["protocol nvme", "nodes /dev/nvme0 /dev/nvme0n1", "model Example NVMe 512", "serial EXNVME1",
         "firmware 2.0", "wwn 0025385b71b0a7c1", "tests short long", "long_minutes 30"]


class Waiting(unittest.TestCase):
    def stage(self, pace=10, **drives):
        stage = Stage(Life(None, drives, {}, pace=pace), PROGRAMS, STANDIN)
        self.addCleanup(stage.close)
        return stage

    def run_lines(self, stage, status, *words):
        """The lines, each as an object."""
        found, output, errors = stage.run(["hddtest", *words])
        self.assertEqual((found, errors), (status, ""), output)
        return [json.loads(line) for line in output.splitlines()]

    def interrupt(self, stage, drive, *words):
        """Ctrl-C while the drive is asked for the 30th time; status, output, errors."""
        process, held, is_held = stage.start_held(["hddtest", *words], drive, "30")
        self.assertTrue(is_held)
        process.send_signal(signal.SIGINT)
        output, errors = process.communicate(timeout=60)
        stage.release(held)
        return process.returncode, output, errors

    def on_terminal(self, stage, *words, columns=120):
        master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        with subprocess.Popen(["hddtest", *words], stdin=slave, stdout=slave, stderr=slave,
                              cwd=stage.folder, env=dict(stage.environment, TERM="xterm")) as process:
            os.close(slave)
            written = b""
            while True:
                try:
                    piece = os.read(master, 65536)
                except OSError:  # the terminal's last user has gone
                    break
                written += piece
            os.close(master)
            return written.decode(), process.wait(timeout=60)


class JsonLines(Waiting):
    def test_progress_and_then_the_result(self):
        stage = self.stage(disk=disk(0))
        *events, result = self.run_lines(stage, 0, "run", "--json-lines", "--test=long", "/dev/sda")
        for event in events:
            self.assertEqual(list(event), PROGRESS)
            self.assertEqual((event["event"], event["device"], event["test"], event["source"]),
                             ("progress", "/dev/sda", "long", "hddtest"))
            self.assertRegex(event["time"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
        self.assertEqual([(event["remaining"], event["minutes"]) for event in events][0], (90, 76))
        percents = [event["remaining"] for event in events]
        self.assertEqual(percents, sorted(set(percents), reverse=True))
        self.assertGreater(len(events), 5)
        (same,) = json.loads(stage.run(["hddtest", "watch", "--json", "/dev/sda"])[1])
        self.assertEqual(list(result), list(same), "the members of --json")
        self.assertEqual((result["outcome"], result["test"], result["status"], result["serial"]),
                         ("passed", "long", 0, "EX0000"))
        self.assertGreaterEqual(result["duration"], 84 * 60)

    def test_watch_tells_the_same_of_somebody_elses_test(self):
        stage = self.stage(disk=disk(0, result=7, result_lba=4711))
        stage.event("start", "disk", "long")
        *events, result = self.run_lines(stage, 1, "watch", "--json-lines")
        self.assertGreater(len(events), 5)
        for event in events:
            self.assertEqual(list(event), PROGRESS)
            self.assertEqual(event["source"], "other")
        self.assertEqual((result["outcome"], result["cause"], result["block"], result["begin"]),
                         ("failed", "read-failure", 4711, None))
        self.assertEqual(self.run_lines(stage, 0, "watch", "--json-lines"), [], "no test runs")

    def test_lines_come_at_once(self):
        stage = self.stage(pace=1, disk=disk(0))
        process, held, is_held = stage.start_held(
            ["hddtest", "run", "--json-lines", "--test=long", "/dev/sda"], "disk", "30")
        self.assertTrue(is_held)
        self.assertEqual(json.loads(process.stdout.readline())["remaining"], 90)
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=60)
        stage.release(held)

    def test_drives_that_are_not_tested_have_a_line_each(self):
        stage = self.stage(disk=disk(0), solid=SOLID)
        lines = stage.run(["hddtest", "run", "--json-lines", "--test=conveyance", "/dev/nvme0",
                           "NONE"])[1].splitlines()
        self.assertEqual({(line["device"], line["cause"], line["test"])
                          for line in map(json.loads, lines)},
                         {("/dev/nvme0", "no-self-test", "conveyance"),
                          ("NONE", "no-device", "conveyance")})


class PerController(Waiting):
    """While the start of one disk's test is held, others begin and end, or do not begin."""

    def starts_beside_held(self, awaited, *options):
        """How often tests of the other disks were started when those of these devices had ended."""
        stage = self.stage(one=disk(0), two=disk(1), three=disk(2), solid=SOLID)
        process, held, is_held = stage.start_held(
            ["hddtest", "run", "--json-lines", "--test=long", *options], "one", "start")
        self.assertTrue(is_held)
        ended = set()
        while not awaited <= ended:
            line = json.loads(process.stdout.readline())
            if "event" not in line:
                self.assertEqual(line["outcome"], "passed", line)
                ended.add(line["device"])
        starts = [int(stage.field(name, "starts")) for name in ("two", "three")]
        stage.release(held)
        output, errors = process.communicate(timeout=60)
        self.assertEqual((process.returncode, errors), (0, ""))
        self.assertEqual(len(ended) + sum('"outcome":"passed"' in line
                                          for line in output.splitlines()), 4)
        return starts

    def test_one_behind_each(self):
        self.assertEqual(self.starts_beside_held({"/dev/nvme0"}, "--per-controller=1"), [0, 0])

    def test_two_behind_each(self):
        self.assertEqual(self.starts_beside_held({"/dev/sdb", "/dev/sdc"}, "--per-controller=2"),
                         [1, 1], "one after the other")

    def test_any_number_by_default(self):
        self.assertEqual(self.starts_beside_held({"/dev/nvme0", "/dev/sdb", "/dev/sdc"}), [1, 1])


class CtrlC(Waiting):
    GOES_ON = ("hddtest: interrupted; the test goes on in the drive; 'hddtest watch /dev/sda' shows "
               "it, 'hddtest stop /dev/sda' ends it\n")

    def test_run_leaves_the_test_to_the_drive(self):
        stage = self.stage(pace=2, disk=disk(0))
        status, _, errors = self.interrupt(stage, "disk", "run", "--test=long", "/dev/sda")
        self.assertEqual((status, errors), (-signal.SIGINT, self.GOES_ON))
        self.assertEqual(stage.field("disk", "is_testing"), "1")
        self.assertEqual(stage.field("disk", "aborts"), "0")
        status, output, _ = stage.run(["hddtest", "watch", "/dev/sda"])
        self.assertEqual(status, 0)
        self.assertIn("/dev/sda: passed", output)
        self.assertEqual([row["outcome"] for row in stage.rows()], ["passed"])

    def test_watch_stops_watching_alone(self):
        stage = self.stage(pace=2, disk=disk(0))
        stage.event("start", "disk", "long")
        status, _, errors = self.interrupt(stage, "disk", "watch")
        self.assertEqual((status, errors), (-signal.SIGINT, self.GOES_ON))
        self.assertEqual(stage.field("disk", "is_testing"), "1")

    def test_json_has_what_is_known(self):
        stage = self.stage(pace=2, disk=disk(0))
        for words in (["run", "--json", "--test=long", "/dev/sda"], ["watch", "--json"]):
            (drive,) = json.loads(self.interrupt(stage, "disk", *words)[1])
            self.assertEqual((drive["device"], drive["outcome"], drive["cause"], drive["status"]),
                             ("/dev/sda", None, "interrupted-command", 3))
            self.assertEqual((drive["test"], drive["reason"]),
                             ("long", "interrupted; the test goes on in the drive"))

    def test_drives_whose_test_was_not_begun_are_told(self):
        stage = self.stage(pace=2, disk=disk(0), other=disk(1))
        words = ["run", "--test=long", "--jobs=1", "/dev/sda", "/dev/sdb"]
        _, output, errors = self.interrupt(stage, "disk", *words, "--json")
        self.assertEqual(errors, self.GOES_ON.replace("\n", "; not begun: /dev/sdb\n"))
        self.assertEqual([drive["reason"] for drive in json.loads(output)][1],
                         "interrupted before its test began")


class Ended(Waiting):
    """While a tool waits for its drive, the command is ended."""

    @staticmethod
    def children():
        return [int(child) for task in pathlib.Path("/proc/self/task").iterdir()
                for child in (task / "children").read_text().split()]

    def test_leaves_no_process(self):
        is_child_subreaper = 36  # those that lose their parent become this process's children
        ctypes.CDLL(None).prctl(is_child_subreaper, 1, 0, 0, 0)
        self.addCleanup(ctypes.CDLL(None).prctl, is_child_subreaper, 0, 0, 0, 0)
        for words in (["drives"], ["start"], ["run", "--test=long"], ["watch"]):
            for how in (signal.SIGKILL, signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
                with self.subTest(command=words, signal=how):
                    stage = self.stage(one=disk(0), two=disk(1), three=disk(2))
                    stage.event("start", "one", "long")
                    process, held, is_held = stage.start_held(["hddtest", *words], "one", "8")
                    self.assertTrue(is_held)
                    process.send_signal(how)
                    process.communicate(timeout=60)
                    self.assertEqual(process.returncode, -how)
                    # The tool would wait for ten seconds.
                    deadline = time.monotonic() + 5
                    while self.children():
                        self.assertLess(time.monotonic(), deadline, "it goes on")
                        with contextlib.suppress(ChildProcessError):
                            os.waitid(os.P_ALL, 0, os.WEXITED | os.WNOHANG)
                        time.sleep(0.01)
                    os.close(held)


class Terminal(Waiting):
    def test_progress_is_written_over(self):
        for words in (["run", "--test=long", "/dev/sda"], ["watch", "/dev/sda"]):
            stage = self.stage(disk=disk(0))
            if words[0] == "watch":
                stage.event("start", "disk", "long")
            written, status = self.on_terminal(stage, *words)
            self.assertEqual(status, 0)
            before, _ = written.split("\x1b[1;32mpassed\x1b[0m")
            self.assertNotIn("\n", before)
            self.assertRegex(before, r"\r/dev/sda: [a-z ]+, \d0% remaining, \d+ minutes or more \(\d")
            self.assertTrue(before.endswith("\r\x1b[K/dev/sda: "), before)

    def test_narrow_terminal_has_nothing_to_break(self):
        stage = self.stage(one=disk(0, result=7, result_lba=4711), two=disk(1), three=disk(2))
        stage.environment["NO_COLOR"] = "1"
        written, status = self.on_terminal(stage, "run", "--test=long", columns=50)
        self.assertEqual(status, 1)
        lines = re.split(r"\r?\n|\r", re.sub(r"\x1b\[\d*[A-Z]", "", written))
        self.assertLessEqual(max(map(len, lines)), 50)
        self.assertRegex(written, r"\[1/3\] /dev/sda: testing, \d0% remaining \(\d+:\d\d\)")
        self.assertIn("first bad block", written)

    def test_stalled_test_is_shown_with_what_to_do(self):
        stage = self.stage(pace=60, disk=disk(0, stuck_at=90))
        written, status = self.on_terminal(stage, "run", "--test=long", "/dev/sda")
        self.assertEqual(status, 3)
        self.assertIn("it may still end: 'hddtest watch /dev/sda' shows it", re.sub(r"\s+", " ", written))


if __name__ == "__main__":
    skip_without_tools()
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])

"""The stage of a life: a machine of the stand-in, programs that are run in it, and its history."""

import os
import pathlib
import select
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile

TIMES = ["recorded", "started", "ended", "looked", "progressed"]
# Where a program is held besides the places that are numbers of commands: where a drive has begun a test
# for it, has ended one, and where a tool has read the state of its tests.
HOLDS = {"start": -1, "end": -2, "stop": -3}


def skip_without_tools():
    """Ends a program of tests that this machine lacks the tools for, as skipped."""
    for tool in ("smartctl", "nvme"):
        if not shutil.which(tool, path="/usr/sbin"):
            print(f"{tool} is not installed")
            sys.exit(77)


class Stage:
    """`programs` are the folder with hddtest; `standin` that with the preload and standin_drive."""

    def __init__(self, life, programs, standin):
        self.standin = pathlib.Path(standin)
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="drive_lives."))
        (self.folder / "drives").mkdir()
        self.names = list(life.drives)
        for name, lines in life.drives.items():
            (self.folder / "drives" / name).write_text("\n".join(lines) + "\n")
        self.event("make", str(self.standin / "libstandin.so"))
        for name, text in life.tools.items():
            tool = self.folder / "bin" / name
            if tool.exists():
                tool.rename(tool.with_name("standin_" + name))
            tool.write_text("#!/bin/sh\n" + text)
            tool.chmod(0o755)
        self.environment = dict(
            os.environ, PATH=f"{self.folder}/bin:{programs}:/usr/bin:/bin", LC_ALL="C.UTF-8",
            TZ="UTC", HVX_SYSFS_ROOT=str(self.folder / "machine"),
            HVX_STATE_DIR=str(self.folder / "history"), HVX_LOG_FILE=str(self.folder / "log"))
        self.environment.pop("NO_COLOR", None)
        if life.pace:
            self.let_clock_run(life.pace)

    def close(self):
        shutil.rmtree(self.folder, ignore_errors=True)

    def let_clock_run(self, pace):
        """From now on hddtest waits without any real time passing: the clock goes on instead, so
        many seconds for each."""
        self.environment.update(STANDIN_STATE=str(self.folder), STANDIN_PACE=str(pace),
                                LD_PRELOAD=str(self.standin / "libstandin_time.so"))

    def event(self, *words):
        done = subprocess.run([self.standin / "standin_drive", self.folder, *words],
                              capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise AssertionError(f"standin_drive {' '.join(words)}: exit {done.returncode}, "
                                 f"{done.stderr.strip()}")
        return done.stdout

    def field(self, drive, name):
        for line in self.event("show", drive).splitlines():
            if line.split(" ")[0] == name:
                return line.partition(" ")[2]
        raise AssertionError(f"{drive} has no field {name}")

    def nodes(self):
        """The first node of each drive that has one."""
        return [nodes.split()[0] for nodes in (self.field(name, "nodes") for name in self.names) if nodes]

    def start(self, words):
        return subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True, cwd=self.folder,
                                env=self.environment)

    def run(self, words):
        """Exit status, standard output, standard error."""
        process = self.start(words)
        output, errors = process.communicate(timeout=120)
        return process.returncode, output, errors

    def start_held(self, words, drive, command):
        """Starts a program, and waits until the drive, or one of "all", has carried out this command
        of it (a number, or a name of HOLDS), which then gets no answer. The process, what release
        needs, and whether it is held; else it has ended before."""
        self.event("hold", drive, str(HOLDS.get(command) or int(command)))
        held = os.open(self.folder / "held", os.O_RDONLY | os.O_NONBLOCK)
        process = self.start(words)
        ended = os.pidfd_open(process.pid)
        poll = select.poll()
        poll.register(held, select.POLLIN)
        poll.register(ended, select.POLLIN)
        is_held = any(what == held for what, _ in poll.poll(120_000))
        self.event("hold", drive, "0")
        os.close(ended)
        return process, held, is_held

    def release(self, held):
        """Lets the tools that are held go on, and waits for their end."""
        go = os.open(self.folder / "go", os.O_RDWR | os.O_NONBLOCK)
        os.write(go, b"." * len(self.names) * 8)  # more than can be held
        os.set_blocking(held, True)
        while os.read(held, 64):
            pass
        os.close(held)
        os.close(go)

    def run_killed(self, words, drive, command):
        """Kills a program in the place where start_held holds it. Not set if it died there; what run
        tells where it has ended before."""
        process, held, is_held = self.start_held(words, drive, command)
        if is_held:
            process.kill()
        self.release(held)
        output, errors = process.communicate(timeout=120)
        return None if process.returncode == -signal.SIGKILL else (process.returncode, output, errors)

    def clock(self, seconds):
        """Time passes: for the drives, and for the history, which is then as much older."""
        self.event("clock", f"+{seconds}")
        file = self.folder / "history" / "history.sqlite"
        if not file.exists():
            return
        shifted = ", ".join(f"{name} = strftime('%Y-%m-%dT%H:%M:%SZ', {name}, '-{seconds} seconds')"
                            for name in TIMES)
        with sqlite3.connect(file) as database:
            database.execute(f"UPDATE tests SET {shifted}")
        database.close()

    def rows(self):
        """The tests of the history, drive by drive, oldest first, with what the drives say of themselves."""
        file = self.folder / "history" / "history.sqlite"
        if not file.exists():
            return []
        database = sqlite3.connect(file)
        database.row_factory = sqlite3.Row
        rows = [dict(row) for row in database.execute(
            "SELECT drives.identity, drives.protocol, drives.model, drives.serial_number, tests.*"
            " FROM tests JOIN drives ON drives.number = tests.drive ORDER BY tests.number")]
        database.close()
        # Tests that were started at once have no order; drives have, by where they were first.
        first = {}
        for row in rows:
            first.setdefault(row["drive"], (row["device"], row["device_type"] or ""))
        return sorted(rows, key=lambda row: (first[row["drive"]], row["number"]))

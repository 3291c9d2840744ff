"""Plays lives of drives: the programs talk to the real smartctl and nvme, and these to the stand-in.

    lives_test.py PROGRAMS STANDIN LIVES...

PROGRAMS is the folder with hddtest, STANDIN that with the stand-in, LIVES a folder with lives, or one life.
Each life with commands of hddtest is played as it is written, watched by a second process, and with its
commands killed in the middle: a look when the drive has carried out its second command, and it is made
again; 'start', 'run' and 'stop' when the drive has begun or ended the test for them, and hddtest is asked
what became of it. Each killed life has to have a program that died so. At the end stands how many did.
"""

import collections
import dataclasses
import json
import os
import pathlib
import re
import subprocess
import sys
import unittest

from life import pattern_of, read_life, value_at, words_of
from stage import Stage, skip_without_tools

PROGRAMS, STANDIN = (str(pathlib.Path(place).resolve()) for place in sys.argv[1:3])
LIVES = [pathlib.Path(place).resolve() for place in sys.argv[3:]]
# Where a command is killed: Stage.start_held.
KILLED_AT = {**dict.fromkeys(("drives", "status", "metrics", "watch", "patrol"), "2"),
             "start": "start", "run": "start", "stop": "stop"}
WATCH = ["hddtest", "status", "--json"]
# What the exit statuses of hddtest mean.
EXITS = {
    "started": 0, "running": 0, "stalled": 0, "passed": 0, "stopped": 0, "idle": 0,
    "failed": 1,
    "aborted": 2, "unable": 2,
    "unknown": 3, "refused": 3, "unreachable": 3,
    "any": None,
}


class Play:
    """One playing of one life. What differs from the life is an AssertionError."""

    kills = collections.Counter()  # of all plays, by command; "early", and "ended" before it was killed

    def __init__(self, life, stage, test, is_watched=False, is_killed=False):
        self.life, self.stage, self.test = life, stage, test
        self.is_watched, self.is_killed = is_watched, is_killed
        self.hits = 0  # how many programs were killed in the middle
        self.status, self.output, self.errors = 0, "", ""
        self.pending = {}
        self.held = None  # what lets the program go on that is held; there is one at most
        self.expected = {}  # of the last program: "<", "!" and "exit", in the life's words
        self.is_told = True  # whether what it says is what the life tells
        self.place = ""
        self.rows = []

    def play(self):
        for step in self.life.steps:
            if step.word not in {"row", "rows"}:
                self.expect_rows()
            if step.word not in {"<", "!", "exit", "json", "says"}:
                self.expect_last()
            self.place = step.place
            names = {"<": "expect_line", "!": "expect_line", "@": "event", ">": "run"}
            getattr(self, names.get(step.word, "do_" + step.word))(step)
        self.expect_last()
        self.expect_rows()
        self.test.assertEqual(self.pending, {}, "begun and never awaited")
        if self.is_killed and not self.hits:
            self.fail("no program was killed in the middle")

    def fail(self, text):
        said = "".join(f"\n{sign} {line}" for sign, lines in (("<", self.output), ("!", self.errors))
                       for line in lines.splitlines())
        self.test.fail(f"{self.place}: {text}{said}")

    def run(self, step):
        words = words_of(step)
        if self.is_killed and killed_at(words):
            return self.run_with_kills(words)
        watcher = self.stage.start(WATCH) if self.is_watched and words[0] == "hddtest" else None
        self.ended(*self.stage.run(words))
        if watcher:
            output, errors = watcher.communicate(timeout=120)
            if watcher.returncode not in (0, 1, 2, 3):
                self.fail(f"the second process: exit {watcher.returncode}, {errors}{output}")

    def ended(self, status, output, errors):
        self.status, self.output, self.errors = status, output, errors
        self.is_told = True
        self.expected = {"<": [], "!": [], "exit": 0}

    def kill(self, words, place, name):
        """Not set if the program died of it; what it told where it ended before."""
        ended = self.stage.run_killed(words, "all", place)
        self.hits += ended is None
        self.kills[name if ended is None else "ended"] += 1
        return ended

    def run_with_kills(self, words):
        place = killed_at(words)
        if place == "2":
            self.kill(words, place, words[1])
            return self.ended(*self.stage.run(words))
        # What the drive refuses is killed nowhere else.
        if not self.hits:
            self.kill(words, "2", "early")
        # Of several drives one has begun its test, and of the others nobody knows.
        devices = devices_of(words)
        concerned = [word for word in devices if word.startswith("/dev/")] if devices else self.stage.names
        if place == "start" and len(concerned) > 1:
            return self.ended(*self.stage.run(words))
        ended = self.kill(words, place, words[1])
        if ended:
            return self.ended(*ended)
        # Its end has the status that the command would have had, but for 'start', which says whether the
        # test has begun.
        again = {"start": "status", "run": "watch", "stop": "stop"}[words[1]]
        self.ended(*self.stage.run(["hddtest", again, *(devices or self.stage.nodes())]))
        self.is_told = False
        if again == "status":
            self.test.assertIn(self.status, (0, 1, 2, 3), self.errors)
            self.expected["exit"] = None

    def do_killed(self, step):
        """killed DRIVE NUMBER > PROGRAM..."""
        drive, command, _, *words = words_of(step)
        if self.stage.run_killed(words, drive, command):
            self.fail(f"it ended before command {command}")

    def do_held(self, step):
        """held NAME DRIVE NUMBER > PROGRAM..."""
        name, drive, command, _, *words = words_of(step)
        process, self.held, is_held = self.stage.start_held(words, drive, command)
        self.pending[name] = process
        if not is_held:
            self.fail(f"it ended before command {command}")

    def do_begin(self, step):
        name, _, *words = words_of(step)
        self.pending[name] = self.stage.start(words)

    def do_await(self, step):
        process = self.pending.pop(step.rest)
        if self.held is not None:
            self.stage.release(self.held)
            self.held = None
        output, errors = process.communicate(timeout=120)
        self.ended(process.returncode, output, errors)

    def expect_line(self, step):
        self.expected[step.word].append(step.rest)

    def do_exit(self, step):
        word = step.rest
        if self.expected["exit"] is not None:
            self.expected["exit"] = EXITS[word] if word in EXITS else int(word)

    def do_says(self, step):
        if self.is_told and not re.search("[^\n]*".join(map(re.escape, step.rest.split("..."))), self.output):
            self.fail(f"it does not say {step.rest}")

    def do_json(self, step):
        path, *values = words_of(step)
        if not self.is_told:
            return
        try:
            found = value_at(json.loads(self.output), path)
        except ValueError:
            self.fail("no JSON")
        shown = "absent" if found is None else found if isinstance(found, str) else json.dumps(found)
        if shown != " ".join(values):
            self.fail(f"{path} is {shown}")

    def expect_last(self):
        expected, self.expected = self.expected, {}
        if not expected:
            return
        if expected["exit"] not in (self.status, None):
            self.fail(f"exit {self.status}")
        if not self.is_told:
            return
        if expected["<"] and not pattern_of(expected["<"]).match(self.output):
            self.fail("other output than " + "".join(f"\n< {line}" for line in expected["<"]))
        if not pattern_of(expected["!"]).match(self.errors):
            self.fail("other errors than " + "".join(f"\n! {line}" for line in expected["!"]))

    def do_clock(self, step):
        self.stage.clock(int(step.rest))

    def event(self, step):
        self.stage.event(*words_of(step))

    def do_field(self, step):
        drive, name, *value = words_of(step)
        found = self.stage.field(drive, name)
        if found != " ".join(value):
            self.fail(f"{name} of {drive} is {found}")

    def do_row(self, step):
        self.rows.append(step)

    def do_rows(self, step):
        """rows NUMBER COLUMN=VALUE...: so many that have these."""
        number, _, values = step.rest.partition(" ")
        self.rows += [dataclasses.replace(step, rest=values)] * int(number)

    def do_no(self, _):
        """no rows"""
        if self.stage.rows():
            self.fail(f"the history has {self.stage.rows()}")

    def expect_rows(self):
        steps, self.rows = self.rows, []
        if not steps:
            return
        found = self.stage.rows()
        if len(found) != len(steps):
            self.fail(f"the history has {len(found)} rows: {found}")
        for step, row in zip(steps, found):
            for name, _, value in (word.partition("=") for word in words_of(step)):
                shown = "-" if row[name] is None else str(row[name])
                if shown != value:
                    self.fail(f"{step.place}: {name} is {shown} in {row}")


def test_of(life, **how):
    def test(self):
        stage = Stage(life, PROGRAMS, STANDIN)
        self.addCleanup(stage.close)
        Play(life, stage, self, **how).play()
    return test


def killed_at(words):
    return KILLED_AT.get(words[1]) if words[0] == "hddtest" and len(words) > 1 else None


def devices_of(words):
    """Those that a command names, with their type; none where it is for all."""
    devices = []
    rest = iter(words[2:])
    for word in rest:
        if word == "--test":
            next(rest)
        elif word == "--type":
            devices += [word, next(rest)]
        elif not word.startswith("-"):
            devices.append(word)
    return devices


class Lives(unittest.TestCase):
    pass


for one in sorted(path for place in LIVES for path in (place.glob("*.life") if place.is_dir() else [place])):
    place = f"{one.parent.name}_{one.stem}"
    played = read_life(one)
    programs = [words_of(step) for step in played.steps if step.word == ">"]
    setattr(Lives, f"test_{place}", test_of(played))
    if not played.unwatched and any(words[0] == "hddtest" for words in programs):
        setattr(Lives, f"test_{place}_watched", test_of(played, is_watched=True))
    if not played.unkilled and any(map(killed_at, programs)):
        setattr(Lives, f"test_{place}_killed", test_of(played, is_killed=True))


def load_tests(loader, tests, _):
    """Those of this process, which DRIVE_LIVES_PART names as "2 of 8"."""
    part, _, parts = os.environ["DRIVE_LIVES_PART"].partition(" of ")
    names = loader.getTestCaseNames(Lives)
    return unittest.TestSuite(map(Lives, names[int(part)::int(parts)]))


def play_in_parts(count):
    """Most of the time is spent waiting, so that several processes share the lives. The exit status."""
    parts = [subprocess.Popen([sys.executable, "-B", *sys.argv], text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT,
                              env=dict(os.environ, DRIVE_LIVES_PART=f"{part} of {count}"))
             for part in range(count)]
    outputs = [part.communicate()[0] for part in parts]
    print("".join(outputs), end="")
    kills = sum((collections.Counter(json.loads(line)) for line in
                 re.findall(r"^Killed: (.*)$", "".join(outputs), re.MULTILINE)), collections.Counter())
    missed = kills.pop("ended", 0)
    print(f"{kills.total()} commands were killed in the middle, {dict(kills)}; {missed} had ended before")
    unkilled = [name for name in KILLED_AT if not kills[name] and LIVES[0].is_dir()]
    if unkilled:
        print(f"never killed: {unkilled}")
    return max([*(part.returncode for part in parts), len(unkilled) > 0])


if __name__ == "__main__":
    skip_without_tools()
    if "DRIVE_LIVES_PART" not in os.environ:
        sys.exit(play_in_parts(8))
    result = unittest.main(argv=sys.argv[:1], exit=False).result
    print(f"Killed: {json.dumps(Play.kills)}")
    sys.exit(not result.wasSuccessful())

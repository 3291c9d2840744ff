"""A root in which hddtest-register is tried: what others have there is compared, byte for byte,
after every test. The program, in a tree that has the shape of an installed one, is the first
argument of each test program."""

import json
import os
import pathlib
import re
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).parent
PROGRAM = pathlib.Path(sys.argv[1]).resolve()
DATA = PROGRAM.parent.parent / "share/hddtest"

NOTE = "/var/lib/hddtest/registrations"
STATE = {"output": {}, "status": {}, "ends": {}, "signals": {}, "active": "", "answers": True,
         "modules": {"other": "OK"}, "busy": [], "classes": ["CIM_Other"],
         "providerDir": "/usr/lib/pegasus"}

# Places of this machine where object managers live and which the program works on.
OUTSIDE = ("/hddtest", "/etc/sfcb", "/etc/systemd/system", "/lib/cmpi", "/lib/sfcb",
           "/usr/lib/x86_64-linux-gnu/cmpi", "/usr/lib64/cmpi", "/usr/local/lib/cmpi",
           "/var/lib/sfcb", "/var/lib/hddtest", "/var/lib/Pegasus", "/run/systemd/system")


def contents(*tops):
    """Every path with its kind, owner and content."""
    found = {}

    def add(path):
        status = path.lstat()
        what = [oct(status.st_mode), status.st_uid, status.st_gid]
        if stat.S_ISLNK(status.st_mode):
            what.append(os.readlink(path))
        elif stat.S_ISREG(status.st_mode):
            what.append(path.read_bytes())
        found[str(path)] = what

    for top in map(pathlib.Path, tops):
        if os.path.lexists(top):
            add(top)
        for folder, folders, files in os.walk(top):
            for name in folders + files:
                add(pathlib.Path(folder, name))
    return found


class RegisterCase(unittest.TestCase):
    programs = ()
    ours = r"/var/lib/hddtest(/.*)?"  # what of the root the program may change

    @classmethod
    def setUpClass(cls):
        cls.outside = contents(*OUTSIDE)
        cls.addClassCleanup(cls.compare_outside)

    @classmethod
    def compare_outside(cls):
        if contents(*OUTSIDE) != cls.outside:
            raise AssertionError("the machine itself was changed")

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="hddtest_register."))
        self.addCleanup(shutil.rmtree, self.folder)
        self.root = self.folder / "root"
        self.binaries = self.folder / "bin"
        for folder in (self.binaries, self.root / "var/lib", self.root / "proc/1"):
            folder.mkdir(parents=True)
        self.record = self.folder / "record"
        self.record.touch()
        self.write("/proc/1/comm", "init\n")
        self.state_file = self.folder / "state"
        self.change(**STATE, registrations=str(self.root / "var/lib/sfcb/registration"))
        self.install(*self.programs)
        self.addCleanup(self.compare)
        self.before = None

    # The root and the machine.

    def install(self, *names):
        for name in names:
            stand_in = self.binaries / name
            text = (HERE / "register_stand_in.py").read_text()
            stand_in.write_text(f"#!/usr/bin/python3 -ISB\n{text}")
            stand_in.chmod(0o755)

    def install_unit(self, name, active):
        self.install("systemctl")
        for folder in ("run/systemd/system", "usr/lib/systemd/system"):
            (self.root / folder).mkdir(parents=True, exist_ok=True)
        self.write(f"/usr/lib/systemd/system/{name}.service", "[Service]\n")
        self.change(active=name if active else "")

    def write(self, name, text):
        path = self.path(name)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def path(self, name):
        return self.root / name.lstrip("/")

    def text(self, name):
        return self.path(name).read_text()

    def change(self, **values):
        state = json.loads(self.state_file.read_text()) if self.state_file.exists() else {}
        self.state_file.write_text(json.dumps({**state, **values}))

    def state(self):
        return json.loads(self.state_file.read_text())

    def runs(self, program):
        self.write("/proc/4711/comm", f"{program}\n")

    def ends(self):
        shutil.rmtree(self.path("/proc/4711"))

    # Running it.

    def run_program(self, *arguments, status=0, output=subprocess.PIPE):
        if self.before is None:
            self.before = self.all()
        self.record.write_text("")
        self.expect_end(self.start(*arguments, output=output), status)

    def start(self, *arguments, output=subprocess.PIPE):
        return subprocess.Popen(
            ["/usr/bin/python3", "-IB", HERE / "register_watch.py", PROGRAM, self.root, *arguments,
             "--root", self.root], stdout=output, stderr=output, text=True, cwd=self.folder,
            stdin=subprocess.DEVNULL,
            env={"PATH": str(self.binaries), "RECORD": str(self.record),
                 "STATE": str(self.state_file)})

    def expect_end(self, process, status):
        self.addCleanup(process.kill)
        self.output, self.errors = (text or "" for text in process.communicate(timeout=60))
        self.assertEqual(process.returncode, status, self.output + self.errors)
        self.assertNotRegex(self.errors, "Traceback|OUTSIDE")

    def calls(self, *names):
        """The recorded calls of these programs, or of all; the root left out of their paths."""
        lines = self.record.read_text().replace(f"{self.root}/", "/").splitlines()
        return [line for line in lines if not names or line.split()[0] in names]

    def all(self):
        """All paths of the root with their names inside it."""
        return {path[len(str(self.root)):] or "/": what
                for path, what in contents(self.root).items()}

    def others(self, files):
        return {path: what for path, what in files.items()
                if not re.fullmatch(self.ours, path) and not path.startswith("/proc/4711")}

    def compare(self):
        """What belongs to others is still there, and nothing else is, whatever happened."""
        if self.before is None:
            return
        before, after = self.others(self.before), self.others(self.all())
        self.assertEqual({path: before.get(path) for path in before.keys() | after.keys()
                          if before.get(path) != after.get(path)}, {})

    def expect_as_before(self):
        self.assertEqual(self.all(), self.before)


def main():
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])

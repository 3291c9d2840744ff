"""hddtest-register: its command line, and that its root protects all else."""

import fcntl
import subprocess
import unittest

import register_case
from register.lock import LOCK
from register_case import PROGRAM


class CommandLine(register_case.RegisterCase):
    programs = ("sfcbstage", "sfcbrepos", "cimmof", "cimprovider", "cimcli", "cimconfig")

    def test_mistakes_change_nothing(self):
        for arguments in ([], ["other"], ["sfcb", "pegasus"], ["sfcb", "--wrong"],
                          ["sfcb", "--stage", ""], ["sfcb", "--stage", "a|b"],
                          ["sfcb", "--schema", "a\nb"], ["sfcb", "--stage", "relative"],
                          ["sfcb", "--unit", "../../x"], ["sfcb", "--unit=-x"],
                          ["sfcb", "--with-cim"], ["sfcb", "--sta", "/x"]):
            self.run_program(*arguments, status=2)
            self.assertRegex(self.errors, r"\Ahddtest-register: .*--help\n\Z")
            self.assertEqual(self.calls(), [])
            self.expect_as_before()

    def test_superclasses_are_refused_for_sfcb_with_the_reason(self):
        self.run_program("sfcb", "--with-cim", status=2)
        self.assertIn("--with-cim is for OpenPegasus", self.errors)

    def test_help_is_no_registration(self):
        self.run_program("sfcb", "--help")
        self.assertIn("Usage: hddtest-register", self.output)
        self.expect_as_before()

    def test_what_is_not_registered_can_be_unregistered(self):
        for manager in ("sfcb", "pegasus"):
            self.run_program(manager, "--unregister")
            self.expect_as_before()


class AnotherRun(register_case.RegisterCase):
    def test_is_waited_for(self):
        lock = self.path(LOCK)
        lock.parent.mkdir()
        self.addCleanup(lambda: self.assertFalse(lock.parent.exists()))
        with open(lock, "wb") as other:
            fcntl.flock(other, fcntl.LOCK_EX)
            process = self.start("sfcb", "--unregister")
            self.assertIn("another hddtest-register runs: waiting", process.stderr.readline())
        self.expect_end(process, 0)
        self.assertIn("Nothing is registered", self.output)

    def test_that_was_killed_is_not_waited_for(self):
        self.path(LOCK).parent.mkdir()
        self.path(LOCK).touch()
        self.run_program("sfcb", "--unregister")
        self.assertEqual(self.errors, "")
        self.assertFalse(self.path(LOCK).parent.exists())

    def test_that_ends_leaves_a_third_one_to_wait_for(self):
        lock = self.path(LOCK)
        lock.parent.mkdir()
        with open(lock, "wb") as other:
            fcntl.flock(other, fcntl.LOCK_EX)
            process = self.start("sfcb", "--unregister")
            process.stderr.readline()
            lock.unlink()  # as a run does at its end
            with open(lock, "wb") as third:
                fcntl.flock(third, fcntl.LOCK_EX)
                other.close()
                self.assertIn("waiting", process.stderr.readline())
        self.expect_end(process, 0)


class Missing(register_case.RegisterCase):
    def test_a_manager_that_is_not_there_is_named(self):
        for manager, program in (("sfcb", "sfcbstage"), ("pegasus", "cimmof")):
            self.run_program(manager, status=1)
            self.assertIn(f"{program} was not found", self.errors)
            self.expect_as_before()


class Program(unittest.TestCase):
    def test_runs_by_itself_and_leaves_no_compiled_parts(self):
        done = subprocess.run([PROGRAM, "--help"], capture_output=True, text=True, check=True,
                              env={})
        self.assertTrue(done.stdout.startswith("Usage: hddtest-register"))
        self.assertEqual(list(PROGRAM.parent.parent.rglob("hddtest/register/__pycache__")), [])


if __name__ == "__main__":
    register_case.main()

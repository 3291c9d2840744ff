"""hddtest-register with sfcb, where a step fails: everything is as before."""

import os
import pathlib
import signal
import tempfile
import types
import unittest
import unittest.mock

import register_case
import sfcb_case
from register_case import NOTE
from register.repository import COPIES, Repository, tells_an_error
from register.undo import Undo
from sfcb_case import COPY, MOF, REG, REGISTRATIONS, STAGE

# As sfcbrepos words errors, and as other versions may.
ERRORS = ("hddtest.mof(3): Syntax ERROR", "error: no such class", "Fatal error.",
          "CIM_Error.mof\nhddtest.mof:3: error: unknown qualifier")
NO_ERRORS = ("Compiling Interop/CIM_Error.mof", "/s/Error.mof", "class CIM_Error", "CIM_ErrorType:",
             "Done: 0 errors", "No errors.")


class Failing(sfcb_case.SfcbCase):
    def failing(self, running):
        """For a first registration and a repeated one."""
        if running:
            self.install_unit("sblim-sfcb", active=True)
            self.runs("sfcbd")
        self.run_program("sfcb", status=1)
        self.expect_as_before()
        self.assertEqual(self.state()["active"], "sblim-sfcb" if running else "")

    def test_a_fault_in_the_classes_with_status_0(self):
        self.break_classes()
        for running in (False, True):
            self.before = None
            self.failing(running)
            self.assertIn("more.mof(1): Syntax error", self.output)
            self.assertIn("the repository could not be built", self.errors)
            self.assertEqual(self.calls("systemctl")[1:], [])  # it was not even stopped

    def test_a_fault_leaves_an_earlier_registration_as_it_was(self):
        self.run_program("sfcb")
        self.write(MOF, "class Old {};\n")
        self.path(MOF).chmod(0o640)
        self.break_classes()
        self.before = None
        self.failing(running=False)
        self.assertIn("|registered|", self.text(NOTE))
        self.assertTrue(self.path(f"{COPY}/providerRegister").is_file())

    def test_each_program_that_fails(self):
        for program in ("sfcbstage", "sfcbrepos", "systemctlstop"):
            with self.subTest(program):
                self.change(status={program: 3})
                self.before = None
                self.failing(running=True)

    def test_each_program_that_fails_when_its_work_is_done(self):
        for program in ("sfcbstage", "sfcbrepos"):
            with self.subTest(program):
                self.change(ends={program: 3})
                self.before = None
                self.failing(running=False)

    def test_a_repository_of_nothing(self):
        self.change(status={"sfcbrepos": 0})
        self.failing(running=False)

    def test_a_registration_that_was_killed_is_noted_as_begun_and_can_be_repeated(self):
        self.change(signals={"sfcbrepos-f": int(signal.SIGKILL)})
        self.ours += rf"|{REGISTRATIONS}/\.hddtest-register\..*"
        self.run_program("sfcb", status=-signal.SIGKILL)
        self.assertIn("|begun|", self.text(NOTE))
        self.run_program("sfcb")
        self.expect_registered()
        self.run_program("sfcb", "--unregister")
        self.assertEqual(self.others(self.all()), self.others(self.before))
        for name in (NOTE, REG, MOF):
            self.assertFalse(self.path(name).exists())

    def test_a_stage_that_is_not_filled(self):
        self.change(status={"sfcbstage": 0})
        self.failing(running=False)

    def test_an_error_in_the_output_although_the_status_is_0(self):
        for text in ERRORS:
            with self.subTest(text):
                self.change(output={"sfcbrepos": text})
                self.before = None
                self.failing(running=False)
                self.assertIn(text.split("\n")[-1], self.output)

    def test_the_name_of_an_error_class_is_none(self):
        for text in NO_ERRORS:
            self.assertFalse(tells_an_error(text), text)

    def test_a_manager_that_does_not_start_with_ours_starts_without(self):
        self.change(picky=True)
        self.failing(running=True)
        self.assertIn("sfcb could not be started again", self.errors)
        self.assertEqual([call.split()[1] for call in self.calls("systemctl")],
                         ["--quiet", "stop", "start", "start", "--quiet"])

    def test_a_copy_that_is_there_is_not_overwritten(self):
        self.write(f"{COPY}/providerRegister", "of before")
        self.run_program("sfcb")
        self.assertEqual(self.text(f"{COPY}/providerRegister"), "of before")

    def test_a_copy_is_none_of_a_repository_with_ours(self):
        for note in (f"sfcb|{STAGE}|||\n", ""):
            self.write(NOTE, note)
            self.write(f"{REGISTRATIONS}/providerRegister", "[KAVRO_DiskDrive]\n")
            self.run_program("sfcb")
            self.assertFalse(self.path(COPY).exists())
            self.run_program("sfcb", "--unregister")

    def test_a_copy_is_for_root_alone_and_none_is_left_that_was_not_completed(self):
        os.mkfifo(self.path(f"{REGISTRATIONS}/pipe"))
        self.failing(running=True)
        self.assertIn("is a named pipe", self.errors)
        self.path(f"{REGISTRATIONS}/pipe").unlink()
        self.before = None
        self.run_program("sfcb")
        self.assertEqual(self.path(COPIES).stat().st_mode & 0o777, 0o700)

    def test_a_repository_of_empty_folders_without_a_word_of_an_error(self):
        self.break_classes()
        self.change(fault="")
        self.failing(running=True)
        self.assertIn("the repository could not be built", self.errors)

    def test_a_repository_without_our_registration(self):
        stand_in = self.binaries / "sfcbrepos"
        stand_in.write_text(stand_in.read_text().replace("regs/*.reg", "regs/other.reg"))
        self.failing(running=True)

    def test_a_signal_puts_everything_back(self):
        """A failure while sfcb is stopped and its repository is replaced."""
        self.install_unit("sfcb", active=True)
        self.change(signals={"systemctlstart": int(signal.SIGTERM)})
        self.run_program("sfcb", status=128 + signal.SIGTERM)
        self.expect_as_before()
        self.assertEqual(self.state()["active"], "sfcb")


class Killed(sfcb_case.SfcbCase):
    ours = sfcb_case.SfcbCase.ours + rf"|{REGISTRATIONS}/\.hddtest-register\..*"

    def killed(self, step):
        """A run that is; answers its folder."""
        self.install_unit("sfcb", active=True)
        self.change(signals={f"systemctl{step}": int(signal.SIGKILL)})
        self.run_program("sfcb", status=-signal.SIGKILL)
        return next(self.path(REGISTRATIONS).glob(".hddtest-register.*"))

    def test_before_the_repository_was_touched(self):
        self.killed("stop")
        self.run_program("sfcb")
        self.expect_registered()
        self.expect_no_work_left()
        self.assertNotIn("killed", self.errors)

    def test_while_the_repository_was_replaced(self):
        for begun in ("providerRegister", "repository", None):
            with self.subTest(begun):
                left = self.killed("stop")
                for name in ("providerRegister", "repository"):
                    self.path(f"{REGISTRATIONS}/{name}").rename(left / "old" / name)
                if begun:
                    (left / "new" / begun).rename(self.path(f"{REGISTRATIONS}/{begun}"))
                self.break_classes()
                self.run_program("sfcb", status=1)
                self.assertIn("is put back as it was before a run that was killed: see that sfcb",
                              self.errors)
                self.path(f"{STAGE}/mofs/root/other/more.mof").unlink()
                self.assertEqual(self.registrations(self.all()), self.registrations(self.before))
                self.run_program("sfcb")
                self.expect_registered()
                self.expect_no_work_left()
                self.run_program("sfcb", "--unregister")
                self.expect_as_before()

    def test_when_it_was_replaced(self):
        left = self.killed("start")
        for _ in range(2):
            self.run_program("sfcb")
            self.assertIn(f"/{left.name} is left of a run that was killed", self.errors)
            self.expect_registered()
        self.assertEqual((left / "old/repository/root/other/Other").read_text(),
                         "instances of others")

    def test_a_folder_with_anything_else_in_it_stays(self):
        self.write(f"{REGISTRATIONS}/.hddtest-register.mine/any", "of others")
        self.run_program("sfcb")
        self.assertIn("/.hddtest-register.mine is left", self.errors)
        self.assertEqual(self.text(f"{REGISTRATIONS}/.hddtest-register.mine/any"), "of others")

    @staticmethod
    def registrations(files):
        return {path: what for path, what in files.items() if path.startswith(REGISTRATIONS)}


class Replacing(unittest.TestCase):
    def test_a_signal_between_two_steps_loses_nothing(self):
        """The signal comes when the one call is done and before any other begins."""
        rename = pathlib.Path.rename
        for number in range(4):
            with self.subTest(number), tempfile.TemporaryDirectory() as name:
                folder, steps = pathlib.Path(name), iter(range(10))
                for part in ("providerRegister", "repository"):
                    (folder / part).write_text("old")

                def interrupted(path, place, steps=steps, number=number):
                    rename(path, place)
                    if next(steps) == number:
                        raise SystemExit

                machine = types.SimpleNamespace(path=pathlib.Path)
                with (unittest.mock.patch.object(pathlib.Path, "rename", interrupted),
                      unittest.mock.patch("builtins.print"), self.assertRaises(SystemExit),
                      Repository(machine, name) as repository, Undo() as undo):
                    for part in ("providerRegister", "repository"):
                        (repository.work / "new" / part).write_text("new")
                    repository.replace(undo)
                self.assertEqual({path.name: path.read_text() for path in folder.iterdir()},
                                 {"providerRegister": "old", "repository": "old"})


class NobodyReads(sfcb_case.SfcbCase):
    """The connection of the administrator's terminal ended, or the reader of a pipe."""

    def run_into(self, output, status):
        self.install_unit("sfcb", active=True)
        self.run_program("sfcb", status=status, output=output)

    def closed_pipe(self):
        reading, writing = os.pipe()
        os.close(reading)
        self.addCleanup(os.close, writing)
        return writing

    def test_what_was_begun_is_put_back(self):
        self.change(signals={"systemctlstart": int(signal.SIGHUP)})
        self.run_into(self.closed_pipe(), 128 + signal.SIGHUP)
        self.expect_as_before()
        self.assertEqual(self.state()["active"], "sfcb")

    def test_what_was_begun_is_ended(self):
        self.run_into(self.closed_pipe(), 0)
        self.expect_registered()
        self.assertEqual(self.state()["active"], "sfcb")


class InTheWay(sfcb_case.SfcbCase):
    def refused(self, message):
        self.run_program("sfcb", status=1)
        self.assertIn(message, self.errors)
        self.assertEqual(self.calls("sfcbrepos", "systemctl"), [])
        self.expect_as_before()

    def test_another_file_in_the_links_place(self):
        self.path("/hddtest").symlink_to("/elsewhere")
        self.refused("/hddtest is in the way")
        self.run_program("sfcb", "--unregister")
        self.expect_as_before()

    def test_another_registration_or_classes_of_our_name(self):
        for name in (REG, MOF):
            with self.subTest(name):
                self.before = None
                self.write(name, "of somebody else")
                self.refused(f"{name} is in the way")
                self.path(name).unlink()
        self.before = None

    def test_classes_of_our_name_that_the_tool_would_overwrite_elsewhere(self):
        stand_in = self.binaries / "sfcbstage"
        stand_in.write_text(stand_in.read_text().replace('"mofs", option(arguments, "-n")',
                                                         '"mofs", "root", "other"'))
        self.refused(f"{STAGE}/mofs/root/other/hddtest.mof is in the way")

    def test_a_link_in_the_place_of_the_repository(self):
        place = self.path(f"{REGISTRATIONS}/repository")
        self.path("/srv").mkdir()
        place.rename(self.path("/srv/repository"))
        place.symlink_to(self.path("/srv/repository"))
        self.run_program("sfcb", status=1)
        self.assertIn("/repository is a link", self.errors)
        self.expect_as_before()

    def test_one_that_runs_without_a_unit_has_to_be_stopped_first(self):
        self.runs("sfcbd")
        self.before = None
        self.refused("stop it first, or name its unit with --unit")


class TakingBack(sfcb_case.SfcbCase):
    def test_a_folder_in_the_place_of_what_was_made_is_told_and_stays(self):
        self.run_program("sfcb")
        self.path(REG).unlink()
        self.path(REG).mkdir()
        self.run_program("sfcb", "--unregister", status=1)
        self.assertIn(f"{REG}: Is a directory", self.errors)
        self.assertTrue(self.path(REG).is_dir())

    def test_somebody_elses_fault_leaves_repository_and_manager_as_they_were(self):
        self.install_unit("sfcb", active=True)
        self.run_program("sfcb")
        registered = self.all()
        self.break_classes()
        self.ours += f"|{STAGE}/mofs/root/other/more.mof"
        self.run_program("sfcb", "--unregister", status=1)
        self.assertEqual({path: what for path, what in self.all().items()
                          if path.startswith(REGISTRATIONS)},
                         {path: what for path, what in registered.items()
                          if path.startswith(REGISTRATIONS)})
        self.assertEqual((self.state()["active"], self.text(NOTE)), ("sfcb", self.noted("leaving")))
        self.assertIn("the repository is as before", self.errors)
        self.assertIn("tests make no completion records now", self.errors)
        self.path(f"{STAGE}/mofs/root/other/more.mof").unlink()
        self.run_program("sfcb", "--unregister")
        self.expect_as_before()


if __name__ == "__main__":
    register_case.main()

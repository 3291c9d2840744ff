"""hddtest-register with sfcb, where a step fails: everything is as before."""

import os
import signal

import register_case
import sfcb_case
from register_case import NOTE
from register.repository import tells_an_error
from sfcb_case import COPY, MOF, REG, REGISTRATIONS, STAGE

# As its log line has it, and as others may have it.
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
        self.write(NOTE, f"sfcb|{STAGE}|{REGISTRATIONS}||\n")
        self.run_program("sfcb")
        self.assertFalse(self.path(COPY).exists())

    def test_a_signal_puts_everything_back(self):
        """While sfcb is stopped and its repository replaced."""
        self.install_unit("sfcb", active=True)
        self.change(signals={"systemctlstart": int(signal.SIGTERM)})
        self.run_program("sfcb", status=128 + signal.SIGTERM)
        self.expect_as_before()
        self.assertEqual(self.state()["active"], "sfcb")


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

    def test_what_a_run_left_that_was_killed_is_told_and_stays(self):
        self.write(f"{REGISTRATIONS}/.hddtest-register.left/old/any", "of others")
        self.run_program("sfcb")
        self.assertIn("/.hddtest-register.left is left of a run that was killed", self.errors)

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
        self.path(f"{STAGE}/mofs/root/other/more.mof").unlink()
        self.run_program("sfcb", "--unregister")
        self.expect_as_before()


if __name__ == "__main__":
    register_case.main()

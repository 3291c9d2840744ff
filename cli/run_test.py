"""Tests of drives as the user of the command meets them: output, errors and exit status.

    run_test.py PROGRAM
"""

import json
import os
import re
import signal
import stat
import subprocess
import time

from command_case import CONTROL, PROGRAM, CommandTest, main


def environment_of(process):
    """Its text, empty when the process has ended."""
    try:
        with open(f"/proc/{process}/environ", encoding="utf-8", errors="replace") as text:
            return text.read()
    except OSError:
        return ""


def children(process):
    with open(f"/proc/{process}/task/{process}/children", encoding="ascii") as numbers:
        return numbers.read().split()


class Run(CommandTest):
    def test_passed(self):
        self.run_command("run", "--force", "/dev/fake")
        self.expect(0)
        self.assertRegex(self.output, r"(?m)^/dev/fake: passed \(\d+:\d\d\)$")
        self.assertIn("\n  Job:     HDDTest_ConcreteJob001\n", self.output)
        self.assertIn("\n  Record:  HDST-000: ", self.output)
        self.assertNotIn("Reason:", self.output)

    def test_aborted(self):
        self.run_command("run", "--force", "/dev/fake", RESULT="Aborted by host")
        self.expect(2)
        self.assertRegex(self.output, r"(?m)^/dev/fake: aborted ")
        self.assertIn("\n  Reason:  the drive reported: Aborted by host\n", self.output)
        self.assertIn("\n  Advice:  HDST-200: Test again while the machine is idle", self.output)

    def test_progress_of_the_drive_in_plain_lines(self):
        self.run_command("run", "--force", "/dev/fake", POLLS="1")
        self.expect(0)
        self.assertRegex(self.output, r"(?m)^/dev/fake: testing, 90% remaining \(\d+:\d\d\)$")
        self.assertNotRegex(self.output, CONTROL)

    def test_progress_that_comes_at_once_is_shown_line_by_line(self):
        process = subprocess.Popen([PROGRAM, "run", "--force", "/dev/fake"], text=True,
                                   stdout=subprocess.PIPE, cwd=self.folder, env=self.environment)
        deadline = time.monotonic() + 60
        # The process that tests has been told what to do when it writes into the log.
        while not self.log.exists():
            self.assertLess(time.monotonic(), deadline)
        os.kill(process.pid, signal.SIGSTOP)
        while not (self.log.exists() and "Exiting KAVRO_HDDTest_DiagnosticService_Provider::"
                   "RunDiagnostic" in self.log.read_text()):
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.05)
        os.kill(process.pid, signal.SIGCONT)
        output, _ = process.communicate(timeout=60)
        self.assertRegex(output, r"/dev/fake: testing \(\d:\d\d\)\n/dev/fake: passed")

    def test_several_drives_one_after_the_other(self):
        self.run_command("run", "--jobs", "1", "--force", "/dev/one", "/dev/two")
        self.expect(0)
        # Each in a process of its own, so that the numbers of their jobs are the same.
        self.assertRegex(self.output, r"(?s)\[1/2\] /dev/one: testing .*/dev/one: passed .*"
                                      r"Job001.*\[2/2\] /dev/two: testing .*/dev/two: passed .*Job001")

    def test_several_drives_at_once(self):
        self.run_command("run", "--force", "/dev/one", "/dev/two", POLLS="1")
        self.expect(0)
        self.assertRegex(self.output, r"(?s)/dev/(one|two): testing.*/dev/(?!\1)(one|two): testing"
                                      r".*passed.*passed")

    def test_json(self):
        drives = json.loads(self.run_command("run", "--json", "--force", "/dev/fake"))
        self.expect(0)
        (drive,) = drives
        self.assertEqual(list(drive), [
            "format", "device", "type", "outcome", "reason", "job", "record", "status", "test", "cause",
            "remaining", "block", "hours", "model", "serial", "begin", "end", "duration", "advice",
            "advice_text", "bay"])
        self.assertEqual((drive["format"], drive["status"], drive["test"]), (1, 0, "short"))
        self.assertEqual((drive["hours"], drive["advice"]), (1217, "HDST-000"))
        self.assertEqual((drive["device"], drive["outcome"], drive["reason"]),
                         ("/dev/fake", "passed", None))
        job, record = drive["job"], drive["record"]
        self.assertEqual([job["RunMonth"], job["RunDay"], job["RunDayOfWeek"]], [4, 1, 0])
        self.assertEqual([job["OperationalStatus"], job["DeleteOnCompletion"]], [[8], False])
        self.assertIsNone(job["OtherRecoveryAction"])
        self.assertEqual(record["InstanceID"], job["InstanceID"])
        self.assertEqual(record["CompletionState"], 2)
        self.assertEqual(record["ManagedElementName"], "/dev/fake")

    def test_what_is_no_block_device_is_refused(self):
        (self.folder / "disk").write_text("")
        for device, reason in [("/dev/null", "not a block device"), ("disk", "there is no such drive"),
                               ("./disk", "this is no device"), ("/dev", "this is no device"),
                               ("none", "there is no such drive")]:
            self.run_command("run", device)
            self.expect_one_line(3, f"{device} was not tested: {reason}; 'hddtest status' shows all")
        self.assertNotIn("RunDiagnostic", self.log.read_text() if self.log.exists() else "")

    def test_refused_drive_stands_in_json_and_the_others_are_tested(self):
        self.machine("sda")
        drives = json.loads(self.run_command("run", "--json", "/dev/null", "/dev/sda"))
        self.assertEqual(self.status, 3)
        self.assertEqual((drives[0]["device"], drives[0]["outcome"], drives[0]["cause"]),
                         ("/dev/null", None, "no-device"))
        self.assertEqual(list(drives[0]), list(drives[1]), "all have the same members")
        self.assertEqual(drives[1]["outcome"], "passed")

    def test_block_device_that_is_no_drive_is_refused(self):
        self.machine("sda")
        try:
            os.mknod(self.folder / "part", stat.S_IFBLK | 0o600, os.makedev(7, 0))
        except PermissionError:
            self.skipTest("only root makes device files")
        for name in ["part", "./part", self.folder / "part"]:
            self.run_command("run", name)
            self.expect_one_line(3, f"{name} was not tested: not one of the drives")

    def test_relative_device_is_one_of_the_callers_folder(self):
        self.machine("sda")
        up = "../" * len(self.folder.parts)
        for name in [f"{up}dev/sda", f"./{up}dev/sda"]:
            (drive,) = json.loads(self.run_command("run", "--json", name))
            self.assertEqual(drive["device"], name)
            self.assertEqual(drive["record"]["ManagedElementName"], "/dev/sda")

    def test_forced_name_is_passed_on_as_it_stands(self):
        (drive,) = json.loads(self.run_command("run", "--json", "--force", "./a b"))
        self.assertEqual(drive["record"]["ManagedElementName"], "./a b")

    def test_forced_name_that_no_test_takes(self):
        self.run_command("run", "--force", "--", "-x")
        self.expect_one_line(3, "-x was not tested: not the name of a device; ")

    def test_name_of_a_command_is_a_device_all_the_same(self):
        self.run_command("run", "--force", "check")
        self.expect(0)
        self.assertIn("check: passed", self.output)

    def test_refuses_without_message_file(self):
        data = self.data_folder()
        messages = data / "hddtest/hddtest.msg.xml"
        for fault in ['there is no <result state="failed"> .*', "No such file or directory"]:
            self.run_command("run", "--data", data, "--force", "/dev/fake")
            self.expect_one_line(
                3, f"/dev/fake was not tested: .*hddtest.msg.xml: {fault}; mend it or reinstall")
            (drive,) = json.loads(
                self.run_command("run", "--data", data, "--force", "/dev/fake", "--json"))
            self.assertEqual((self.status, drive["cause"]), (3, "message-file"))
            messages.unlink(missing_ok=True)
        self.run_command("run", "--data", data)
        self.expect_one_line(3, "no drive was tested: .*hddtest.msg.xml: No such file")
        self.assertFalse(self.log.exists(), "nothing was asked")

    def test_errors_in_json_have_the_same_shape(self):
        self.machine()
        (failure,) = json.loads(self.run_command("run", "--json"))
        self.assertEqual(self.status, 3)
        self.assertEqual((failure["format"], failure["device"], failure["outcome"],
                          failure["reason"], failure["status"]),
                         (1, None, None, "there is no drive on this machine", 3))

    def test_refuses_without_registration(self):
        data = self.data_folder(["passed", "failed", "aborted"])
        (data / "hddtest/hddtest.reg").unlink()
        self.run_command("run", "--data", data, "--force", "/dev/fake")
        self.expect_one_line(3, "hddtest.reg: the registration cannot be read")

    def test_data_folder_may_be_relative(self):
        self.data_folder(["passed", "failed", "aborted"], text="of my own")
        self.run_command("run", "--data", "data", "--force", "/dev/fake")
        self.expect(0)
        self.assertIn("\n  Record:  E: of my own\n", self.output)

    def test_relative_log_file_is_one_of_the_callers_folder(self):
        self.run_command("run", "--force", "/dev/fake", HVX_LOG_FILE="my.log")
        self.expect(0)
        self.assertIn("RunDiagnostic", (self.folder / "my.log").read_text())

    def test_hostile_texts_do_not_reach_the_terminal(self):
        data = self.data_folder(["passed", "failed", "aborted"], text="a&#x9b;2J\u202eb\u200f")
        hostile = "/dev/\x1b[2Jx\x9b\u200e\u061c"
        result = r"Completed without error\033]0;x\007\377\233"
        for arguments in [[], ["--json"]]:
            self.run_command("run", "--data", data, *arguments, "--force", hostile, RESULT=result)
            self.assertEqual(self.status, 0, self.errors)
            self.assertNotRegex(self.output + self.errors, CONTROL)
        written, _ = self.on_terminal("run", "--data", data, "--force", hostile, RESULT=result)
        self.assertNotRegex(written, r"\x1b\[2J|\x1b\]|\x9b|\x07")
        for arguments in [["run", hostile], [hostile], ["run", "--" + hostile]]:
            self.run_command(*arguments)
            self.assertNotRegex(self.errors, CONTROL)
        self.assertNotRegex(self.log.read_text(), CONTROL)

    def test_full_device_is_noticed(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([PROGRAM, "run", "--force", "/dev/fake"], stdout=full,
                                  stderr=subprocess.PIPE, env=self.environment, timeout=60)
        self.assertEqual(done.returncode, 3)
        self.assertEqual(done.stderr, b"hddtest: cannot write the output: No space left on device\n")


class Interrupted(CommandTest):
    def interrupt(self, number, *arguments, prefix=()):
        process = subprocess.Popen([*prefix, PROGRAM, "run", "--force", "/dev/fake", *arguments],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   cwd=self.folder, env=dict(self.environment, POLLS="2"))
        self.wait_for("Test is in progress")
        os.kill(process.pid, number)
        output, errors = process.communicate(timeout=60)
        self.output, self.errors = output.decode(), errors.decode()
        return process.returncode

    def wait_for(self, text):
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            if self.log.exists() and text in self.log.read_text(errors="replace"):
                return
            time.sleep(0.05)
        self.fail(f"the log never shows {text}")

    def test_says_that_the_drive_goes_on_and_how_to_stop_it(self):
        status = self.interrupt(signal.SIGINT)
        self.assertEqual(status, -signal.SIGINT, "a shell sees 130")
        self.assertEqual(self.errors, "hddtest: interrupted; the test goes on in the drive; 'hddtest "
                                      "watch /dev/fake' shows it, 'hddtest stop /dev/fake' ends it\n")
        self.assertNotIn("passed", self.output)

    def test_shell_sees_130(self):
        # The shell's own group is left alone: only the command is interrupted.
        script = subprocess.Popen(
            ["sh", "-c", f'"{PROGRAM}" run --force /dev/fake & echo $!; wait $!; echo $?'],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
            env=dict(self.environment, POLLS="2"), cwd=self.folder)
        number = int(script.stdout.readline())
        self.wait_for("Test is in progress")
        os.kill(number, signal.SIGTERM)
        output, _ = script.communicate(timeout=60)
        self.assertEqual(output.splitlines()[-1], str(128 + signal.SIGTERM))

    def test_prints_what_was_done_as_json(self):
        # One at a time, so that it is known which of the tests has begun.
        self.interrupt(signal.SIGTERM, "--json", "--jobs", "1", "/dev/two")
        drives = {drive["device"]: (drive["outcome"], drive["reason"])
                  for drive in json.loads(self.output)}
        self.assertEqual(drives, {
            "/dev/fake": (None, "interrupted; the test goes on in the drive"),
            "/dev/two": (None, "interrupted before its test began")})

    def test_ends_the_processes_that_test(self):
        self.interrupt(signal.SIGINT)
        left = [process for process in os.listdir("/proc")
                if process.isdigit() and str(self.folder) in environment_of(process)]
        self.assertEqual(left, [])

    def test_killed_worker_is_no_outcome(self):
        process = subprocess.Popen([PROGRAM, "run", "--json", "--force", "/dev/fake"],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                   cwd=self.folder, env=dict(self.environment, POLLS="2"))
        self.wait_for("Test is in progress")
        (worker,) = children(process.pid)
        os.kill(int(worker), signal.SIGKILL)
        output, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 3)
        self.assertIn("/dev/fake: how the test ended is not known: the process that tested it was ended "
                      "by signal 9 (Killed); the drive may go on: 'hddtest watch /dev/fake' shows it",
                      errors)
        self.assertIsNone(json.loads(output)[0]["outcome"])

    def test_workers_end_with_a_command_that_is_killed(self):
        process = subprocess.Popen([PROGRAM, "run", "--force", "/dev/fake"],
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                   cwd=self.folder, env=dict(self.environment, POLLS="100"))
        self.wait_for("Test is in progress")
        (worker,) = children(process.pid)
        process.kill()
        process.wait()
        deadline = time.monotonic() + 60
        while str(self.folder) in environment_of(worker):
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.05)

    def test_leaves_ignored_signals_ignored(self):
        status = self.interrupt(signal.SIGHUP, prefix=["nohup"])
        self.assertEqual(status, 0, self.errors)
        self.assertIn("/dev/fake: passed", self.output)


class Terminal(CommandTest):
    def test_progress_is_one_line_written_over(self):
        written, status = self.on_terminal("run", "--force", "/dev/fake", POLLS="1")
        self.assertEqual(status, 0)
        self.assertIn("\r/dev/fake: testing, 90% remaining (0:0", written)
        before, report = written.split("\x1b[1;32mpassed\x1b[0m")
        self.assertNotIn("\n", before)
        self.assertTrue(before.endswith("\r\x1b[K/dev/fake: "), before)
        for line in report.splitlines():
            self.assertLessEqual(len(line), 60)

    def test_progress_is_cut_in_the_middle(self):
        written, _ = self.on_terminal("run", "--force", "/dev/disk/by-id/" + "x" * 100, columns=40,
                                      POLLS="1")
        lines = [line for line in re.split(r"\r|\x1b\[K", written) if "testing" in line]
        self.assertTrue(lines)
        for line in lines:
            self.assertEqual(len(line), 39)
            self.assertRegex(line, r"\.\.\..*: testing")

    def test_percentage_stays_on_a_narrow_terminal(self):
        written, _ = self.on_terminal("run", "--force", "/dev/disk/by-id/" + "x" * 100, columns=40,
                                      POLLS="1")
        self.assertIn(": testing, 90% remaining (0:", written)

    def test_several_drives_have_a_line_each(self):
        written, status = self.on_terminal("run", "--force", "/dev/one", "/dev/two", POLLS="1")
        self.assertEqual(status, 0)
        self.assertRegex(written, r"\r\x1b\[1A\[1/2\] /dev/one: testing, 90% remaining \(0:0\d\)"
                                  r"\x1b\[K\r?\n\[2/2\] /dev/two: testing")
        self.assertRegex(written, r"\x1b\[J.*/dev/(one|two): ")

    def test_no_colour_on_request(self):
        written, _ = self.on_terminal("run", "--force", "/dev/fake", NO_COLOR="1")
        self.assertIn("/dev/fake: passed", written)
        self.assertNotIn("\x1b[1;", written)

    def test_dumb_terminals_get_plain_lines(self):
        for term in ["dumb", ""]:
            written, _ = self.on_terminal("run", "--force", f"/dev/fake{term}", TERM=term)
            self.assertIn(": testing", written)
            self.assertNotIn("\x1b", written)

    def test_log_on_standard_error_and_progress_do_not_mix(self):
        written, _ = self.on_terminal("run", "--force", "/dev/fake", HVX_LOG_FILE="-")
        self.assertIn("Entering KAVRO_HDDTest_DiagnosticService_Provider::RunDiagnostic\r\n", written)
        self.assertNotIn("\x1b[K", written)

    def test_check_in_colours(self):
        written, _ = self.on_terminal("check")
        self.assertIn("\x1b[1;32mok\x1b[0m       smartctl      ", written)


if __name__ == "__main__":
    main()

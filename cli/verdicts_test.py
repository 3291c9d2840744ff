"""What "hddtest run" calls passed, failed and not tested: nothing is called failed that was not
tested, and nothing passed without proof.

    verdicts_test.py PROGRAM
"""

import json
import os
import subprocess
import time

from command_case import PROGRAM, CommandTest, main


class Verdicts(CommandTest):
    def test_failed_by_the_drive(self):
        self.run_command("run", "--force", "/dev/fake", RESULT="Completed: read failure",
                         INFORMATION=r"Device Model:     DISK 7\nSerial Number:    S7\n")
        self.expect(1)
        self.assertRegex(self.output, r"(?m)^/dev/fake: failed ")
        self.assertIn("\n  Drive:   DISK 7, serial number S7\n", self.output)
        self.assertIn("\n  Reason:  the drive reported: read failure, at 1217 power-on hours\n",
                      self.output)
        self.assertIn("\n  Log:     # 1 Short offline Completed: read failure ", self.output)
        self.assertIn("\n  Advice:  HDST-100: Back up the data on this drive now, then replace it",
                      self.output)

    def test_advice_comes_once_for_drives_with_the_same_cause(self):
        self.run_command("run", "--force", "/dev/one", "/dev/two",
                         RESULT="Completed: electrical failure")
        self.expect(1)
        self.assertEqual(self.output.count("HDST-100"), 1)
        self.assertIn("\n/dev/one, /dev/two:\nHDST-100: Back up", self.output)

    def test_a_failure_that_the_module_takes_for_a_pass(self):
        (drive,) = json.loads(self.run_command("run", "--json", "--force", "/dev/fake",
                                               RESULT="Completed: handling damage??"))
        self.expect(1)
        self.assertEqual((drive["outcome"], drive["cause"], drive["record"]),
                         ("failed", "handling-damage", None))

    def not_tested(self, pattern, cause, device="/dev/fake", **environment):
        """One line says why and what to do, and nowhere is the drive called failed."""
        self.run_command("run", "--force", device, **environment)
        self.assertEqual(self.status, 3)
        self.assertRegex(self.errors, rf"\Ahddtest: {device} was not tested: {pattern}.*\n\Z")
        self.assertNotRegex(self.output, "failed|HDST")
        for state in self.smartctl.parent.glob("state.*"):
            state.unlink()
        (drive,) = json.loads(self.run_command("run", "--json", "--force", device, **environment))
        self.assertEqual((self.status, drive["outcome"], drive["cause"], drive["status"]),
                         (3, None, cause, 3))
        self.assertIn(drive["reason"], self.errors)
        self.assertEqual((drive["job"], drive["record"], drive["advice"]), (None, None, None))
        return drive

    def test_smart_is_off(self):
        self.not_tested("SMART is off; 'smartctl -s on /dev/fake' switches it on", "smart-off",
                        SMART="Disabled")

    def test_smart_is_not_there(self):
        self.not_tested("it has no SMART .*; test it with", "no-smart",
                        SMART="Unavailable - device lacks SMART capability.")

    def test_smartctl_is_missing(self):
        self.smartctl.unlink()
        hide = "mount -t tmpfs none /usr/sbin && mount -t tmpfs none /usr/local/sbin"
        if subprocess.run(["unshare", "-m", "sh", "-c", hide], capture_output=True).returncode:
            self.skipTest("only root hides the machine's own smartctl")
        done = subprocess.run(
            ["unshare", "-m", "sh", "-c", f'{hide} && exec "$0" run --force /dev/fake', PROGRAM],
            env=self.environment, capture_output=True, text=True, timeout=60)
        self.assertEqual((done.returncode, done.stderr),
                         (3, "hddtest: /dev/fake was not tested: smartctl is not installed; "
                             "install the package smartmontools\n"))
        self.assertNotRegex(done.stdout, "failed|HDST")

    def test_smartctl_is_killed(self):
        self.smartctl.write_text("#!/bin/sh\nkill -9 $$\n")
        self.not_tested("smartctl hung, was ended or could not be started; see what 'hddtest check'",
                        "no-answer")

    def test_no_permission(self):
        # Root is not told to be root.
        advice = ("run hddtest as root, or give" if os.geteuid()
                  else "this container or service may not use it: give")
        self.not_tested(f"Smartctl open device: /dev/fake failed: Permission denied; {advice} it",
                        "no-permission", INFORMATION_STATUS="2",
                        INFORMATION=r"Smartctl open device: /dev/fake failed: Permission denied\n")

    def test_no_such_device(self):
        self.not_tested("Smartctl open device: /dev/fake failed: No such device; list the drives with",
                        "no-device", INFORMATION_STATUS="2",
                        INFORMATION=r"Smartctl open device: /dev/fake failed: No such device\n")

    def test_smartctl_fails_with_words(self):
        drive = self.not_tested("smartctl: /dev/fake: Unknown USB bridge .*; see what 'smartctl -i ",
                                "refused", INFORMATION_STATUS="1",
                                INFORMATION=r"/dev/fake: Unknown USB bridge [0x46f4:0x0001]\n")
        self.assertRegex(drive["begin"], r"\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ\Z")

    def test_a_test_runs_already(self):
        drive = self.not_tested(
            "a test runs in it already, 60% remaining; wait for its end", "running",
            LOG=r"# 1  Extended offline    Self-test routine in progress 60%      1217         -\n")
        self.assertEqual(drive["remaining"], 60)

    def test_a_test_that_begins_between_look_and_start(self):
        drive = self.not_tested(
            "a test runs in it already, 90% remaining", "running", START_STATUS="4",
            START=r"Can't start self-test without aborting current test (90% remaining),\n")
        self.assertEqual(drive["remaining"], 90)

    def test_the_drive_refuses_the_test(self):
        self.not_tested("the drive refused the test: .* failed: aborted command; see what", "refused",
                        START=r'Command "Execute" failed: aborted command\n', START_STATUS="4")

    def test_a_drive_that_goes_has_failed_with_smartctls_reason(self):
        gone = "Smartctl open device: /dev/fake failed: No such device"
        self.run_command("run", "--force", "/dev/fake", GONE=gone)
        self.expect(1)
        self.assertIn(f"\n  Reason:  the drive disappeared during the test: {gone}\n", self.output)
        self.assertIn("\n  Advice:  HDST-100: Back up what can still be read.", self.output)

    def test_a_smartctl_that_goes_is_no_failure(self):
        self.run_command("run", "--force", "/dev/fake", GONE=" ")
        self.expect_result_unknown("smartctl ended without an answer")

    def test_a_status_that_nobody_knows_is_no_failure(self):
        self.run_command("run", "--force", "/dev/fake", RESULT="Unknown status (0x9)")
        self.expect_result_unknown("Unknown status \\(0x9\\)")

    def expect_result_unknown(self, pattern):
        self.assertEqual(self.status, 3)
        self.assertRegex(self.errors, r"\Ahddtest: /dev/fake: how the test ended is not known: "
                                      rf".*{pattern}.*'smartctl -l selftest /dev/fake'.*\n\Z")
        self.assertNotRegex(self.output, "failed|HDST")

    def expect_second_is_told(self, *first):
        """While another process tests the drive, as a second command or the server does."""
        tester = subprocess.Popen([PROGRAM, *first], cwd=self.folder, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL,
                                  env=dict(self.environment, POLLS="100"))
        self.addCleanup(tester.wait)
        self.addCleanup(tester.kill)
        deadline = time.monotonic() + 60
        while not (self.log.exists() and "Test is in progress" in self.log.read_text()):
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.05)
        (drive,) = json.loads(self.run_command("run", "--json", "--force", "/dev/fake", POLLS="100"))
        self.assertEqual((self.status, drive["cause"], drive["remaining"]), (3, "running", 90))
        self.assertIn("/dev/fake was not tested: a test runs in it already, 90% remaining; wait",
                      self.errors)

    def test_second_run_of_a_drive_is_told_how_far_the_first_is(self):
        self.expect_second_is_told("run", "--force", "/dev/fake")

    def test_run_is_told_of_a_test_that_a_client_of_the_module_started(self):
        self.expect_second_is_told(
            "invoke", 'KAVRO_HDDTest_DiagnosticService.Name="Hard Drive: Self Test",SystemName="",'
            'SystemCreationClassName="KAVRO_ComputerSystem",'
            'CreationClassName="KAVRO_HDDTest_DiagnosticService"', "RunDiagnostic",
            'ManagedElement=KAVRO_DiskDrive.DeviceID="/dev/fake",SystemName="",'
            'SystemCreationClassName="",CreationClassName=""')

    def test_no_self_test(self):
        (drive,) = json.loads(self.run_command("run", "--json", "--force", "/dev/fake",
                                               LOG=r"SMART Self-test Log not supported\n"))
        self.expect(2)
        self.assertEqual((drive["outcome"], drive["cause"]), ("aborted", "no-self-test"))
        self.run_command("run", "--force", "/dev/fake", LOG=r"SMART Self-test Log not supported\n")
        self.expect(2)
        self.assertRegex(self.output, r"(?m)^/dev/fake: no self-test \(")

    def test_each_drive_has_a_status_of_its_own_in_json(self):
        self.machine("sda", "sdb")
        drives = json.loads(self.run_command("run", "--json", BROKEN="/dev/sda", NO_SMART="/dev/sdb"))
        self.assertEqual(self.status, 3, "which outranks 1")
        self.assertEqual([drive["status"] for drive in drives], [1, 3])


if __name__ == "__main__":
    main()

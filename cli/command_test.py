"""The command line, and the commands that test no drive, as their user meets them.

    command_test.py PROGRAM
"""

import json
import re
import shutil
import subprocess

from command_case import BUILD, PROGRAM, CommandTest, main

SERVICE = ('KAVRO_HDDTest_DiagnosticService.SystemCreationClassName="KAVRO_ComputerSystem",'
           'SystemName="",CreationClassName="KAVRO_HDDTest_DiagnosticService",'
           'Name="Hard Drive: Self Test"')
DRIVE = ('KAVRO_DiskDrive.SystemCreationClassName="KAVRO_ComputerSystem",SystemName="",'
         'CreationClassName="KAVRO_DiskDrive",DeviceID="/dev/fake"')

KEPT = ("Jobs and records stay with the process that ran the test: 'hddtest run --json' shows them "
        "whole, and a server tells its clients of its own tests.\n")


class Instances(CommandTest):
    def test_service(self):
        self.run_command("enumerate", "KAVRO_HDDTest_DiagnosticService")
        self.expect(0)
        lines = self.output.splitlines()
        self.assertRegex(lines[0], r"^root/cimv2:KAVRO_HDDTest_DiagnosticService\..*"
                                   r'Name="Hard Drive: Self Test"')
        self.assertIn("  OperationalStatus        2", lines)
        self.assertIn("  Started                  true", lines)
        self.assertNotIn("HealthState", self.output)

    def test_service_as_json(self):
        (service,) = json.loads(
            self.run_command("enumerate", "--json", "kavro_hddtest_diagnosticservice"))
        path = self.run_command("enumerate", "kavro_hddtest_diagnosticservice").splitlines()[0]
        self.assertEqual(service["path"], path)
        self.assertEqual(service["OperationalStatus"], [2])
        self.assertIs(service["Started"], True)
        self.assertEqual(service["SystemName"], "")
        self.assertIsNone(service["HealthState"])

    def test_no_instance(self):
        self.run_command("enumerate", "KAVRO_HDDTest_ConcreteJob")
        self.expect(0)
        self.assertEqual(self.output, "There is no instance of KAVRO_HDDTest_ConcreteJob.\n" + KEPT)
        self.run_command("enumerate", "CIM_ConcreteJob")
        self.assertEqual(self.output, "There is no instance of CIM_ConcreteJob.\n" + KEPT)
        self.run_command("enumerate", "KAVRO_DiskDrive")
        self.assertEqual(self.output, "There is no instance of KAVRO_DiskDrive.\n")
        self.assertEqual(
            json.loads(self.run_command("enumerate", "KAVRO_HDDTest_ConcreteJob", "--json")), [])

    def test_unknown_class(self):
        self.run_command("enumerate", "KAVRO_None")
        self.expect_one_line(3, r"there is no class KAVRO_None")
        self.run_command("enumerate", "kavro_diskdrives")
        self.expect_one_line(3, r"no class kavro_diskdrives; did you mean 'KAVRO_DiskDrive'\?")
        self.run_command("enumerate", "KAVRO\x1b[2J\nNone")
        self.expect_one_line(3, r"KAVRO\\x1b\[2J\\nNone")

    def test_path_of_an_instance_can_be_invoked(self):
        self.run_command("enumerate", "KAVRO_HDDTest_DiagnosticService")
        path = self.output.splitlines()[0]
        self.run_command("invoke", path, "rundiagnostic", f"managedelement={DRIVE}")
        self.expect(0)
        self.assertEqual(
            self.output, "Return value: 0\n"
            'Job: root/cimv2:KAVRO_HDDTest_ConcreteJob.InstanceID="HDDTest_ConcreteJob001"\n')

    def test_invoke_as_json(self):
        answer = json.loads(self.run_command("invoke", "--json", SERVICE, "RunDiagnostic",
                                             f"ManagedElement={DRIVE}"))
        self.assertEqual(answer["return"], 0)
        self.assertEqual(
            answer["out"]["Job"],
            'root/cimv2:KAVRO_HDDTest_ConcreteJob.InstanceID="HDDTest_ConcreteJob001"')

    def test_invoke_tells_of_a_test_that_was_not_run(self):
        self.run_command("invoke", SERVICE, "RunDiagnostic")
        self.assertEqual((self.status, self.output), (0, "Return value: 0\n"))
        self.assertRegex(self.errors, r"\Ahddtest: No test was run: ManagedElement is not .*\n\Z")

    def test_invoke_says_what_is_wrong(self):
        for arguments, pattern in [
            ([SERVICE, "None"], "has no method 'None'; it has .*RunDiagnostic"),
            ([SERVICE, "RunDiagnostic", "x"], "'x' is no argument of the form NAME=VALUE"),
            ([SERVICE, "RunDiagnostic", "x=1"], "has no parameter 'x'; it has ManagedElement"),
            ([SERVICE, "StartService"], "CIM_ERR_"),
            (["KAVRO_None", "RunDiagnostic"], "there is no class KAVRO_None"),
            (["KAVRO_HDDTest_DiagnosticServic", "RunDiagnostic"],
             r"; did you mean 'KAVRO_HDDTest_DiagnosticService'\?"),
            ([SERVICE, "RunDiagnostics"], r"'RunDiagnostics'; it has .*; did you mean 'RunDiagnostic'\?$"),
            (["=", "RunDiagnostic"], "CIM_ERR_INVALID_PARAMETER"),
        ]:
            self.run_command("invoke", *arguments)
            self.expect_one_line(3, pattern)


class Check(CommandTest):
    def findings(self, *arguments, **environment):
        found = json.loads(self.run_command("check", "--json", *arguments, **environment))
        self.assertEqual(self.status, 0 if all(finding["ok"] for finding in found) else 1)
        return {finding["name"]: finding for finding in found}

    def test_names_everything(self):
        self.run_command("check")
        self.assertEqual(self.errors, "")
        names = [line[9:].split()[0] for line in self.output.splitlines()]
        self.assertEqual(names, ["privileges", "smartctl", "nvme", "hwinfo", "history", "log",
                                 "messages", "registration", "module"])
        self.assertRegex(self.output, r"(?m)^ok       smartctl      .*\(smartctl 7.3 stand-in\)$")
        self.assertRegex(self.output,
                         r"(?m)^ok       module        \d+ classes answer from .*libhddtest.cmpi.so")

    def test_missing_files(self):
        data = self.data_folder()
        shutil.rmtree(data / "hddtest")
        findings = self.findings("--data", data)
        for name in ["messages", "registration", "module"]:
            self.assertFalse(findings[name]["ok"], name)
            self.assertTrue(findings[name]["remedy"])
        self.assertEqual(self.status, 1)
        self.run_command("check", "--data", data)
        self.assertRegex(self.output, r"(?m)^missing  messages      .*hddtest.msg.xml: No such file "
                                      r"or directory; reinstall hddtest, or name its data")

    def test_faulty_messages_are_told_with_their_line(self):
        data = self.data_folder()
        finding = self.findings("--data", data)["messages"]
        self.assertFalse(finding["ok"])
        self.assertIn("hddtest.msg.xml: there is no <result state=\"failed\">", finding["found"])
        messages = data / "hddtest/hddtest.msg.xml"
        whole = (BUILD / "share/hddtest/hddtest.msg.xml").read_text()
        messages.write_text(whole)
        self.assertTrue(self.findings("--data", data)["messages"]["ok"])
        messages.write_text(whole.replace("</msg>", "</mgs>", 1))
        line = whole[:whole.index("</msg>")].count("\n") + 1
        self.assertIn(f"hddtest.msg.xml: line {line}: mismatched tag; ",
                      self.findings("--data", data)["messages"]["found"])
        self.assertEqual(self.status, 1)

    def test_missing_data_folder(self):
        self.assertIn("none", self.findings("--data", "none")["module"]["found"])

    def test_note_is_no_fault(self):
        if subprocess.run(["unshare", "-m", "true"], capture_output=True).returncode:
            self.skipTest("only root hides the machine's own log")
        environment = dict(self.environment)
        del environment["HVX_LOG_FILE"]
        done = subprocess.run(["unshare", "-m", "sh", "-c", 'mount -t tmpfs none /var/log && '
                               'exec "$0" check --json', PROGRAM],
                              env=environment, capture_output=True, text=True, timeout=60)
        log = {one["name"]: one for one in json.loads(done.stdout)}["log"]
        self.assertTrue(log["ok"])
        self.assertIn("/var/log/hvx: No such file or directory", log["found"])
        self.assertEqual(log["remedy"], "for a log file, as root: mkdir -m 0750 /var/log/hvx")
        self.assertEqual(done.returncode, 0, done.stdout)

    def test_log_that_cannot_be_written(self):
        finding = self.findings(HVX_LOG_FILE=str(self.folder / "none/log"))["log"]
        self.assertEqual((finding["ok"], self.status), (False, 1))
        self.assertIn("HVX_LOG_FILE", finding["remedy"])

    def test_history_that_cannot_be_used(self):
        state = self.folder / "state"
        found = self.findings()["history"]
        self.assertEqual((found["ok"], found["found"]), (True, f"{state}: made with the first test"))
        self.assertFalse(state.exists())
        state.mkdir()
        state.chmod(0o755)
        found = self.findings()["history"]
        self.assertFalse(found["ok"])
        self.assertEqual((found["found"], found["remedy"]),
                         (f"{state} is open to other users",
                          f"chmod 700 {state}; until then drives are tested and nothing is kept"))

    def test_smartctl_that_does_not_run(self):
        self.smartctl.write_text("#!/bin/sh\nexit 7\n")
        finding = self.findings()["smartctl"]
        self.assertEqual((finding["ok"], self.status), (False, 1))
        self.assertEqual(finding["found"], f"{self.smartctl} ends with status 7")

    def test_smartctl_that_is_not_there(self):
        self.smartctl.unlink()
        self.smartctl.with_name("hwinfo").unlink()
        hide = "mount -t tmpfs none /usr/sbin && mount -t tmpfs none /usr/local/sbin"
        if subprocess.run(["unshare", "-m", "sh", "-c", hide], capture_output=True).returncode:
            self.skipTest("only root hides the machine's own smartctl")
        done = subprocess.run(["unshare", "-m", "sh", "-c", f'{hide} && exec "$0" check', PROGRAM],
                              env=self.environment, capture_output=True, text=True, timeout=60)
        self.assertEqual(done.returncode, 1)
        self.assertIn("missing  smartctl      not found; install the package smartmontools\n",
                      done.stdout)
        self.assertIn("missing  hwinfo        not found; install the package hwinfo\n", done.stdout)


class CommandLine(CommandTest):
    def test_arguments_have_names_that_every_version_of_the_command_line_library_takes(self):
        self.run_command("--help")
        commands = re.findall(r"^  ([a-z]+) ", self.output, re.MULTILINE)
        self.assertIn("invoke", commands)
        for command in commands:
            self.run_command(command, "--help")
            usage = re.search(r"^Usage: .*\[OPTIONS\](.*)$", self.output, re.MULTILINE)[1]
            self.assertRegex(usage, r"^( \[?[A-Z]+(\.\.\.)?\]?)*$", command)

    def test_version(self):
        self.run_command("--version")
        self.expect(0)
        self.assertRegex(self.output, r"\Ahddtest \d+\.\d+\.\d+\n\Z")

    def test_help(self):
        self.run_command("--help")
        self.expect(0)
        for command in ["drives", "run", "check", "enumerate", "invoke"]:
            self.assertRegex(self.output, rf"(?m)^  {command} ")
            self.run_command(command, "--help")
            self.expect(0)
            self.assertIn(f"Usage: hddtest {command}", self.output)
            self.assertIn("Exit status: ", self.output)
            self.run_command("--help")

    def test_what_cannot_be_understood_is_one_line(self):
        for arguments, pattern in [
            (["--none"], "'hddtest' has no option '--none'; see hddtest --help"),
            (["--jsn"], r"'hddtest' has no option '--jsn'; see hddtest --help; did you mean '--json'\?$"),
            (["run", "--none"], "'hddtest run' has no option '--none'; see hddtest run --help"),
            (["run", "--none", "/dev/sda"], "'hddtest run' has no option '--none'; see"),
            (["run", "--job=2"], r"has no option '--job'; see hddtest run --help; did you mean '--jobs'\?$"),
            (["run", "--worke"], "has no option '--worke'; see"),  # it is not listed
            (["run", "--data"], "--data needs a value; see hddtest run --help"),
            (["run", "--jobs", "1", "--jobs", "2"], "--jobs is given more than once; see"),
            (["run", "--jobs", "0"], "--jobs: '0' is not a number from 1 to 1000; see"),
            (["enumerate"], "CLASS is required; see hddtest enumerate --help"),
            (["enumerate", "A", "B"],
             "'hddtest enumerate' takes no further argument 'B'; see hddtest enumerate --help"),
            (["patrol", "--test", "conveyance"],
             "there is no patrol 'conveyance'; the patrols are short and long$"),
            (["--test", "long", "start"],
             "options stand behind the command: 'hddtest start --test ...'; see hddtest start --help$"),
            (["-t", "long", "start"], "options stand behind the command: 'hddtest start -t ...'; see"),
            (["--test=long", "run", "x"], "behind the command: 'hddtest run --test ...'; see"),
            (["--tset", "long", "start"],
             r"'hddtest start' has no option '--tset'; see hddtest start --help; did you mean '--test'\?$"),
            (["enumerate", "A", "--\x1b[2J"], r"no option '--\\x1b\[2J'; see"),
        ]:
            self.run_command(*arguments)
            self.expect_one_line(3, pattern)

    def test_errors_in_json_have_the_shape_that_run_has(self):
        members = {"format": 1, "device": None, "outcome": None, "job": None, "status": 3}
        wrong = "command-line"
        for arguments, cause, reason in [
            (["run", "--json", "--jobs", "0"], wrong, "--jobs: '0' is not a number from 1 to 1000; see"),
            (["run", "--jobs", "--json"], wrong, "--jobs"),
            (["run", "--json", "--force"], wrong, "--force needs a DEVICE: "),
            (["drives", "--jsn", "--json"], wrong, "'hddtest drives' has no option '--jsn'; see"),
            (["--json", "check", "x"], wrong, "'hddtest check' takes no further argument 'x'; see"),
            (["none", "--json"], wrong, "there is no command 'none'"),
            (["help", "none", "--json"], wrong, "there is no command 'none'"),
            (["--json"], wrong, "no command was given"),
            (["enumerate", "--json"], wrong, "CLASS is required; see hddtest enumerate --help"),
            (["enumerate", "None", "--json"], "module-error", "there is no class None"),
            (["invoke", "=", "None", "--json"], "module-error", ""),
            (["drives", "--offered", "--data", "none", "--json"], "module-error", ""),
        ]:
            (error,) = json.loads(self.run_command(*arguments))
            self.assertEqual({name: error[name] for name in members}, members, arguments)
            self.assertEqual((self.status, error["cause"]), (3, cause), arguments)
            self.assertTrue(error["reason"].startswith(reason), (arguments, error["reason"]))
            self.assertEqual(self.errors.splitlines()[0], "hddtest: " + error["reason"])
        for arguments, cause, reason in [
            (["run", "--json-lines", "--jobs", "0"], wrong, "--jobs: '0' is not a number from 1 to 1000; see"),
            (["run", "--json", "--json-lines", "--force"], wrong, "--force needs a DEVICE: "),
            (["watch", "--json-lines", "--type", "sat"], wrong, ""),
            (["run", "--data", "none", "--json-lines", "--force", "/dev/fake"], None, ""),
        ]:
            (line,) = self.run_command(*arguments).splitlines()
            error = json.loads(line)
            self.assertEqual({name: error[name] for name in members if name != "device"},
                             {name: members[name] for name in members if name != "device"}, arguments)
            self.assertEqual(self.status, 3)
            if cause:
                self.assertEqual((error["device"], error["cause"]), (None, cause), arguments)
            self.assertTrue(error["reason"].startswith(reason), (arguments, error["reason"]))
        # Behind -- it is an argument.
        self.run_command("enumerate", "--", "--json")
        self.expect_one_line(3, "there is no class --json")
        self.run_command("run", "--jobs", "0", "--", "--json")
        self.expect_one_line(3, "--jobs: '0' is not a number from 1 to 1000; see")

    def test_without_a_command_there_is_the_list(self):
        for arguments, line in [
            ([], "no command was given"),
            (["none"], "there is no command 'none'"),
            (["long", "start"], "there is no command 'long'"),
            ([""], "there is no command ''"),
            (["drvies"], "there is no command 'drvies'; did you mean 'drives'?"),
            (["help", "enum"], "there is no command 'enum'; did you mean 'enumerate'?"),
            (["/dev/sda"], "there is no command '/dev/sda'; a drive is tested with 'hddtest run "
                           "/dev/sda'"),
            (["a\x1b[2J"], "there is no command 'a\\x1b[2J'"),
        ]:
            self.assertEqual(self.run_command(*arguments), "")
            self.assertEqual(self.status, 3)
            first, heading, *commands, last = self.errors.splitlines()
            self.assertEqual((first, heading), ("hddtest: " + line, "The commands are:"))
            self.assertEqual(last, "'hddtest help COMMAND' says more of one.")
            self.assertRegex(commands[0], "^  drives     Lists the drives")
            for command in commands:
                self.assertLessEqual(len(command), 80)

    def test_help_is_a_command_too(self):
        of_program = self.run_command("--help")
        self.assertEqual(self.run_command("help"), of_program)
        self.expect(0)
        of_run = self.run_command("run", "--help")
        self.assertEqual(self.run_command("help", "run"), of_run)
        self.expect(0)
        self.run_command("help", "run", "drives")
        self.assertIn("Usage: hddtest drives", self.output)
        self.assertIn("Usage: hddtest help", self.run_command("help", "help"))

    def test_help_says_what_a_command_takes(self):
        self.assertIn("Usage: hddtest stop [OPTIONS] DEVICE...\n", self.run_command("stop", "--help"))
        self.assertIn("Usage: hddtest status [OPTIONS] [DEVICE...]\n",
                      self.run_command("status", "--help"))
        for command in ["metrics", "report", "help", "passwd"]:
            self.assertNotRegex(self.run_command(command, "--help"), "(?m)^  --json ")
        for command in ["drives", "run", "status", "history", "check", "serve"]:
            self.assertRegex(self.run_command(command, "--help"), "(?m)^  --json ")

    def test_shared_options_stand_before_or_behind_the_command(self):
        self.assertEqual(
            json.loads(self.run_command("--json", "enumerate", "KAVRO_HDDTest_ConcreteJob")), [])


if __name__ == "__main__":
    main()

"""The drives of a machine as the user of the command sees them, and tests of all of them.

    drives_test.py PROGRAM
"""

import json
import os
import subprocess

from command_case import BUILD, CONTROL, PROGRAM, CommandTest, lines_left, main

EXCLUDED_TYPE = subprocess.run([BUILD / "test/excluded_machine_types"], check=True,
                               capture_output=True, text=True).stdout.split()[0]


class Drives(CommandTest):
    def drives(self, **environment):
        listed = json.loads(self.run_command("drives", "--offered", "--json", **environment))
        self.expect(0)
        return {drive["device"]: drive for drive in listed}

    def reasons(self, **environment):
        return {device: drive["reason"] for device, drive in self.drives(**environment).items()}

    def test_json(self):
        self.machine("sda")
        self.assertEqual(self.drives()["/dev/sda"], {
            "device": "/dev/sda", "testable": True, "reason": None, "smart": True,
            "model": "ATA DISK 0", "serial": None, "size": 1024000000, "connection": "SATA",
            "status": "ready", "cause": None, "remaining": None})

    def test_json_of_what_cannot_be_tested_now(self):
        self.machine("sda", "sdb", usb=["sdb"])
        drives = self.drives(SMART="Disabled")
        self.assertEqual([(one["testable"], one["status"], one["cause"]) for one in drives.values()],
                         [(True, "SMART is off", "smart-off"), (False, "on USB", "left-out")])
        running = self.drives(LOG="# 1  Short offline  Self-test routine in progress 40% 1217 -\\n")
        self.assertEqual({name: running["/dev/sda"][name] for name in ("status", "cause", "remaining")},
                         {"status": "test running, 40% remaining", "cause": "running",
                          "remaining": 40})

    def test_names_are_whole_and_of_the_drive(self):
        self.machine("sda")
        told = "Device Model:     A MODEL THAT SYSFS CUTS 9000\\nSerial Number:    S1\\n"
        drive = self.drives(INFORMATION=told)["/dev/sda"]
        self.assertEqual((drive["model"], drive["serial"]), ("A MODEL THAT SYSFS CUTS 9000", "S1"))

    def test_ordinary_user_is_told_that_root_sees_more(self):
        self.machine("sda")
        self.smartctl.write_text("#!/bin/sh\necho 'Smartctl open device: /dev/sda failed: "
                                 "Permission denied'\nexit 2\n")
        self.run_command("drives", "--offered")
        self.assertEqual(self.status, 0)
        self.assertRegex(self.output, r"/dev/sda .*  no permission\n\Z")
        says = "CAP_SYS_RAWIO" if os.geteuid() == 0 else "root sees more: .* 'sudo hddtest drives --offered'"
        self.assertRegex(self.errors, rf"\Ahddtest: .*{says}.*\n\Z")

    def test_terminal_shows_what_is_waited_for(self):
        self.machine("sda")
        hwinfo = self.smartctl.with_name("hwinfo")
        hwinfo.write_text(hwinfo.read_text().replace("*) ", "*) sleep 1.2; "))
        written, status = self.on_terminal("drives", "--offered", NO_COLOR="1")
        self.assertEqual(status, 0)
        self.assertRegex(written, r"looking for drives: hwinfo.* \(0:0\d\)")
        self.assertRegex(written, r"\r\x1b\[KDEVICE")

    def test_table(self):
        self.machine("sda", "sdb", usb=["sdb"])
        self.run_command("drives", "--offered", NO_SMART="/dev/sdb")
        self.expect(0)
        self.assertEqual(self.output.splitlines(), [
            "DEVICE       SIZE  MODEL       SERIAL  CONNECTION  TEST",
            "/dev/sda  1.02 GB  ATA DISK 0  -       SATA        ready",
            "/dev/sdb  1.02 GB  ATA DISK 1  -       SATA        on USB"])
        self.run_command("drives", "--offered", NO_SMART="/dev/sda")
        self.assertIn("no SMART", self.output)

    def test_reasons_are_the_decisions_of_discovery(self):
        self.machine("sda", "sdb", "sdc", usb=["sdb"], unlisted=["sdc"])
        self.assertEqual(self.reasons(),
                         {"/dev/sda": None, "/dev/sdb": "USB", "/dev/sdc": "not a disk"})
        disk = self.folder / "disk"
        disk.write_text(disk.read_text().replace("ahci", "megaraid_sas", 1))
        self.assertEqual(self.reasons()["/dev/sda"], "RAID")

    def test_micro_flash(self):
        self.machine("sda")
        (model,) = self.folder.glob("machine/sys/devices/*/*/*/*/*/*/model")
        model.write_text("PQI EXAMPLE STICK\n")
        self.assertEqual(self.reasons(), {"/dev/sda": "micro-flash"})

    def test_excluded_machine_type(self):
        self.machine("sda", product=f"Server -[{EXCLUDED_TYPE}AC1]-")
        self.assertEqual(self.reasons(), {"/dev/sda": "excluded machine type"})
        self.run_command("run")
        self.assertEqual(self.status, 3)
        self.assertRegex(self.output, r"(?m)^/dev/sda: not tested: excluded: machine type \d{4}$")

    def test_excluded_bios(self):
        self.machine("sda")
        bios = self.folder / "machine/sys/class/dmi/id/bios_version"
        bios.write_text(EXCLUDED_TYPE + "\n")
        self.assertEqual(self.reasons(), {"/dev/sda": "excluded machine type"})

    def test_smart_is_unknown_where_smartctl_cannot_tell(self):
        self.machine("sda")
        for status in ["1", "2"]:
            self.smartctl.write_text(f"#!/bin/sh\nexit {status}\n")
            self.assertIsNone(self.drives()["/dev/sda"]["smart"])
        self.smartctl.write_text("#!/bin/sh\nkill -9 $$\n")
        self.assertIsNone(self.drives()["/dev/sda"]["smart"])
        self.smartctl.write_text("#!/bin/sh\necho 'SMART support is: Unavailable'\n")
        self.assertIs(self.drives()["/dev/sda"]["smart"], False)
        # Bits that tell of the drive's past say nothing of whether it was asked.
        self.smartctl.write_text("#!/bin/sh\necho 'SMART support is: Enabled'\nexit 64\n")
        self.assertIs(self.drives()["/dev/sda"]["smart"], True)

    def test_no_drive(self):
        self.machine()
        self.assertEqual(self.run_command("drives", "--offered"), "There is no drive on this machine.\n")
        self.assertEqual(json.loads(self.run_command("drives", "--offered", "--json")), [])
        self.run_command("run")
        self.expect_one_line(3, "there is no drive on this machine")

    def test_narrow_terminal_shortens_models(self):
        self.machine("sda")
        (model,) = self.folder.glob("machine/sys/devices/*/*/*/*/*/*/model")
        model.write_text("A MODEL OF A LONG NAME\n")
        written, status = self.on_terminal("drives", "--offered", columns=70, NO_COLOR="1")
        self.assertEqual(status, 0)
        lines = lines_left(written)
        self.assertRegex(lines[1], r"ATA .*\.\.\.")
        for line in lines:
            self.assertLessEqual(len(line), 70)
        written, _ = self.on_terminal("drives", "--offered", columns=53, NO_COLOR="1")
        for line in lines_left(written):
            self.assertLessEqual(len(line), 53)
        for columns in [40, 30, 20]:  # what can be done stays longest
            written, _ = self.on_terminal("drives", "--offered", columns=columns, NO_COLOR="1")
            lines = lines_left(written)
            self.assertTrue(lines[1].startswith("/dev/sda "))
            self.assertTrue(lines[1].endswith(" ready"), lines)
            for line in lines:
                self.assertLessEqual(len(line), columns)

    def test_hostile_model_does_not_reach_the_terminal(self):
        self.machine("sda")
        (model,) = self.folder.glob("machine/sys/devices/*/*/*/*/*/*/model")
        model.write_bytes(b"a\x1b[2J\xc2\x9b\xff" + "\u202e\u2069\u200f\u061c\n".encode())
        for arguments in [["drives"], ["drives", "--json"], ["drives", "--offered"],
                          ["drives", "--offered", "--json"], ["enumerate", "KAVRO_DiskDrive"]]:
            self.run_command(*arguments)
            self.assertIn("DiskDrive" if "enumerate" in arguments else "/dev/sda", self.output)
            self.assertNotRegex(self.output, CONTROL)
        self.assertNotRegex(self.log.read_text(), CONTROL)

    def test_many_drives(self):
        names = [f"sd{a}{b}" for a in "abc" for b in "abcdefgh"]
        self.machine(*names)
        drives = self.drives()
        self.assertEqual(sorted(drives), [f"/dev/{name}" for name in names])
        self.assertTrue(all(drive["smart"] for drive in drives.values()))


class RunAll(CommandTest):
    def test_every_testable_drive_with_smart(self):
        self.machine("sda", "sdb", "sdc", "sdd", usb=["sdc"])
        self.run_command("run", NO_SMART="/dev/sdb", BROKEN="/dev/sdd")
        self.assertEqual(self.status, 3, "which outranks 1")
        lines = self.output.splitlines()
        self.assertRegex(self.errors, r"\Ahddtest: /dev/sdb was not tested: it has no SMART .*\n\Z")
        self.assertIn("/dev/sdc: not tested: on USB", lines)
        self.assertRegex(self.output, r"(?m)^/dev/sda: passed \(\d:\d\d\): # 1 Short offline ")
        self.assertRegex(self.output, r"(?m)^/dev/sdd: failed \(\d:\d\d\): the drive reported: read ")
        summary = lines.index("4 drives: 1 passed, 1 failed, 1 could not be tested, 1 not tested")
        self.assertEqual(lines[summary + 2], "/dev/sdd:")
        self.assertRegex(lines[summary + 3], "^HDST-100: ")
        self.assertNotIn("HDST-000", self.output, "what passed needs no advice")

    def test_json(self):
        self.machine("sda", "sdb", "sdc", usb=["sdc"])
        drives = json.loads(self.run_command("run", "--json"))
        self.expect(0)
        self.assertEqual([(drive["device"], drive["outcome"], drive["reason"], drive["cause"])
                          for drive in drives],
                         [("/dev/sda", "passed", None, None), ("/dev/sdb", "passed", None, None),
                          ("/dev/sdc", None, "USB", "left-out")])

    def test_none_can_be_tested(self):
        self.machine("sda", "sdb", usb=["sdb"])
        self.run_command("run", SMART="Disabled")
        self.assertEqual(self.status, 3)
        self.assertEqual(self.output, "/dev/sdb: not tested: on USB\n"
                                      "2 drives: 1 could not be tested, 1 not tested\n")
        self.assertRegex(self.errors, r"\Ahddtest: /dev/sda was not tested: SMART is off; .*\n\Z")

    def test_all_are_left_out(self):
        self.machine("sda", usb=["sda"])
        self.run_command("run")
        self.assertEqual(self.status, 3)
        self.assertEqual(self.errors, "hddtest: no drive of this machine can be tested\n")

    def test_jobs_says_how_many_at_once(self):
        self.machine("sda", "sdb", "sdc", "sdd", "sde")
        for jobs, arguments in [(1, ["--jobs", "1"]), (4, []), (5, ["--jobs", "9"])]:
            # Each start notes how many tests are under way, until all that may be have begun.
            self.smartctl.write_text(COUNTING.replace("JOBS", str(jobs)))
            (self.folder / "counts").unlink(missing_ok=True)
            self.run_command("run", *arguments)
            self.expect(0)
            counts = (self.folder / "counts").read_text().split()
            self.assertEqual(max(map(int, counts)), jobs)

    def test_refuses_other_numbers_of_jobs(self):
        for jobs in ["0", "-1", "x", "1001"]:
            self.run_command("run", "--jobs", jobs)
            self.expect_one_line(3, "--jobs")

    def test_force_needs_a_device(self):
        self.run_command("run", "--force")
        self.expect_one_line(3, "--force needs a DEVICE")
        (only,) = json.loads(self.run_command("run", "--json", "--force"))
        self.assertEqual((only["device"], only["status"]), (None, 3))
        self.assertIn("--force needs a DEVICE", only["reason"])

    def test_hwinfo_is_missing(self):
        self.machine("sda")
        hide = "mount -t tmpfs none /usr/sbin && mount -t tmpfs none /usr/local/sbin"
        if subprocess.run(["unshare", "-m", "sh", "-c", hide], capture_output=True).returncode:
            self.skipTest("only root hides the machine's own hwinfo")
        self.smartctl.with_name("hwinfo").unlink()
        for arguments in ["run", "run /dev/sda"]:
            done = subprocess.run(
                ["unshare", "-m", "sh", "-c", f'{hide} && exec "$0" {arguments}', PROGRAM],
                env=self.environment, capture_output=True, text=True, timeout=60)
            self.assertEqual(done.returncode, 3)
            self.assertRegex(done.stderr, r"\Ahddtest: /dev/sda was not tested: hwinfo is not "
                                          r"installed, .*; install the package hwinfo\n\Z")

    def slow_hwinfo(self):
        self.machine("sda")
        hwinfo = self.smartctl.with_name("hwinfo")
        hwinfo.write_text(hwinfo.read_text().replace("*) ", "*) sleep 1.2; "))

    def test_terminal_shows_that_drives_are_looked_for(self):
        self.slow_hwinfo()
        for arguments in [["run"], ["run", "/dev/sda"], ["run", "--json"]]:
            written, status = self.on_terminal(*arguments)
            self.assertEqual(status, 0)
            self.assertRegex(written, r"looking for drives: hwinfo.* \(0:0\d\)[^\n]*\r\x1b\[K")

    def test_pipe_shows_nothing_of_the_search(self):
        self.slow_hwinfo()
        self.run_command("run")
        self.expect(0)
        self.assertNotIn("looking", self.output)


# A smartctl that counts the drives under test; a drive ends when JOBS have begun together, or when
# no more come.
COUNTING = r"""#!/bin/sh
for device; do :; done
cd "${0%/*}/.."
state=state.$(basename "$device")
case $1 in
-i) rm -f "$state"; echo 'SMART support is: Enabled' ;;
-t) : > "$state"
    for wait in 1 2 3 4 5 6 7 8 9 10
    do count=$(ls state.* | wc -l); [ $count -lt JOBS ] || break; sleep 0.2; done
    echo $count >> counts ;;
-l) echo 'SMART Self-test log structure revision number 1'
    [ -e "$state" ] || exit 0
    echo '# 1  Short offline       Completed without error       00%      1217  -'
    sleep 0.5
    mv "$state" "ended.$state" ;;
esac
"""


class RunNamed(CommandTest):
    def test_refuses_what_discovery_leaves_out(self):
        self.machine("sda", "sdb", usb=["sdb"])
        self.run_command("run", "/dev/sdb")
        self.expect_one_line(3, "/dev/sdb was not tested: on USB; --force tests it all the same")
        self.run_command("run", "/dev/sdb", "/dev/sda")
        self.assertEqual(self.status, 3)
        self.assertIn("/dev/sda: passed", self.output)
        self.run_command("run", "--force", "/dev/sdb")
        self.expect(0)

    def test_smart_is_off(self):
        self.machine("sda")
        self.run_command("run", "/dev/sda", SMART="Disabled")
        self.expect_one_line(3, "/dev/sda was not tested: SMART is off; 'smartctl -s on /dev/sda' ")

    def test_a_drive_named_twice_is_tested_once(self):
        self.machine("sda")
        (self.folder / "link").symlink_to("/dev/sda")
        for names in [["/dev/sda", "/dev/sda"], ["/dev/sda", "/dev/../dev/sda"]]:
            drives = json.loads(self.run_command("run", "--json", *names))
            self.assertEqual([drive["device"] for drive in drives], ["/dev/sda"])

    def test_excluded_machine_type(self):
        self.machine("sda", product=f"Server -[{EXCLUDED_TYPE}AC1]-")
        self.run_command("run", "/dev/sda")
        self.expect_one_line(3, "/dev/sda was not tested: excluded: machine type")


main()

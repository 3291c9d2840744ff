"""The overview of "hddtest drives": rows as the answers come, and what fits on which terminal.

    overview_test.py PROGRAM
"""

import json
import os
import pathlib
import pty
import subprocess

from command_case import CONTROL, PROGRAM, CommandTest, lines_left, main

# Says what smartctl --json=o says of an ATA drive, its model in $MODEL. Where a pipe "block" or
# "scan" lies beside it, a look at the second drive or the scan waits until somebody has written there.
SMARTCTL = r"""#!/bin/sh
for device; do :; done
here=${0%/*}
case " $* " in
*" --version "*) echo 'smartctl 7.3 stand-in'; exit ;;
*" --scan-open "*) [ -p "$here/scan" ] && read -r _ < "$here/scan"; echo '{"devices": []}'; exit ;;
esac
echo "$*" >> "$here/asked"
[ "$device" = /dev/sdb ] && [ -p "$here/block" ] && read -r _ < "$here/block"
[ "$device" = /dev/sdc ] && [ -n "$FAULT" ] && {
    echo '{"smartctl": {"version": [7, 3], "exit_status": 2, "messages": [{"string":
        "Smartctl open device: /dev/sdc failed: Permission denied", "severity": "error"}]}}'
    exit 2
}
cat <<END
{"smartctl": {"version": [7, 3], "exit_status": 0},
 "device": {"name": "$device", "type": "sat", "protocol": "ATA"},
 "model_name": "${MODEL:-Example Disk 500}", "serial_number": "S-${device#/dev/}",
 "smart_support": {"available": true, "enabled": true},
 "ata_smart_data": {"self_test": {"status": {"value": 0, "string": "completed", "passed": true},
                                  "polling_minutes": {"short": 2, "extended": 84}},
                    "capabilities": {"self_tests_supported": true,
                                     "conveyance_self_test_supported": false}},
 "ata_smart_self_test_log": {"standard": {"revision": 1, "count": 1, "table": [
    {"type": {"value": 1}, "status": {"value": ${STATUS:-0}, "string": "x"}, "lifetime_hours": 9}]}}}
END
"""


class Overview(CommandTest):
    def setUp(self):
        super().setUp()
        self.smartctl.write_text(SMARTCTL)

    def pipe(self, name):
        path = self.smartctl.with_name(name)
        os.mkfifo(path)
        return path

    def name(self, *drives):
        """Drives that nobody knows are all looked at first, since two may claim to be one."""
        root = pathlib.Path(self.environment["HVX_SYSFS_ROOT"])
        for number, drive in enumerate(drives):
            (root / f"sys/block/{drive}/device/wwid").write_text(f"naa.5000c500a1b2c3d{number}\n")

    def start(self, *arguments):
        process = subprocess.Popen([PROGRAM, "drives", *arguments], cwd=self.folder, text=True,
                                   env=self.environment, stdout=subprocess.PIPE)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.kill)
        return process

    def test_each_drive_is_shown_as_soon_as_it_has_answered(self):
        self.machine("sda", "sdb", "sdc")
        self.name("sda", "sdb", "sdc")
        block = self.pipe("block")
        process = self.start()
        self.assertIn("NEWEST TEST", process.stdout.readline())
        self.assertIn("/dev/sda", process.stdout.readline())
        block.write_text("\n")  # which waits until the look at the second one reads it
        self.assertIn("/dev/sdb", process.stdout.readline())
        self.assertIn("/dev/sdc", process.stdout.readline())
        self.assertEqual(process.stdout.read(), "")
        self.assertEqual(process.wait(timeout=60), 0)

    def test_terminal_shows_slow_drives_last(self):
        self.machine("sda", "sdb", "sdc")
        self.name("sda", "sdb", "sdc")
        block = self.pipe("block")
        master, slave = pty.openpty()
        with subprocess.Popen([PROGRAM, "drives"], cwd=self.folder, env=self.environment, stdout=slave,
                              stderr=subprocess.DEVNULL) as process:
            os.close(slave)
            with os.fdopen(master) as terminal:
                lines = [terminal.readline() for _ in range(3)]
                block.write_text("\n")
                lines.append(terminal.readline())
            self.assertEqual([line.split()[0] for line in lines],
                             ["DEVICE", "/dev/sda", "/dev/sdc", "/dev/sdb"])
            self.assertEqual(process.wait(timeout=60), 0)

    def test_first_line_of_24_drives_waits_for_none(self):
        self.machine(*(f"sd{letter}" for letter in "abcdefghijklmnopqrstuvwx"))
        scan = self.pipe("scan")
        process = self.start()
        self.assertIn("NEWEST TEST", process.stdout.readline())
        scan.write_text("\n")
        lines = process.stdout.read().splitlines()
        self.assertEqual([line.split()[0] for line in lines],
                         [f"/dev/sd{letter}" for letter in "abcdefghijklmnopqrstuvwx"])
        self.assertEqual(process.wait(timeout=60), 0)

    def test_hwinfo_is_left_to_the_module(self):
        self.machine("sda")
        self.smartctl.with_name("hwinfo").write_text(f"#!/bin/sh\n: > {self.folder}/asked\n")
        self.run_command("drives")
        self.expect(0)
        self.assertFalse((self.folder / "asked").exists())
        self.run_command("drives", "--offered")
        self.assertTrue((self.folder / "asked").exists())

    def test_drives_in_standby_are_asked_only_with_wake(self):
        self.machine("sda")
        asked = self.smartctl.with_name("asked")
        self.run_command("drives")
        self.assertIn("-n standby", asked.read_text())
        asked.unlink()
        self.run_command("drives", "--wake")
        self.assertNotIn("-n standby", asked.read_text())

    def test_table(self):
        self.machine("sda", "sdc")
        self.run_command("drives", FAULT="1")
        self.assertEqual(self.status, 0)
        first, second, third = self.output.splitlines()
        self.assertEqual(first.split(), "DEVICE MODEL SERIAL SIZE TYPE TESTS NEWEST TEST".split())
        self.assertRegex(second, r"^/dev/sda  Example Disk 500 +S-sda +1\.02 GB  ATA   short long             "
                                 r"short test passed at power-on hour 9 "
                                 r"\(by another program or person\)$")
        self.assertRegex(third, r"^/dev/sdc .*  not looked at: .*Permission denied")

    def test_failed_drive_tells_what_to_pull(self):
        self.machine("sda")
        self.run_command("drives", STATUS="112")
        self.assertEqual(self.status, 0, "the overview is no verdict")
        self.assertEqual(self.output.splitlines()[2:], [
            "", "/dev/sda: back up its data, then replace it: Example Disk 500, serial number S-sda"])
        self.run_command("status", STATUS="112")
        self.assertEqual(self.status, 1)
        self.assertIn("\n\n/dev/sda: back up its data, then replace it: ", self.output)

    def test_bay_is_told_with_the_line_for_ledctl(self):
        self.machine("sda")
        root = pathlib.Path(self.environment["HVX_SYSFS_ROOT"])
        slot = root / "sys/class/enclosure/9:0:24:0/Slot 04"
        slot.mkdir(parents=True)
        (slot / "slot").write_text("3\n")
        (slot / "device").symlink_to((root / "sys/block/sda/device").resolve())
        (root / "dev/disk/by-path").mkdir(parents=True)
        (root / "dev/sda").write_text("")
        (root / "dev/disk/by-path/pci-0-\x1b[2J").symlink_to("../../sda")
        ledctl = self.smartctl.with_name("ledctl")
        ledctl.write_text(f"#!/bin/sh\n: > {self.folder}/lit\n")
        ledctl.chmod(0o755)
        for command in ("drives", "status"):
            self.run_command(command, STATUS="112")
            self.assertRegex(self.output, r"S-sda, at /dev/disk/by-path/pci-0-\\x1b\[2J, slot 3 of the "
                                          r"enclosure 9:0:24:0; 'ledctl locate=/dev/sda' lights its bay")
            self.assertNotRegex(self.output, CONTROL)
            (drive,) = json.loads(self.run_command(command, "--json", STATUS="112"))
            self.assertEqual((drive["bay"]["slot"], drive["bay"]["locate"]),
                             ("3", "ledctl locate=/dev/sda"))
        self.assertFalse((self.folder / "lit").exists(), "nobody runs it")

    def test_json_has_the_members_of_the_offered_drives(self):
        self.machine("sda", "sdc")
        first, second = json.loads(self.run_command("drives", "--json", FAULT="1"))
        self.expect(0)
        for name in ("testable", "reason", "smart", "connection", "cause", "remaining"):
            self.assertIsNone(first[name], name)
        self.assertEqual((first["device"], first["model"], first["serial"], first["size"]),
                         ("/dev/sda", "Example Disk 500", "S-sda", 1024000000))
        self.assertEqual((first["tests"]["long"], first["last"]["source"], first["running"]),
                         ({"able": True, "minutes": 84}, "other", None))
        self.assertIn("Permission denied", second["not_looked_at"])
        (offered, _) = json.loads(self.run_command("drives", "--offered", "--json"))
        self.assertLessEqual(set(offered), set(first))

    def test_terminals(self):
        self.machine("sda")
        for columns in (120, 100, 80, 60, 40, 20):
            written, status = self.on_terminal("drives", columns=columns, NO_COLOR="1",
                                               MODEL="A model of a name that is longer than others")
            self.assertEqual(status, 0)
            title, row = lines_left(written)
            self.assertLessEqual(max(len(title), len(row)), columns)
            self.assertTrue(row.startswith("/dev/sda  "))
            self.assertIn("MODEL" if columns >= 60 else "", title)

    def test_terminal_gets_no_complaint_that_it_has_to_break(self):
        self.machine("sda", "sdc")
        written, _ = self.on_terminal("status", columns=40, NO_COLOR="1", FAULT="1")
        complaint = written.replace("\r", "").partition("hddtest: ")[2].splitlines()
        self.assertIn("Permission denied", " ".join(complaint))
        self.assertGreater(len(complaint), 1)
        self.assertLessEqual(max(len(line) for line in complaint), 40)

    def test_no_drive(self):
        self.assertEqual(self.run_command("drives"), "There is no drive on this machine.\n")
        self.assertEqual(json.loads(self.run_command("drives", "--json")), [])
        self.expect(0)


if __name__ == "__main__":
    main()

"""What the tests of the command share: a stand-in smartctl first on PATH, and ways to run the
command, whose path is the first argument of the test program.

The stand-in's lives end without waiting, unless a test says so.
"""

import fcntl
import os
import pathlib
import pty
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import termios
import unittest

PROGRAM = pathlib.Path(sys.argv[1]).resolve()
BUILD = PROGRAM.parent.parent

# After the start of a test the log shows a test in progress for $POLLS reads, and then $RESULT; with
# $GONE smartctl prints that instead and fails. $INFORMATION and $LOG are printed before the first
# answers.
STAND_IN = r"""#!/bin/sh
for device; do :; done
state=${0%/*}/state.$(printf %s "$device" | tr -c '[:alnum:]' _)
case $1 in
--version) echo 'smartctl 7.3 stand-in' ;;
-i) [ -e "$state" ] && [ "$(wc -l < "$state")" -gt "${POLLS:-0}" ] && rm "$state"
    case ${NO_SMART:-none} in *"$device"*) exit 0 ;; esac
    printf '%b' "$INFORMATION"
    echo "SMART support is: ${SMART:-Enabled}"
    exit "${INFORMATION_STATUS:-0}" ;;
-t) printf '%b' "$START"
    [ "${START_STATUS:-0}" = 0 ] && : > "$state"
    exit "${START_STATUS:-0}" ;;
-l) [ -e "$state" ] && [ -n "$GONE" ] && { printf '%b' "$GONE"; exit 2; }
    [ -e "$state" ] || printf '%b' "$LOG"
    echo 'SMART Self-test log structure revision number 1'
    [ -e "$state" ] || exit 0
    echo x >> "$state"
    if [ "$(wc -l < "$state")" -le "${POLLS:-0}" ]
    then echo '# 1  Short offline       Self-test routine in progress 90%      1217         -'
    else
      case ${BROKEN:-none} in *"$device"*) RESULT='Completed: read failure' ;; esac
      printf "# 1  Short offline       ${RESULT:-Completed without error}       00%%      1217  -\n"
    fi ;;
esac
"""

MESSAGES = """<?xml version="1.0" encoding="UTF-8"?><diaganalysis version="1">
<diagnostictest name="Hard Drive: Self Test">{results}</diagnostictest></diaganalysis>"""
RESULT = '<result state="{state}"><errorcode>E</errorcode><msg>{text}</msg></result>'

# Prints the file of its argument: $folder/disk or $folder/usb.
HWINFO = r"""#!/bin/sh
case $1 in
--version) echo 'hwinfo stand-in' ;;
*) cat "${0%/*}/../${1#--}" ;;
esac
"""

# What may move a cursor or change a terminal, every control but line feed, and what changes the
# direction of writing.
CONTROL = re.compile("[\x00-\x09\x0b-\x1f\x7f-\x9f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069]")


class CommandTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="hddtest_cli."))
        self.addCleanup(shutil.rmtree, self.folder)
        binaries = self.folder / "bin"
        binaries.mkdir()
        self.smartctl = binaries / "smartctl"
        self.smartctl.write_text(STAND_IN)
        self.smartctl.chmod(0o755)
        self.log = self.folder / "log"
        self.environment = dict(os.environ, PATH=f"{binaries}:/usr/bin:/bin",
                                HVX_LOG_FILE=str(self.log), LC_ALL="C.UTF-8", TERM="xterm",
                                HVX_STATE_DIR=str(self.folder / "state"))
        self.environment.pop("NO_COLOR", None)
        self.machine()  # so that no test asks for the drives of the machine that it runs on

    def run_command(self, *arguments, **environment):
        done = subprocess.run([PROGRAM, *arguments], capture_output=True, cwd=self.folder,
                              env=dict(self.environment, **environment), timeout=120,
                              stdin=subprocess.DEVNULL)
        self.status = done.returncode
        self.output = done.stdout.decode("utf-8")
        self.errors = done.stderr.decode("utf-8")
        return self.output

    def expect(self, status, errors=""):
        self.assertEqual((self.status, self.errors), (status, errors))

    def expect_one_line(self, status, pattern):
        """Nothing on standard output, one line on standard error."""
        self.assertEqual(self.output, "")
        self.assertEqual(self.status, status)
        self.assertRegex(self.errors, rf"\Ahddtest: .*{pattern}.*\n\Z")

    def machine(self, *drives, product="", usb=(), unlisted=()):
        """A made-up machine with drives behind ahci adapters, such as "sda". hwinfo lists those in
        usb as USB devices, and those in unlisted not at all."""
        root = self.folder / "machine"
        shutil.rmtree(root, ignore_errors=True)
        def write(path, text):
            (root / path).parent.mkdir(parents=True, exist_ok=True)
            (root / path).write_text(text)
        def link(path, target):
            (root / path).parent.mkdir(parents=True, exist_ok=True)
            (root / path).symlink_to(root / target)
        write("sys/class/dmi/id/product_name", product)
        (root / "sys/block").mkdir(parents=True)
        for number, drive in enumerate(drives):
            write(f"sys/class/scsi_host/host{number}/proc_name", "ahci\n")
            device = (f"sys/devices/pci0000:00/0000:00:1f.2/ata{number + 1}/host{number}"
                      f"/target{number}:0:0/{number}:0:0:0")
            for name, text in [("vendor", "ATA"), ("model", f"DISK {number}"), ("rev", "1.0"),
                               ("type", "0"), ("state", "running"),
                               (f"scsi_generic/sg{number}/dev", "21:0"),
                               (f"block/{drive}/size", "2000000"), (f"block/{drive}/ro", "0"),
                               (f"block/{drive}/removable", "0"),
                               (f"block/{drive}/queue/logical_block_size", "512")]:
                write(f"{device}/{name}", text + "\n")
            link(f"{device}/block/{drive}/device", device)
            link(f"sys/bus/scsi/devices/{number}:0:0:0", device)
            link(f"sys/block/{drive}", f"{device}/block/{drive}")
        def report(listed):
            return "".join(f"  Unique ID: x\n  Driver: \"ahci\"\n  Device File: /dev/{drive}\n"
                           for drive in listed)
        (self.folder / "disk").write_text(
            report([drive for drive in drives if drive not in unlisted]))
        (self.folder / "usb").write_text(report(usb))
        hwinfo = self.smartctl.with_name("hwinfo")
        hwinfo.write_text(HWINFO)
        hwinfo.chmod(0o755)
        self.environment["HVX_SYSFS_ROOT"] = str(root)

    def data_folder(self, states=("passed",), text="T"):
        """Without a message for every state, no drive is tested."""
        data = self.folder / "data"
        (data / "hddtest").mkdir(parents=True)
        shutil.copy(BUILD / "share/hddtest/hddtest.reg", data / "hddtest")
        (data / "hddtest/hddtest.msg.xml").write_text(MESSAGES.format(
            results="".join(RESULT.format(state=state, text=text) for state in states)))
        return data

    def on_terminal(self, *arguments, columns=60, **environment):
        """What the command writes to a terminal of that width, and its status."""
        master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        process = subprocess.Popen([PROGRAM, *arguments], stdin=slave, stdout=slave, stderr=slave,
                                   cwd=self.folder, env=dict(self.environment, **environment))
        os.close(slave)
        written = b""
        while True:
            try:
                piece = os.read(master, 65536)
            except OSError:  # the terminal's last user has gone
                break
            if not piece:
                break
            written += piece
        os.close(master)
        return written.decode("utf-8"), process.wait(timeout=60)


def lines_left(written):
    """What stands on a terminal in the end, without a line that was drawn anew while somebody waited."""
    return [re.split("\x1b\\[[KJ]", line.rstrip("\r"))[-1] for line in written.split("\n")[:-1]]


def main():
    unittest.main(argv=sys.argv[:1] + sys.argv[2:], verbosity=2)

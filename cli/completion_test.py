"""What bash completes of the command line: all that the help lists, and what belongs behind it.

    completion_test.py PROGRAM
"""

import json
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
import unittest

PROGRAM = pathlib.Path(sys.argv[1]).resolve()
SCRIPT = PROGRAM.parent.parent / "share/bash-completion/completions/hddtest"


def help_text(*command):
    return subprocess.run([PROGRAM, *command, "--help"], check=True, capture_output=True,
                          text=True).stdout


def listed(text, heading):
    """The first words of the entries below a heading of a help text, names of one entry together."""
    section = re.search(rf"^{heading}:\n((?:  .*\n)+)", text, re.MULTILINE | re.IGNORECASE)
    entries = re.findall(r"^  (\S+)", section.group(1), re.MULTILINE) if section else []
    return [entry.split(",") for entry in entries]


def names(text):
    return {name for entry in listed(text, "Options") for name in entry}


COMMANDS = [command for (command,) in listed(help_text(), "Commands")]


class Completion(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="hddtest_completion.")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        (self.folder / "users").touch()
        (self.folder / "share").mkdir()

    def machine(self, **drives):
        """A made-up machine whose drives have these files in sysfs, and a device of that name."""
        sysfs = self.folder / "machine/sys"
        for drive, (device, files) in drives.items():
            block = sysfs / "block" / drive
            block.mkdir(parents=True)
            if device:
                (sysfs / "devices" / device).mkdir(parents=True)
                (block / "device").symlink_to(sysfs / "devices" / device)
            for name, text in files.items():
                (block / name).write_text(text + "\n")

    def listed_drives(self):
        """Those of that machine for the command itself."""
        answer = subprocess.run([PROGRAM, "enumerate", "KAVRO_DiskDrive", "--json"], check=True,
                                capture_output=True, env={"HVX_SYSFS_ROOT": f"{self.folder}/machine",
                                                          "HVX_LOG_FILE": "/dev/null"}).stdout
        return {drive["DeviceID"] for drive in json.loads(answer)}

    def complete(self, *words):
        """What bash offers for the last of the words, in a folder with file users and folder share."""
        root = self.folder / "machine"
        line = " ".join(map(shlex.quote, words))
        done = subprocess.run(
            ["bash", "--norc", "-uec",
             f'. "$0"; COMP_WORDS=({line}); COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1)); '
             r'$(complete -p hddtest | sed "s/.*-F \([^ ]*\).*/\1/"); printf "%s\n" "${COMPREPLY[@]-}"',
             SCRIPT], cwd=self.folder, capture_output=True, text=True,
            env={"PATH": "/usr/bin:/bin", "HVX_SYSFS_ROOT": str(root)})
        self.assertEqual((done.returncode, done.stderr), (0, ""), words)
        return set(done.stdout.split("\n")) - {""}

    def test_is_what_the_program_prints(self):
        printed = subprocess.run([PROGRAM, "completion"], check=True, capture_output=True).stdout
        self.assertEqual(SCRIPT.read_bytes(), printed)

    def test_every_command(self):
        self.assertIn("run", COMMANDS)
        self.assertEqual(self.complete("hddtest", ""), {*COMMANDS, *names(help_text())})
        self.assertEqual(self.complete("hddtest", "dr"), {"drives"})
        self.assertEqual(self.complete("hddtest", "--json", "dr"), {"drives"})
        self.assertEqual(self.complete("hddtest", "--data", "check", "dr"), {"drives"})
        self.assertEqual(self.complete("hddtest", "--data", "=", "check", "dr"), {"drives"})
        self.assertNotIn("completion", COMMANDS)
        wrong = subprocess.run([PROGRAM, "completio"], capture_output=True, text=True).stderr
        self.assertNotIn("completion", wrong)
        self.assertEqual(self.complete("hddtest", "help", ""), set(COMMANDS))

    def test_every_option_of_every_command(self):
        for command in COMMANDS:
            options = names(help_text(command))
            self.assertLessEqual({"--help", "--data"}, options)
            self.assertEqual(self.complete("hddtest", command, "-"), options, command)
            for option in options:
                self.assertIn(option, self.complete("hddtest", command, option))
        self.assertNotIn("--worker", self.complete("hddtest", "run", "--w"))

    def test_what_belongs_behind_every_option(self):
        offered = {"DIR": {"share"}, "FILE": {"share", "users"}, "DEVICE": set()}
        found = set()
        for command in [[], *([command] for command in COMMANDS)]:
            for name, value in re.findall(r"^  (?:-\w,)?(--[\w-]+) ([A-Z]+)\b", help_text(*command),
                                          re.MULTILINE):
                found.add(value)
                for behind in (["", ], ["=", ""], ["="]):
                    self.assertEqual(self.complete("hddtest", *command, name, *behind),
                                     offered.get(value, set()), (command, name, behind))
        self.assertLessEqual({"DIR", "FILE", "N"}, found)

    def test_drives(self):
        def scsi(number, kind):
            return f"{number}:0:0:0", {"device/type": kind, "hidden": "0"}
        self.machine(sda=scsi(0, "0"), sdab=scsi(1, "0"), sdb=scsi(2, "14"), sr0=scsi(3, "5"),
                     nvme0n1=("nvme0", {"hidden": "0"}), nvme0c0n1=("nvme1", {"hidden": "1"}),
                     vda=("virtio0", {}), xvda=("vbd-51712", {}), fd0=("floppy.0", {}),
                     mmcblk0=("mmc0:0001", {"device/type": "MMC"}), loop0=("", {"hidden": "0"}),
                     **{"cciss!c0d0": ("c0d0", {}), "dm-0": ("", {"hidden": "0"})})
        every = self.complete("hddtest", "run", "")
        self.assertEqual(every, self.listed_drives())
        self.assertLessEqual({"/dev/sda", "/dev/nvme0n1", "/dev/vda", "/dev/cciss/c0d0"}, every)
        self.assertEqual(self.complete("hddtest", "run", "--jobs", "2", "/dev/sda", "/dev/s"),
                         {"/dev/sda", "/dev/sdab", "/dev/sdb"})
        self.assertEqual(self.complete("hddtest", "run", "--", ""), every)
        self.assertEqual(self.complete("hddtest", "run", "--jobs", ""), set())
        self.assertEqual(self.complete("hddtest", "drives", ""), set())

    def test_arguments_by_their_place(self):
        self.assertEqual(self.complete("hddtest", "passwd", "u"), {"users"})
        self.assertEqual(self.complete("hddtest", "passwd", "users", "u"), set())

    def test_nothing_for_what_is_no_command(self):
        self.assertEqual(self.complete("hddtest", "eat", "-"), set())


unittest.main(argv=sys.argv[:1] + sys.argv[2:])

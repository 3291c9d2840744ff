"""What the unit takes away from root keeps neither the command nor smartctl and hwinfo from work:
capabilities, new privileges, and the file system but for /tmp. Needs root; exit status 77: not
possible here. What systemd alone can take away (devices, system calls) lab/with-systemd looks at.

    hardening_test.py UNIT PROGRAM
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

UNIT = pathlib.Path(sys.argv[1]).read_text()
PROGRAM = pathlib.Path(sys.argv[2]).resolve()
ENVIRONMENT = {**os.environ, "HVX_LOG_FILE": "-",
               "PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"}
BUILD = PROGRAM.parent.parent
# What ProtectSystem=strict and PrivateTmp=yes do; a build tree below /tmp stays where it is.
FILE_SYSTEM = (f"exec 9< '{BUILD}' && mount --make-rprivate / && mount -t tmpfs tmpfs /tmp && "
               f"mkdir -p '{BUILD}' && mount -c --bind /proc/self/fd/9 '{BUILD}' && exec 9<&- && "
               f"mount -o remount,bind,ro '{BUILD}' && mount -o remount,bind,ro / && exec \"$@\"")


def setting(name):
    return re.search(rf"^{name}=(.*)$", UNIT, re.MULTILINE).group(1)


def capabilities(names=None):
    kept = [name.removeprefix("CAP_").lower()
            for name in (names or setting("CapabilityBoundingSet")).split()]
    return ",".join(["-all", *(f"+{name}" for name in kept)])


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=300, env=ENVIRONMENT)


def restricted(*command, bounds=None):
    return run("unshare", "--mount", "sh", "-c", FILE_SYSTEM, "sh", "setpriv", "--no-new-privs",
               f"--bounding-set={bounds or capabilities()}", *command)


class Hardening(unittest.TestCase):
    def answer(self, done):
        try:
            return json.loads(done.stdout)
        except json.JSONDecodeError:
            self.fail(done.stdout + done.stderr)

    def findings(self, **options):
        found = self.answer(restricted(PROGRAM, "check", "--json", **options))
        return {finding["name"]: finding for finding in found}

    def test_the_unit_is_as_restrictive_as_this_test(self):
        self.assertEqual([setting(name) for name in ("NoNewPrivileges", "ProtectSystem",
                                                     "PrivateTmp")], ["yes", "strict", "yes"])
        # It would hide /lib/modules, where hwinfo reads which driver a device wants.
        self.assertNotIn("ProtectKernelModules=yes", UNIT)
        self.assertNotEqual(restricted("touch", PROGRAM.parent / "hardening").returncode, 0)

    def test_nothing_that_a_test_needs_is_missing(self):
        findings = self.findings()
        for name in ("privileges", "smartctl", "hwinfo"):
            self.assertTrue(findings[name]["ok"], findings[name])
        self.assertFalse(self.findings(bounds=capabilities("CAP_SYS_ADMIN"))["privileges"]["ok"])

    def test_hwinfo_sees_the_same_disks(self):
        def disks(done):
            self.assertEqual(done.returncode, 0, done.stderr)
            return re.findall(r"^  (?:Device File|Model|Driver): .*$", done.stdout, re.MULTILINE)
        self.assertEqual(disks(restricted("hwinfo", "--disk")), disks(run("hwinfo", "--disk")))

    def test_the_same_drives_are_listed(self):
        self.assertEqual(self.answer(restricted(PROGRAM, "drives", "--offered", "--json")),
                         self.answer(run(PROGRAM, "drives", "--offered", "--json")))


if __name__ == "__main__":
    missing = [tool for tool in ("unshare", "setpriv", "smartctl", "hwinfo")
               if not shutil.which(tool, path=ENVIRONMENT["PATH"])]
    if missing:
        print(f"skipped: not installed: {', '.join(missing)}")
        sys.exit(77)
    if restricted("true").returncode != 0:
        print("skipped: this machine does not let us take away capabilities and mounts")
        sys.exit(77)
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])

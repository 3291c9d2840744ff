"""What lab/image, the first argument, leaves when it is interrupted. Packages are stand-ins; the
program fails at the kernel, since theirs is not a real one."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

IMAGE = pathlib.Path(sys.argv[1]).resolve()
# Each package holds what is taken from it, busybox first. With STOP in the folder the lab is killed
# while the package of that name is being unpacked.
STAND_INS = {
    "smartctl": "", "hwinfo": "",
    "apt-cache": "echo '  Depends: linux-image-9'",
    "apt-get": 'for name; do :; done; echo "$name" >"${name}_1.deb"',
    "dpkg": """name=$(cat "$2")
mkdir -p "$TREES/$name/usr/bin" "$TREES/$name/boot" "$TREES/$name/lib/modules/9/kernel" && cd "$TREES/$name"
echo "of $name" | tee usr/bin/busybox usr/bin/udevadm lib/modules/9/modules.builtin >usr/last
yes | head -c 4096 >boot/vmlinuz-9
mkdir -p usr/lib/udev/rules.d lib/modules/9/kernel/block
touch usr/lib/udev/ata_id usr/lib/udev/scsi_id usr/lib/udev/rules.d/1-default.rules lib/modules/9/kernel/block/x
[ "$STOP" != "$name" ] || kill -KILL "$LAB"
tar -c ./usr ./boot ./lib
""",
    # Of the real kernel there are more folders than of this one.
    "tar": """case "$*" in *" -x "* | -x*) /usr/bin/tar "$@" 2>/dev/null || :;; *) /usr/bin/tar "$@" ;; esac""",
}


class Image(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="hddtest_lab.")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        binaries = self.folder / "bin"
        binaries.mkdir()
        for name, text in STAND_INS.items():
            (binaries / name).write_text(f"#!/bin/sh\n{text}\n")
            (binaries / name).chmod(0o755)
        self.lab = self.folder / "lab"

    def make(self, stop=""):
        return subprocess.run(
            ["bash", "-c", 'export LAB=$$; exec "$0" "$1"', IMAGE, self.lab], capture_output=True,
            text=True, timeout=60, env={"PATH": f"{self.folder}/bin:{os.environ['PATH']}",
                                        "TREES": f"{self.folder}/trees", "STOP": stop})

    def unpacked(self, package):
        return self.lab / "unpacked" / package

    def test_a_package_whose_unpacking_was_interrupted_is_unpacked_again(self):
        self.assertEqual(self.make(stop="busybox-static").returncode, -9)
        self.assertFalse(self.unpacked("busybox-static").exists())
        self.assertIn("no kernel found", self.make().stderr)
        self.assertEqual((self.unpacked("busybox-static") / "bin/busybox").read_text(),
                         "of busybox-static\n")

    def test_a_package_stays_until_its_successor_is_whole(self):
        self.make()
        complete = self.unpacked("udev") / "complete"
        complete.write_text("of an older list of files\n")
        self.assertEqual(self.make(stop="udev").returncode, -9)
        self.assertEqual(complete.read_text(), "of an older list of files\n")
        self.assertIn("no kernel found", self.make().stderr)
        self.assertIn("udevadm", complete.read_text())

    def test_what_was_begun_anew_is_not_taken_for_up_to_date(self):
        self.make()
        for name in ("base.cpio", "vmlinux", "inputs"):
            (self.lab / name).write_text("of an older lab\n")
        self.assertEqual(self.make().returncode, 1)
        self.assertFalse((self.lab / "inputs").exists())


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])

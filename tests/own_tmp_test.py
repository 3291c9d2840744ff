"""Tests have a /tmp of their own, also when the project lies below /tmp. Exit status 77: the machine
does not let us mount.

    own_tmp_test.py
"""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

OWN_TMP = pathlib.Path(__file__).resolve().parent / "own_tmp.sh"


class OwnTmp(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory(prefix="hddtest_own_tmp.", dir="/tmp")
        self.addCleanup(place.cleanup)
        self.folder = pathlib.Path(place.name)

    def call(self, sources, *command):
        return subprocess.run([OWN_TMP, sources, *command], capture_output=True, text=True,
                              cwd=sources, timeout=60, check=False)

    def test_is_empty_and_is_gone_with_the_test(self):
        name = f"{self.folder}.made"
        done = self.call("/usr", "sh", "-c", f"ls -A /tmp; pwd; : >{name} && ls /tmp; exit 3")
        self.assertEqual((done.stdout, done.stderr, done.returncode),
                         (f"/usr\n{pathlib.Path(name).name}\n", "", 3))
        self.assertFalse(pathlib.Path(name).exists())

    def test_keeps_a_project_below_tmp(self):
        sources = self.folder / "a project"
        (sources / "build").mkdir(parents=True)
        program = sources / "build/program"
        program.write_text('#!/bin/sh\necho "$1"; pwd; ls -A /tmp; : >build/left\n')
        program.chmod(0o755)
        done = self.call(sources, program, "two  words")
        self.assertEqual((done.stdout, done.stderr, done.returncode),
                         (f"two  words\n{sources}\n{self.folder.name}\n", "", 0))
        self.assertTrue((sources / "build/left").exists())

    def test_leaves_a_build_tree_alone_that_lies_below_tmp_by_itself(self):
        program = self.folder / "program"
        shutil.copy("/bin/ls", program)
        done = self.call("/usr", program, self.folder)
        self.assertEqual((done.stdout, done.stderr, done.returncode), ("program\n", "", 0))


if __name__ == "__main__":
    if subprocess.run(["unshare", "--mount", "true"], stderr=subprocess.DEVNULL).returncode:
        print("this machine does not let us have mounts of our own")
        sys.exit(77)
    unittest.main()

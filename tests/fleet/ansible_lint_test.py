"""The collection of fleet/ansible, as ansible-lint and ansible-galaxy find it.

    ansible_lint_test.py
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

COLLECTION = pathlib.Path(__file__).resolve().parent.parent.parent / "fleet/ansible"
PROGRAMS = ("ansible-lint", "ansible-galaxy")


class Collection(unittest.TestCase):
    def setUp(self):
        # Both write beside what they read.
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="hddtest_fleet."))
        self.addCleanup(shutil.rmtree, self.folder)
        self.copy = self.folder / "ansible_collections/hddtest/fleet"
        shutil.copytree(COLLECTION, self.copy)

    def call(self, *words):
        done = subprocess.run(words, cwd=self.copy, capture_output=True, text=True, check=False,
                              env={"PATH": os.environ["PATH"], "HOME": str(self.folder), "LC_ALL": "C.UTF-8",
                                   "ANSIBLE_COLLECTIONS_PATH": str(self.folder)})
        return done.returncode, done.stdout + done.stderr

    def lint(self):
        return self.call("ansible-lint", "--offline", "--nocolor", "--profile", "production")

    def test_lint_finds_no_fault_at_its_strictest(self):
        status, output = self.lint()
        self.assertEqual(status, 0, output)
        self.assertIn("Passed with production profile: 0 failure(s), 0 warning(s)", output)

    def test_lint_looks_at_the_role_and_the_playbooks(self):
        names = ("roles/hddtest/tasks/server.yml", "playbooks/gather.yml")
        for name in names:
            path = self.copy / name
            path.write_text(re.sub(r'mode: "?0\d00"?', "mode: 0700", path.read_text(), count=1))
        _, output = self.lint()
        for name in names:
            self.assertIn(name, output)

    def test_collection_can_be_built(self):
        status, output = self.call("ansible-galaxy", "collection", "build", "--output-path", "..")
        self.assertEqual(status, 0, output)


if __name__ == "__main__":
    missing = [name for name in PROGRAMS if not shutil.which(name)]
    if missing:
        print(f"skipped: not installed: {', '.join(missing)}")
        sys.exit(77)
    unittest.main()

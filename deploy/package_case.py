"""What the tests of installed packages share: a clean root, into which each test installs them and
from which it purges them. The build tree, whose packages are made already, is the first argument of
the program. Exit status 77: not possible here.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import unittest

import clean_root

BUILD = pathlib.Path(sys.argv[1]).resolve()
TOOLS = "dpkg dpkg-deb apt-get apt-cache chroot tar xz".split()
ENVIRONMENT = {"PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
               "LC_ALL": "C.UTF-8"}


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(77)


class PackageCase(unittest.TestCase):
    # Set by main.
    packages = ()
    root = None
    pristine = frozenset()  # the paths without the packages

    def setUp(self):
        # The root after a purge is compared when the test's own files have gone.
        self.addCleanup(self.expect_no_trace, clean_root.contents(self.root))
        self.addCleanup(self.tidy)
        self.addCleanup(self.purge)

    def tidy(self):
        """Removes what the test has put there and a purge must leave alone."""

    def dpkg(self, *arguments):
        """Options that undo what this machine's dpkg is set to log and to leave out."""
        return clean_root.run("dpkg", f"--root={self.root}", "--log=/dev/null", "--path-include=*",
                              *arguments, env=ENVIRONMENT)

    def install(self):
        return self.dpkg("--install", *self.packages)

    def remove(self):
        return self.dpkg("--remove", "hddtest", "hddtest-module")

    def purge(self):
        return self.dpkg("--purge", "hddtest", "hddtest-module")

    def expect_no_trace(self, before):
        after = clean_root.contents(self.root)
        self.assertEqual({path: what for path, what in after.items() if before.get(path) != what},
                         {})
        self.assertEqual(set(before) - set(after), set())

    def place(self, name, text):
        """A program in the root, until the end of the test."""
        program = self.root / name
        # From here, an absolute link of the root would lead out of it.
        self.assertFalse(program.is_symlink(), program)
        program.write_text(text)
        program.chmod(0o755)
        self.addCleanup(program.unlink, missing_ok=True)


def main():
    if os.geteuid() != 0:
        skip("only root can install packages")
    missing = [tool for tool in TOOLS if not shutil.which(tool)]
    if missing:
        skip(f"not installed: {', '.join(missing)}")
    if subprocess.run(["chroot", "/", "true"], capture_output=True).returncode != 0:
        skip("changing the root is not permitted")
    PackageCase.packages = sorted((BUILD / "packages").glob("*.deb"))
    if not PackageCase.packages:
        skip("there are no packages")
    try:
        PackageCase.root = clean_root.make(BUILD / "package-root", PackageCase.packages)
    except clean_root.Unavailable as reason:
        skip(reason)
    clean_root.present_as(PackageCase.root, "/usr/bin/hddtest")
    PackageCase.pristine = frozenset(clean_root.contents(PackageCase.root))
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)

"""Where the folder of the history cannot be used, drives are tested all the same, and no other place is
chosen for it. The tools are real and the drives the stand-in's.

    unusable_history_test.py PROGRAMS STANDIN
"""

import os
import pathlib
import stat
import sys
import unittest

from life import Life
from stage import Stage, skip_without_tools

PROGRAMS, STANDIN = sys.argv[1:3]

DISK = ["protocol ata", "nodes /dev/sda", "vendor EXAMPLE", "model Example Disk 500", "serial EX0001",
        "firmware 1.0", "wwn 5000c500a1b2c3d1"]
WRITTEN = {"drives", "clock", "waited", "log"}  # by the stand-in itself, and the log
USUAL = pathlib.Path("/var/lib/hvx")  # where the history is without HVX_STATE_DIR
COMMANDS = [["start", "/dev/sda"], ["status"], ["stop", "/dev/sda"],
            ["run", "--test", "short", "/dev/sda"], ["drives"], ["patrol"]]


def tree_of(folder):
    """All that is below a folder, with modes, owners and contents."""
    tree = {}
    for place, _, names in os.walk(folder):
        for path in [pathlib.Path(place), *(pathlib.Path(place, name) for name in names)]:
            facts = path.lstat()
            content = path.read_bytes() if stat.S_ISREG(facts.st_mode) else b""
            tree[str(path.relative_to(folder))] = (facts.st_mode, facts.st_uid, content)
    return tree


class Unusable(unittest.TestCase):
    def setUp(self):
        self.stage = Stage(Life(None, {"disk": DISK}, {}, pace=10), PROGRAMS, STANDIN)
        self.addCleanup(self.stage.close)
        self.history = self.stage.folder / "history"
        # Where a program could think of keeping it instead.
        for name, variable in (("home", "HOME"), ("tmp", "TMPDIR")):
            (self.stage.folder / name).mkdir()
            self.stage.environment[variable] = str(self.stage.folder / name)

    def trees(self):
        here = tree_of(self.stage.folder)
        own = {name: facts for name, facts in here.items() if name.split("/")[0] not in WRITTEN}
        return own, tree_of(USUAL)

    def expect_no_other_place(self, why):
        before = self.trees()
        for words in COMMANDS:
            with self.subTest(command=words[0]):
                status, output, errors = self.stage.run(["hddtest", *words])
                self.assertIn(why, errors, output)
                self.assertEqual(self.trees(), before, status)
        self.assertEqual(self.stage.field("disk", "tests_begun"), "3", "by start, run and patrol")

    def test_folder_that_is_a_link(self):
        (self.stage.folder / "elsewhere").mkdir(mode=0o700)
        self.history.symlink_to("elsewhere")
        self.expect_no_other_place("history is a link")

    @unittest.skipUnless(os.geteuid() == 0, "only root gives files away")
    def test_folder_of_somebody_else(self):
        self.history.mkdir(mode=0o700)
        os.chown(self.history, 65534, -1)
        self.expect_no_other_place("belongs to the user with the number 65534")

    def test_folder_that_others_may_enter(self):
        self.history.mkdir()
        self.history.chmod(0o755)
        self.expect_no_other_place("is open to other users")


if __name__ == "__main__":
    skip_without_tools()
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])

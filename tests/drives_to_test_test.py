"""What ./run says of the drives that it is about to test. The program is the first argument."""

import json
import subprocess
import sys
import unittest

DRIVES = [
    {"device": "/dev/sda", "testable": True, "smart": True, "model": "DISK\x1b[2J 1", "serial": "S1",
     "size": 1000204886016, "connection": "SATA"},
    {"device": "/dev/sdb", "testable": False, "smart": True, "model": "STICK", "serial": None,
     "size": None, "connection": "USB"},
    {"device": "/dev/sdc", "testable": True, "smart": None, "model": None, "serial": None,
     "size": None, "connection": None}]


def told(drives, *names):
    done = subprocess.run([sys.argv[1], *names], input=drives and json.dumps(drives), text=True,
                          capture_output=True, check=False)
    assert done.stderr == "", done.stderr
    return done.returncode, done.stdout


class DrivesToTest(unittest.TestCase):
    FIRST = "  /dev/sda  DISK?[2J 1, serial number S1, 1000 GB, SATA\n"

    def test_without_names_those_that_can_be_tested(self):
        self.assertEqual(told(DRIVES), (0, self.FIRST))
        self.assertEqual(told(DRIVES[1:])[0], 1)
        self.assertEqual(told("")[0], 1)
        why_not = [{"device": None, "reason": "why they cannot be listed", "status": 3}]
        self.assertEqual(told(why_not), (1, "\n"))

    def test_named_ones_whatever_is_known_of_them(self):
        self.assertEqual(told(DRIVES, "/dev/../dev/sda", "/dev/sdc", "/dev/none"),
                         (0, self.FIRST.replace("/dev/sda", "/dev/../dev/sda") +
                          "  /dev/sdc\n  /dev/none\n"))

    def test_options_and_their_values_are_no_drives(self):
        self.assertEqual(told(DRIVES, "--jobs", "2"), (0, self.FIRST))
        self.assertEqual(told(DRIVES, "--jobs=2", "--force", "--", "/dev/sda"), (0, self.FIRST))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])

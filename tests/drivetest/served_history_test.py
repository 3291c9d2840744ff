"""What the history keeps of a test that a client of the server asks for. The tools are real and the
drives the stand-in's.

    served_history_test.py PROGRAM STANDIN
"""

import pathlib
import shutil
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).parent.parent.parent / "cli"))
# pylint: disable=wrong-import-position
from command_case import PROGRAM
from server_case import RECORD, ServerTest, run_of

from life import Life
from stage import Stage

DISK = ["protocol ata", "nodes /dev/sda", "vendor EXAMPLE", "model Example Disk 500", "serial EX0001",
        "firmware 1.0", "wwn 5000c500a1b2c3d1", "haste 40"]
HWINFO = r"""case $1 in
--version) echo 21.82 ;;
--disk) printf '  Unique ID: x\n  Driver: "ahci"\n  Device File: /dev/sda\n' ;;
esac
"""


class Served(ServerTest):
    def play(self, *fields):
        """The rows of the history when a client has had the disk tested."""
        stage = Stage(Life(None, {"disk": DISK + list(fields)}, {"hwinfo": HWINFO}), PROGRAM.parent,
                      sys.argv[2])
        self.addCleanup(stage.close)
        self.environment = stage.environment
        self.serve("--no-auth", "--listen", "127.0.0.1")
        status, text = self.ask(run_of("/dev/sda"))
        self.assertEqual(status, 200, text)
        self.assertIn("HDDTest_ConcreteJob", text)
        self.assertEqual(self.count(RECORD), 1)
        self.assertEqual(stage.field("disk", "starts"), "1")
        self.assertEqual(self.end(), 0)
        return [{name: row[name] for name in ("source", "kind", "outcome", "cause", "first_bad_block")}
                for row in stage.rows()]

    def test_that_passed(self):
        self.assertEqual(self.play(), [
            {"source": "module", "kind": "short", "outcome": "passed",
             "cause": "completed without error", "first_bad_block": None}])

    def test_that_failed(self):
        self.assertEqual(self.play("result 7", "result_lba 4711"), [
            {"source": "module", "kind": "short", "outcome": "failed", "cause": "read failure",
             "first_bad_block": 4711}])


if __name__ == "__main__":
    if not shutil.which("smartctl", path="/usr/sbin"):
        print("smartctl is not installed")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])

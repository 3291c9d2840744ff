"""Machines of a fleet for Ansible: played ones on this computer, each with a drive of the stand-in and the
real hddtest."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

TREE = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.append(str(TREE / "tests/drivetest"))
# pylint: disable=wrong-import-position
from life import Life
from stage import Stage

COLLECTION = TREE / "fleet/ansible"
WRAPPER = """#!/bin/sh
{settings}
echo "begin {name} $1" >>{log}
{program} "$@"
status=$?
echo "end {name} $1" >>{log}
exit $status
"""


def disk(number, *more):
    """The lines of a drive of the stand-in that differs from those of other numbers."""
    return ["protocol ata", "nodes /dev/sda", "model Example Disk 500", f"serial EX{number:04}",
            "firmware 1.0", f"wwn 5000c500a1b2{number:04}", *more]


class AnsibleCase(unittest.TestCase):
    patience = 500  # seconds for a playbook
    programs = "/nonexistent"  # with the hddtest of the computer that Ansible is called on

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="hddtest_fleet."))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)  # ssh removes its sockets meanwhile
        self.log = self.folder / "calls"
        self.inventory = self.folder / "inventory"
        (self.folder / "ansible.cfg").write_text("")
        self.place_of_collection("collections").symlink_to(COLLECTION)

    def place_of_collection(self, collections):
        """Where Ansible looks for ours, in a folder of collections."""
        place = self.folder / collections / "ansible_collections/hddtest/fleet"
        place.parent.mkdir(parents=True)
        return place

    def play_machine(self, name, drives, programs, standin, tools=None, events=()):
        """Its folder of programs; the clock goes on while they wait. `tools` are the texts of programs that take
        the place of real ones; `events` are what has happened to the drives."""
        stage = Stage(Life(None, drives, tools or {}, pace=60), programs, standin)
        self.addCleanup(stage.close)
        for words in events:
            stage.event(*words)
        settings = [f"export {key}='{value}'" for key, value in stage.environment.items()
                    if os.environ.get(key) != value]
        (stage.folder / "fleet").mkdir()
        program = stage.folder / "fleet/hddtest"
        program.write_text(WRAPPER.format(settings="\n".join(settings), name=name, log=self.log,
                                          program=pathlib.Path(programs) / "hddtest"))
        program.chmod(0o755)
        return program.parent

    def ansible(self, *words, collections="collections"):
        """Exit status and what was printed. Nothing of this computer's own settings counts."""
        environment = {"PATH": f"{self.programs}:{os.environ['PATH']}", "LC_ALL": "C.UTF-8", "HOME": str(self.folder),
                       "ANSIBLE_CONFIG": str(self.folder / "ansible.cfg"), "ANSIBLE_NOCOLOR": "1", "ANSIBLE_PIPELINING": "1",
                       "ANSIBLE_COLLECTIONS_PATH": str(self.folder / collections),
                       "ANSIBLE_INVENTORY": str(self.inventory), "ANSIBLE_TIMEOUT": "20",
                       "ANSIBLE_LOCALHOST_WARNING": "0", "PYTHONDONTWRITEBYTECODE": "1"}
        done = subprocess.run(["ansible-playbook", *words], cwd=self.folder, env=environment, text=True,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=self.patience, check=False)
        return done.returncode, done.stdout + done.stderr

    def told(self, output):
        """What the last play says of each machine, and whether it calls that good."""
        said = output.rpartition("TASK [Tell]")[2].partition("PLAY ")[0]
        found = re.findall(r'^(ok|fatal): \[([^]]+)\](?:: FAILED!)? => \{.*?"msg": "(.*?)"\n?\}', said,
                           re.MULTILINE | re.DOTALL)
        return {name: (word == "ok", text) for word, name, text in found}

    def recap(self, output):
        """By machine, the counts of the end: ok, changed, ..."""
        return {name: {word: int(count) for word, count in re.findall(r"(\w+)=(\d+)", counts)}
                for name, counts in re.findall(r"^(\S+) +: (ok=.*)$", output.partition("PLAY RECAP")[2],
                                               re.MULTILINE)}

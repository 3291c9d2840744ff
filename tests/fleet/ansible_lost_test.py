"""Playbooks over machines whose connections are lost while they work. All are this computer, behind an ssh of the
test and with a hddtest of the test.

    ansible_lost_test.py
"""

import re
import shutil
import sys
import unittest

from ansible_case import COLLECTION, AnsibleCase

NEEDED = ("ansible-playbook",)
# The last word is what the machine is to do. What Ansible sends is read also where nobody is there, so that it tells
# of the machine and not of a broken pipe.
SSH = """#!/bin/sh
for command; do :; done
if [ -e {folder}/dead ] || rm {folder}/lose 2>/dev/null; then
  timeout 0.2 cat >/dev/null
  echo "ssh: connect to host {name} port 22: No route to host" >&2
  exit 255
fi
exec sh -c "$command"
"""
PASSED = """echo '[{"name": "/dev/sda", "result": "passed", "reason": null}]'"""
FAILED = """echo '[{"name": "/dev/sda", "result": "failed", "reason": "nobody else came"}]'"""
NO_ROUTE = "ssh: connect to host {} port 22: No route to host"

# Tasks of a role: after the first one machine cannot be reached once.
LOSE = """
- ansible.builtin.file: {{path: "{folder}/one/lose", state: touch}}
  when: inventory_hostname == "one"
"""
DO = """
- ansible.builtin.command: "true"
  register: hddtest_done_it
"""
REPEAT = DO + "  loop: [1, 2]\n"
FAIL = """
- ansible.builtin.command: "false"
"""


class Lost(AnsibleCase):
    patience = 280

    def play(self, patrols):
        """Machines by name, each with what its patrol does in a shell, in a folder of its own."""
        lines = ["[all:vars]", "ansible_connection=ssh", "ansible_user=root", "hddtest_poll=1",
                 "hddtest_reconnections=1", "ansible_ssh_transfer_method=piped",
                 f"ansible_python_interpreter={sys.executable}", "[all]"]
        for name, patrol in patrols.items():
            folder = self.folder / name
            (folder / "async").mkdir(parents=True)
            for program, text in (("ssh", SSH.format(folder=folder, name=name)),
                                  ("hddtest", f"#!/bin/sh\ncd {folder}\n{patrol}\n")):
                (folder / program).write_text(text)
                (folder / program).chmod(0o755)
            lines.append(f"{name} ansible_ssh_executable={folder}/ssh hddtest_async_dir={folder}/async "
                         f"hddtest_environment=\"{{'PATH': '{folder}:/usr/bin:/bin'}}\"")
        self.inventory.write_text("\n".join(lines) + "\n")

    def left(self, name):
        """What Ansible left of a patrol."""
        return [path.name for path in (self.folder / name / "async").glob("*")]

    def test_machine_that_dies_during_its_test_stops_no_later_wave(self):
        self.play({"dies": f"touch dead; sleep 3; {PASSED}", "anew": f"rm -r async; sleep 5; {PASSED}",
                   "blinks": f"touch lose; sleep 3; {PASSED}", "lives": PASSED})
        status, output = self.ansible("-e", "hddtest_cap=1", "hddtest.fleet.test")
        told = self.told(output)
        is_good, text = told.pop("dies")
        self.assertFalse(is_good)
        self.assertRegex(text, "^became unreachable while its drives tested: .*" + NO_ROUTE.format("dies") +
                         "; they go on, and 'hddtest status' there tells of them$")
        self.assertEqual(told, {
            "anew": (False, "nobody knows how its patrol ended, as when a machine starts anew; 'hddtest status' "
                            "there tells of its drives"),
            "blinks": (True, "1 passed"), "lives": (True, "1 passed")}, output)
        self.assertEqual(status, 2, output)
        self.assertFalse((self.folder / "blinks/lose").exists(), output)
        self.assertEqual((self.left("blinks"), self.left("lives")), ([], []))
        self.assertEqual({name: counts["changed"] for name, counts in self.recap(output).items()},
                         {"dies": 0, "anew": 0, "blinks": 1, "lives": 1}, output)

    def test_all_machines_of_a_wave_test_at_once(self):
        names = [f"m{number}" for number in range(12)]
        here = self.folder / "here"
        here.mkdir()
        self.play({name: f"touch {here}/{name}\nfor second in $(seq 60); do\n"
                         f"  [ $(ls {here} | wc -l) != {len(names)} ] || {{ {PASSED}; exit; }}\n  sleep 1\n"
                         f"done\n{FAILED}; exit 1" for name in names})
        status, output = self.ansible("hddtest.fleet.test")
        self.assertEqual((status, self.told(output)), (0, {name: (True, "1 passed") for name in names}), output)


    def set_up(self, playbook, tasks):
        """What is told, with a role of these tasks: the real one would change this computer."""
        place = self.folder / "other/ansible_collections/hddtest/fleet"
        shutil.copytree(COLLECTION, place, dirs_exist_ok=True)
        for name in ("main", "packages"):
            (place / f"roles/hddtest/tasks/{name}.yml").write_text(tasks.format(folder=self.folder))
        return self.told(self.ansible("-e", "hddtest_cap=1", f"hddtest.fleet.{playbook}", collections="other")[1])

    def test_machine_that_is_lost_while_it_is_set_up_is_not_told_as_set_up(self):
        self.play({"one": "echo hddtest 0.1.0", "two": "echo hddtest 0.1.0"})
        self.programs = self.folder / "one"
        for playbook, tasks in (("setup", LOSE + DO), ("setup", LOSE + REPEAT), ("setup", LOSE + DO + FAIL),
                                ("upgrade", LOSE + DO)):
            with self.subTest(playbook, tasks=tasks):
                told = self.set_up(playbook, tasks)
                self.assertEqual(told["two"], told["two"] if FAIL in tasks else (True, "hddtest 0.1.0"))
                self.assertEqual((told["one"][0], told["one"][1].split()[0]), (False, "unreachable:"), told)
                self.assertIn(NO_ROUTE.format("one"), told["one"][1])

    def test_role_keeps_the_result_of_each_task(self):
        tasks = [task for file in sorted((COLLECTION / "roles/hddtest/tasks").glob("*.yml"))
                 for task in re.split(r"^ *- name: ", file.read_text(), flags=re.MULTILINE)[1:]]
        there = [task for task in tasks if not re.search(r"^ *(ansible\.builtin\.(assert|import_tasks)|block):", task,
                                                         re.MULTILINE)]
        self.assertGreater(len(there), 10)
        kept = [re.search(r"^ *register: (hddtest_done_\w+)$", task, re.MULTILINE) for task in there]
        self.assertEqual([task.partition("\n")[0] for task, name in zip(there, kept) if not name], [])
        self.assertEqual(len({name[1] for name in kept}), len(there))


if __name__ == "__main__":
    missing = [name for name in NEEDED if not shutil.which(name)]
    if missing:
        print(f"skipped: not installed: {', '.join(missing)}")
        sys.exit(77)
    unittest.main()

#!/usr/bin/env python3
"""What the playbooks cost by the number of machines, by hand: prints how long each took, and the processor
time that it had. The machines are played on this computer, over local connections, each with a drive of the
stand-in and the real hddtest; so the processor time holds what real machines would have spent themselves.

    bench/fleet_playbooks.py PROGRAMS STANDIN [MACHINES...]    10, 50 and 200 machines
"""

import pathlib
import resource
import sys
import time

TREE = pathlib.Path(__file__).resolve().parent.parent
sys.path.append(str(TREE / "tests/fleet"))
# pylint: disable=wrong-import-position
from ansible_case import AnsibleCase, disk

FORKS = 20
PLAYBOOKS = {"test": ["hddtest.fleet.test"], "test, 20 at once": ["-e", "hddtest_cap=20", "hddtest.fleet.test"],
             "gather": ["hddtest.fleet.gather"], "gather again": ["hddtest.fleet.gather"]}


class Fleet(AnsibleCase):
    patience = 3600

    def play(self, count, programs, standin):
        self.programs = programs
        lines = ["[all:vars]", "ansible_connection=local", f"ansible_python_interpreter={sys.executable}",
                 "hddtest_poll=1", "", "[all]"]
        for number in range(count):
            place = self.play_machine(f"m{number}", {"disk": disk(number)}, programs, standin)
            lines.append(f"m{number} hddtest_async_dir={self.folder}/async-{number} "
                         f"hddtest_environment=\"{{'PATH': '{place}:/usr/bin:/bin'}}\"")
        self.inventory.write_text("\n".join(lines) + "\n")

    def cost(self, words):
        """Seconds, and seconds of processor time."""
        def used():
            spent = resource.getrusage(resource.RUSAGE_CHILDREN)
            return spent.ru_utime + spent.ru_stime
        began, before = time.monotonic(), used()
        status, output = self.ansible("-f", str(FORKS), *words)
        told = {text for _, text in self.told(output).values()}
        if status != 0 or not all(text.startswith(("1 passed", "tests: ")) for text in told):
            sys.exit(output)
        return time.monotonic() - began, used() - before


def main():
    programs, standin, *counts = sys.argv[1:]
    for count in map(int, counts or (10, 50, 200)):
        fleet = Fleet()
        fleet.setUp()
        try:
            fleet.play(count, programs, standin)
            for name, words in PLAYBOOKS.items():
                took, spent = fleet.cost(words)
                print(f"{count} machines, {name}: {took:.0f} s, processor {spent:.0f} s", flush=True)
        finally:
            fleet.doCleanups()


if __name__ == "__main__":
    main()

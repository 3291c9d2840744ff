"""Crowds that ask for tests of drives and do not wait for them.

    runs_test.py PROGRAM
"""

import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "cli"))
from attack_case import AttackTest
from command_case import STAND_IN, main
from server_case import RECORD, SERVICE, enumeration, run_of

CROWD = 130


class Runs(AttackTest):
    def begin_run(self):
        """A connection whose run is in progress until end_runs."""
        self.polls = self.smartctl.with_name("polls")
        self.polls.write_text("1000000")
        self.smartctl.write_text(STAND_IN.replace("${POLLS:-0}", "$(cat ${0%/*}/polls)"))
        self.serve("--no-auth")
        running = self.connect()
        self.send(running, run_of("/dev/first"))
        self.wait_for_log("Test is in progress")
        return running

    def end_runs(self):
        self.polls.write_text("0")

    def test_runs_whose_clients_have_gone_never_begin(self):
        running = self.begin_run()
        asking = self.connect()
        self.assertEqual(self.count(SERVICE, connection=asking), 1)
        descriptors, _, _ = self.resources()
        for number in range(CROWD):
            client = self.connect()
            self.send(client, run_of(f"/dev/left{number}"))
            client.close()
        self.assertEqual(self.count(SERVICE, connection=asking), 1)
        self.wait_for(lambda: self.resources()[0] <= descriptors, "they keep descriptors")
        self.end_runs()
        self.assertIn("HDDTest_ConcreteJob001", running.getresponse().read().decode())
        self.assertIn("HDDTest_ConcreteJob002", self.ask(run_of("/dev/last"), connection=asking)[1])
        records = self.ask(enumeration(RECORD), connection=asking)[1]
        self.assertEqual(re.findall('NAME="ManagedElementName".*?<VALUE>(.*?)</VALUE>', records),
                         ["/dev/first", "/dev/last"])
        self.assertEqual(self.end(), 0)
        self.assertEqual(self.errors, "")


if __name__ == "__main__":
    main()

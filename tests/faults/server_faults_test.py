"""What becomes of tests when their client or the server goes away in the middle of them.

    server_faults_test.py PROGRAM
"""

import http.client
import os
import pathlib
import re
import signal
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "cli"))
from command_case import STAND_IN, main
from server_case import RECORD, ServerTest, enumeration, run_of

PAGE = pathlib.Path(__file__).parents[2] / "docs/faults.md"


def row_of_page(what):
    """What the client sees and what the log says, by docs/faults.md."""
    row = re.search(rf"^\| {what} \| (.*?) \| (.*?) \|", PAGE.read_text(), re.MULTILINE)
    return row.groups()


class ServerFaults(ServerTest):
    def test_client_goes_away_in_mid_run(self):
        sees, log = row_of_page("the client goes away during its test")
        self.serve("--no-auth", POLLS="1")
        self.assertEqual(self.count(RECORD, connection=self.connect()), 0)
        before = self.traces()  # with that one connection
        running = self.connect()
        self.send(running, run_of("/dev/fake"))
        self.wait_for_log("Test is in progress")
        running.close()
        asking = self.connect()
        self.wait_for(lambda: self.count(RECORD, connection=asking) == 1, "there is no record")
        self.assertEqual(sees, "the record is there when it asks again")
        self.assertIn(log.strip('"'), self.log.read_text())
        self.assertIn("<VALUE>2</VALUE>", self.property_of_record("CompletionState", asking))
        asking.close()
        self.wait_for(lambda: self.traces() == before, "something is left behind")
        self.assertEqual(self.end(), 0)

    def test_client_goes_away_while_its_test_waits(self):
        sees, log = row_of_page("the client goes away while its test waits for the end of another")
        self.serve("--no-auth", POLLS="1000000")
        running, asking, waiting = self.connect(), self.connect(), self.connect()
        self.send(running, run_of("/dev/fake"))
        self.wait_for_log("Test is in progress")
        self.assertEqual(self.count(RECORD, connection=asking), 0)
        before = self.traces()
        self.send(waiting, run_of("/dev/other"))
        self.wait_for_log("RunDiagnostic for /dev/other waits for its turn")
        waiting.close()
        self.wait_for_log(log.strip('"').replace("DEVICE", "/dev/other"))
        self.wait_for(lambda: self.traces() == before, "something is left behind")
        self.assertEqual(self.count(RECORD, connection=asking), 0)
        self.assertEqual(sees, "no record")
        self.assertNotIn("deviceID = /dev/other", self.log.read_text())
        self.assertEqual(self.end(), 0)

    def test_server_is_killed_in_mid_run_and_started_again(self):
        sees, log = row_of_page("the server is killed during a test")
        self.smartctl.write_text("#!/bin/sh\nif [ $1 = -t ]; then\n"
                                 "echo $$ $PPID > ${0%/*}/processes\nexec /bin/sleep 1000\nfi\n" +
                                 STAND_IN.split("\n", 1)[1])
        self.serve("--no-auth")
        running = self.connect()
        self.send(running, run_of("/dev/fake"))
        noted = self.smartctl.with_name("processes")
        self.wait_for(lambda: noted.exists() and noted.read_text(), "no test is started")
        files = self.files()
        self.assertEqual(self.end(signal.SIGKILL), -signal.SIGKILL)
        processes = noted.read_text().split()
        self.wait_for(lambda: not any(map(self.is_running, processes)), "a process is left behind")
        self.assertEqual(self.files(), files)
        self.assertIn(log.strip('"').replace("DEVICE", "/dev/fake"),
                      self.log.read_text().splitlines()[-1])

        self.smartctl.write_text(STAND_IN)
        self.serve("--no-auth")
        self.assertEqual(self.count(RECORD), 0)
        with self.assertRaises((http.client.HTTPException, OSError)):
            running.getresponse()
        self.assertEqual(sees, "its connection breaks; the records are gone")
        status, text = self.ask(run_of("/dev/fake"))
        self.assertIn("HDDTest_ConcreteJob001", text, status)
        self.assertEqual(self.count(RECORD), 1)
        self.assertEqual(self.end(), 0)

    def property_of_record(self, name, connection):
        text = self.ask(enumeration(RECORD), connection=connection)[1]
        return re.search(rf'<PROPERTY NAME="{name}".*?</PROPERTY>', text, re.DOTALL)[0]

    @staticmethod
    def is_running(process):
        try:
            return "State:\tZ" not in pathlib.Path(f"/proc/{process}/status").read_text()
        except OSError:
            return False

    def descriptors(self):
        folder = f"/proc/{self.process.pid}/fd"
        return [self.kind(f"{folder}/{number}") for number in os.listdir(folder)]

    @staticmethod
    def kind(descriptor):
        """Its file, or the word for what it is without one."""
        try:
            return re.sub(r":\[\d+\]", "", os.readlink(descriptor))
        except OSError:
            return ""

    def files(self):
        return sorted(path.relative_to(self.folder) for path in self.folder.rglob("*"))

    def traces(self):
        process = self.process.pid
        children = pathlib.Path(f"/proc/{process}/task/{process}/children").read_text()
        return sorted(self.descriptors()), children


if __name__ == "__main__":
    main()

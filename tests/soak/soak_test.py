"""Many runs through the server under 32 clients of all kinds: nothing grows but what is kept on
purpose, no record is lost or torn, and nothing is left open.

    soak_test.py PROGRAM SMARTCTL [RUNS]        default: 200; SMARTCTL is a stand-in without waits

Prints what it found, a line per claim. HDDTEST_SANITIZE names the sanitizers that the program was
built with, if any: their memory is not the program's, so only its order of size is looked at.
"""

import contextlib
import http.client
import os
import pathlib
import random
import re
import shutil
import signal
import socket
import sys
import threading
import time
import unittest
import xml.etree.ElementTree as ElementTree

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "cli"))
from server_case import RECORD, SERVICE, ServerTest, enumeration, run_of  # noqa: E402

RUNS = int(sys.argv[3]) if len(sys.argv) > 3 else 200
SMARTCTL = pathlib.Path(sys.argv[2]).resolve()

# What a drive of such a name reports, and the beginning of its record's text.
OUTCOMES = {"good": ("2", "HDST-000"), "failing": ("5", "HDST-100"), "aborted": ("6", "HDST-200")}
DEVICES = [f"/dev/{outcome}{number}" for outcome in OUTCOMES for number in range(4)]
SANITIZERS = os.environ.get("HDDTEST_SANITIZE", "")
MOST = 100 if SANITIZERS else 1
ASSOCIATION = "KAVRO_HDDTest_AvailableDiagnosticService"

OFFENCES = [b"GET / HTTP/1.1\r\nHost: x\r\n\r\n", b"POST /cimom HTTP/1.1\r\nContent-Le", b"\0" * 400,
            b"POST /cimom HTTP/1.1\r\nHost: x\r\nContent-Type: application/xml\r\nCIMOperation: "
            b"MethodCall\r\nCIMMethod: EnumerateInstances\r\nCIMObject: root%2Fcimv2\r\n"
            b"Content-Length: 9\r\n\r\n<CIM><CIM"]


def records_of(text):
    """Of a reply: (job, device, state, text) of each record, checked to be whole."""
    found = []
    for instance in ElementTree.fromstring(text).iter("INSTANCE"):
        values = {item.get("NAME"): item.findtext("VALUE") for item in instance.iter("PROPERTY")}
        state, begin = OUTCOMES[re.fullmatch(r"/dev/(\D+)\d+", values["ManagedElementName"])[1]]
        assert values["CompletionState"] == state, values
        assert values["RecordData"].startswith(begin) and values["RecordData"].endswith("\n"), values
        assert values["ServiceName"] == "Hard Drive: Self Test" and values["InstanceID"], values
        found.append((values["InstanceID"], values["ManagedElementName"]))
    return found


class SoakTest(ServerTest):
    def setUp(self):
        super().setUp()
        shutil.copy(SMARTCTL, self.smartctl)
        self.machine("sda", "sdb")
        self.lock = threading.Lock()
        self.troubles = []
        self.jobs = {}  # of runs whose answer came: identifier to device
        self.made = 0   # runs in all

    def connection(self):
        return contextlib.closing(http.client.HTTPConnection("127.0.0.1", self.port, timeout=300))

    def at_work(self):
        return self.begun < self.wanted and not self.troubles

    def next_device(self):
        """Of the next run; None when there is none."""
        with self.lock:
            if not self.at_work():
                return None
            self.begun += 1
            return random.choice(DEVICES)

    # The kinds of clients. Each works until all runs have begun.

    def run_tests(self):
        with self.connection() as connection:
            while device := self.next_device():
                status, text = self.ask(run_of(device), connection=connection)
                job = re.search(r"HDDTest_ConcreteJob\w+", text)
                assert status == 200 and job, text
                with self.lock:
                    assert job[0] not in self.jobs, f"{job[0]} is the job of two runs"
                    self.jobs[job[0]] = device

    def run_and_leave(self):
        while device := self.next_device():
            with self.connection() as connection:
                self.send(connection, run_of(device))
                time.sleep(random.random() * self.pause)
            time.sleep(0.3)  # about as long as the others wait for their turn

    def read_records(self):
        seen = 0
        with self.connection() as connection:
            while self.at_work():
                status, text = self.ask(enumeration(RECORD), connection=connection)
                assert status == 200, text
                found = len(records_of(text))
                assert found >= seen, f"{found} records after {seen}"
                seen = found
                time.sleep(self.pause * 10 + found / 200)

    def list_others(self):
        with self.connection() as connection:
            while self.at_work():
                for name in ["KAVRO_HDDTest_ConcreteJob", SERVICE, "KAVRO_DiskDrive"]:
                    status, text = self.ask(enumeration(name), connection=connection)
                    assert status == 200 and "<ERROR" not in text, text
                    ElementTree.fromstring(text)
                time.sleep(self.pause)

    def look_for_testable_drives(self):
        with self.connection() as connection:
            while self.at_work():
                status, text = self.ask(enumeration(ASSOCIATION), connection=connection)
                assert status == 200 and text.count("<VALUE.NAMEDINSTANCE>") == 2, text
                time.sleep(self.pause * 20)

    def offend(self):
        while self.at_work():
            with contextlib.suppress(ConnectionError), socket.create_connection(
                    ("127.0.0.1", self.port), timeout=300) as connection:
                connection.sendall(random.choice(OFFENCES))
                if random.random() < 0.5:
                    connection.shutdown(socket.SHUT_WR)
                    while connection.recv(65536):
                        pass
            time.sleep(self.pause)

    def client(self, work):
        try:
            work()
        except Exception as trouble:  # whatever it is, it ends this client and fails the test
            self.troubles.append(trouble)

    def storm(self, runs):
        """That many runs under 32 clients; returns when the last has left its record."""
        self.begun, self.wanted = 0, runs
        self.pause = min(0.05, runs * 1e-4)
        clients = [threading.Thread(target=self.client, args=(work,))
                   for number, work in [(14, self.run_tests), (2, self.run_and_leave),
                                        (4, self.read_records), (4, self.list_others),
                                        (4, self.look_for_testable_drives), (4, self.offend)]
                   for _ in range(number)]
        self.assertEqual(len(clients), 32)
        for client in clients:
            client.start()
        for client in clients:
            client.join()
        self.assertEqual(self.troubles, [])
        self.made += runs
        self.wait_for(lambda: len(self.records()) >= self.made, "a run has left no record")

    def records(self):
        with self.connection() as connection:
            status, text = self.ask(enumeration(RECORD), connection=connection)
        self.assertEqual(status, 200, text)
        return records_of(text)

    def open_things(self):
        """Open descriptors, threads and children of the server."""
        place = pathlib.Path(f"/proc/{self.process.pid}")
        children = []
        for task in (place / "task").iterdir():
            with contextlib.suppress(OSError):  # a thread that has ended meanwhile
                children += (task / "children").read_text().split()
        return len(list((place / "fd").iterdir())), len(list((place / "task").iterdir())), \
            len(children)

    def resident(self):
        text = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return int(re.search(r"VmRSS:\s+(\d+)", text)[1]) * 1024

    def settled(self, least):
        """Whether nothing is open any more that was not before."""
        return all(now <= before for now, before in zip(self.open_things(), least))

    def growth(self, number, action):
        """Resident bytes that each of so many actions has left."""
        before = self.resident()
        for _ in range(number):
            action()
        return (self.resident() - before) / number

    def test_nothing_is_lost_torn_or_left_behind(self):
        begin = time.monotonic()
        self.serve("--no-auth")
        self.count(ASSOCIATION)
        quiet = self.open_things()

        # What a run keeps shows while nobody else fills the pools of the allocator.
        alone = RUNS // 5
        with self.connection() as connection:
            self.begun, self.wanted = 0, alone
            run = lambda: self.ask(run_of(self.next_device()), connection=connection)
            self.growth(alone // 2, run)
            kept = self.growth(alone - alone // 2, run)
        self.made = alone
        print(f"state of a run: {kept:.0f} bytes")
        self.assertLess(kept, MOST * (4096 + 200e3 / alone))

        self.storm(RUNS - alone)
        taken = time.monotonic() - begin

        self.growth(40, self.records)  # fills what each worker keeps
        left = self.growth(40, self.records)
        print(f"an enumeration of all records leaves {left:.0f} bytes")
        self.assertLess(left, MOST * 100e3)

        with contextlib.suppress(AssertionError):
            self.wait_for(lambda: self.settled(quiet), "")
        print(f"descriptors, threads, children: {quiet} before, {self.open_things()} after")
        self.assertTrue(self.settled(quiet), f"{quiet} before, {self.open_things()} after")

        records = self.records()
        identifiers = [identifier for identifier, _ in records]
        print(f"{RUNS} runs in {taken:.0f} s: {len(records)} records, "
              f"{len(set(identifiers))} different jobs, {len(self.jobs)} seen by clients")
        self.assertEqual(len(records), RUNS)
        self.assertEqual(len(set(identifiers)), RUNS)
        held = dict(records)
        for job, device in self.jobs.items():
            self.assertEqual(held[job], device)
        self.assertLess(taken, 60 + RUNS / 2)

        # The thread sanitizer holds a signal's handler back until the read that waits for it ends.
        if "thread" in SANITIZERS:
            self.end(signal.SIGKILL)
        else:
            self.assertEqual(self.end(), 0)
        self.assertEqual(self.errors, "")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])

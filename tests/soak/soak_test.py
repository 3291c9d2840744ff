"""Many runs through the server under 32 clients of all kinds: nothing grows but what is kept on
purpose, no record is lost or torn, and nothing is left open.

    soak_test.py PROGRAM SMARTCTL [RUNS]        so many under the clients (default: 200, least: 20)
                                                and a fifth more by one alone; SMARTCTL is a
                                                stand-in without waits

Prints what it found, a line per claim. HDDTEST_SANITIZE names the sanitizers that the program was
built with, if any: their memory is not the program's, so it is only printed.
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
import statistics
import sys
import threading
import time
import unittest
import xml.etree.ElementTree as ElementTree

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "cli"))
from server_case import RECORD, SERVICE, ServerTest, enumeration, run_of  # noqa: E402

RUNS = int(sys.argv[3]) if len(sys.argv) > 3 else 200
SMARTCTL = pathlib.Path(sys.argv[2]).resolve()

# What a drive of this name reports, and the beginning of its record's text.
OUTCOMES = {"good": ("2", "HDST-000"), "failing": ("5", "HDST-100"), "aborted": ("6", "HDST-200")}
DEVICES = [f"/dev/{outcome}{number}" for outcome in OUTCOMES for number in range(4)]
SANITIZERS = os.environ.get("HDDTEST_SANITIZE", "")
# Bytes that are kept on purpose, with a margin of a third. A run keeps a record, its job and an
# instance; a listing of the testable drives keeps two bus devices and two instances.
RUN, LISTING = 3e3, 6e3
ENUMERATION = 4e3  # it keeps nothing, but its pools vary by some bytes
SLACK = 64e3  # whole pages
STORM_SLACK = 600e3  # free pieces of the heap between used ones, stacks of idle workers
# Seconds: the server looks every 5 for memory to give back.
GIVES_BACK = 7
# What 32 clients add: descriptors (connections, and those that the server is about to give up),
# threads (a worker each, and those that end the work of clients that have left), and children.
MORE = (80, 48, 6)
ASSOCIATION = "KAVRO_HDDTest_AvailableDiagnosticService"

TURNED_AWAY = '<ERROR CODE="27" '
OFFENCES = [b"GET / HTTP/1.1\r\nHost: x\r\n\r\n", b"POST /cimom HTTP/1.1\r\nContent-Le", b"\0" * 400,
            b"POST /cimom HTTP/1.1\r\nHost: x\r\nContent-Type: application/xml\r\nCIMOperation: "
            b"MethodCall\r\nCIMMethod: EnumerateInstances\r\nCIMObject: root%2Fcimv2\r\n"
            b"Content-Length: 9\r\n\r\n<CIM><CIM"]
REFUSED = 4 * [enumeration("KAVRO_Nothing"), enumeration(RECORD)[:-20],
               enumeration(RECORD).replace("<CLASSNAME", "<INSTANCENAME"),
               run_of("").replace("Managed", "")]


def records_of(text):
    """The (job, device, state, text) of each record in a reply; checks that each is whole."""
    found = []
    for instance in ElementTree.fromstring(text).iter("INSTANCE"):
        values = {item.get("NAME"): item.findtext("VALUE") for item in instance.iter("PROPERTY")}
        state, begin = OUTCOMES[re.fullmatch(r"/dev/(\D+)\d+", values["ManagedElementName"])[1]]
        assert values["CompletionState"] == state, values
        assert values["RecordData"].startswith(begin) and values["RecordData"].endswith("\n"), values
        assert values["ServiceName"] == "Hard Drive: Self Test" and values["InstanceID"], values
        found.append((values["InstanceID"], values["ManagedElementName"]))
    return found


def number_of(job):
    return int(re.fullmatch(r"HDDTest_ConcreteJob(\d+)", job)[1])


class SoakTest(ServerTest):
    def setUp(self):
        super().setUp()
        shutil.copy(SMARTCTL, self.smartctl)
        self.machine("sda", "sdb")
        self.lock = threading.Lock()
        self.troubles = []
        self.quiet = None  # open_things before there are clients
        self.jobs = {}  # of runs whose answer came: identifier to device
        self.left = 0  # runs whose clients have gone: some have begun, some never do
        self.made = 0  # runs in all that have begun
        self.turned_away = 0  # refusals of runs, since enough of them waited
        self.listings = self.refused = 0  # of testable drives; requests and half requests
        self.most = (0, 0, 0)  # of open_things, while there are 32 clients

    def connection(self):
        return contextlib.closing(http.client.HTTPConnection("127.0.0.1", self.port, timeout=300))

    def at_work(self):
        return self.begun < self.wanted and not self.troubles

    def next_device(self):
        """The drive of the next run; None when there is none."""
        with self.lock:
            if not self.at_work():
                return None
            self.begun += 1
            return random.choice(DEVICES)

    # The kinds of clients. Each works until all runs have begun.

    def run_test(self, connection):
        """Asks for the next run until the server accepts it; None when there is none."""
        if device := self.next_device():
            status, text = self.ask(run_of(device), connection=connection)
            while TURNED_AWAY in text:
                with self.lock:
                    self.turned_away += 1
                time.sleep(0.05 + random.random() / 10)
                status, text = self.ask(run_of(device), connection=connection)
            job = re.search(r"HDDTest_ConcreteJob\w+", text)
            assert status == 200 and job, text
            with self.lock:
                assert job[0] not in self.jobs, f"{job[0]} is the job of two runs"
                self.jobs[job[0]] = device
        return device

    def run_tests(self):
        with self.connection() as connection:
            while self.run_test(connection):
                pass

    def run_and_leave(self):
        while device := self.next_device():
            with self.connection() as connection:
                self.send(connection, run_of(device))
                time.sleep(random.random() * self.pause)
            with self.lock:
                self.left += 1
            # The other clients have most of the turns.
            turn = len(self.jobs) + 14
            while self.at_work() and len(self.jobs) < turn:
                time.sleep(0.01)

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
                with self.lock:
                    self.listings += 1
                time.sleep(self.pause * 20)

    def offend(self):
        while self.at_work():
            with self.connection() as connection:
                for body in REFUSED:
                    status, text = self.ask(body, connection=connection)
                    assert status == 400 or "<ERROR" in text, text
            with contextlib.suppress(ConnectionError), socket.create_connection(
                    ("127.0.0.1", self.port), timeout=300) as connection:
                connection.sendall(random.choice(OFFENCES))
                if random.random() < 0.5:
                    connection.shutdown(socket.SHUT_WR)
                    while connection.recv(65536):
                        pass
            with self.lock:
                self.refused += len(REFUSED) + 1
            time.sleep(self.pause)

    def client(self, work):
        try:
            work()
        except Exception as trouble:  # whatever it is, it ends this client and fails the test
            self.troubles.append(trouble)

    def watch(self):
        while not self.calm.wait(0.1):
            self.most = tuple(map(max, self.most, self.open_things()))

    def storm(self, runs):
        """Does that many runs under 32 clients, and one when they have gone, whose record is the last."""
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
        self.calm = threading.Event()
        watcher = threading.Thread(target=self.client, args=(self.watch,))
        watcher.start()
        for client in clients:
            client.join()
        self.calm.set()
        watcher.join()
        self.assertEqual(self.troubles, [])
        self.wait_for(lambda: self.open_things()[0] <= self.quiet[0], "connections stay open")
        with self.connection() as connection:  # behind all others
            self.wanted += 1
            self.run_test(connection)
        self.made = number_of(list(self.jobs)[-1])
        self.assertTrue(len(self.jobs) <= self.made <= len(self.jobs) + self.left)

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
        """Resident bytes after a large request."""
        with self.connection() as connection:
            status, text = self.ask(enumeration(SERVICE) + "\n" * 70_000, connection=connection)
            self.assertEqual(status, 200, text)
            time.sleep(0.03)  # what the request took is freed behind its answer
            text = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
            return int(re.search(r"RssAnon:\s+(\d+)", text)[1]) * 1024

    def resident_at_rest(self):
        """The least of them in a time in which the server gives free memory back."""
        end = time.monotonic() + GIVES_BACK
        least = self.resident()
        while time.monotonic() < end:
            time.sleep(0.25)
            least = min(least, self.resident())
        return least

    def settled(self):
        """Whether nothing is open any more that was not before."""
        return all(now <= before for now, before in zip(self.open_things(), self.quiet))

    def growth(self, number, action):
        """By how many resident bytes so many actions made it grow."""
        before = self.resident()
        for _ in range(number):
            action()
        return self.resident() - before

    def check_state(self, what, number, action, most):
        """Claims that each action leaves no more than so many bytes."""
        # The first time fills pools. One worker more or less makes as much difference as many
        # records.
        _, *growths = [self.growth(number, action) for _ in range(4)]
        self.check_growth(what, statistics.median(growths), number, number * most + SLACK)

    def check_growth(self, what, growth, number, most):
        print(f"{what}: {growth / number:.0f} bytes, {growth / 1000:.0f} kB in all")
        if not SANITIZERS:
            self.assertLess(growth, most, what)

    def test_nothing_is_lost_torn_or_left_behind(self):
        begin = time.monotonic()
        # With one heap only: the free memory of many heaps comes and goes, and looks like growth.
        self.serve("--no-auth", MALLOC_ARENA_MAX="1")
        self.resident()
        self.count(ASSOCIATION)
        self.quiet = self.open_things()

        # What a run keeps shows best while nobody else asks for anything.
        alone = RUNS // 20
        with self.connection() as connection:
            self.begun, self.wanted = 0, 4 * alone
            self.check_state("state of a run", alone, lambda: self.run_test(connection), RUN)
        self.assertEqual(len(self.jobs), 4 * alone)

        first = RUNS // 3
        self.storm(first)
        before = self.resident_at_rest()
        self.listings = self.refused = 0
        second = RUNS - first
        self.storm(second)
        growth = self.resident_at_rest() - before
        taken = time.monotonic() - begin
        print(f"32 clients: {second} runs, {self.listings} listings of testable drives, "
              f"{self.refused} refusals; in all {self.turned_away} runs were turned away at first, "
              f"of {self.left} the clients had gone")
        self.check_growth("left by the 32 clients, for each run", growth, second,
                          RUN * second + LISTING * self.listings + STORM_SLACK)
        print(f"descriptors, threads, children: {self.most} at most under 32 clients")
        for now, before, more in zip(self.most, self.quiet, MORE):
            self.assertLessEqual(now, before + more, f"{self.quiet} before, {self.most} in between")

        self.check_state("left by an enumeration of all records", 10, self.records, ENUMERATION)

        with contextlib.suppress(AssertionError):
            self.wait_for(lambda: self.settled(), "")
        print(f"descriptors, threads, children: {self.quiet} before, {self.open_things()} after")
        self.assertTrue(self.settled(), f"{self.quiet} before, {self.open_things()} after")

        records = self.records()
        identifiers = [identifier for identifier, _ in records]
        print(f"{self.made} runs, {RUNS} of them under 32 clients, in {taken:.0f} s: "
              f"{len(records)} records, "
              f"{len(set(identifiers))} different jobs, {len(self.jobs)} seen by clients")
        self.assertEqual(len(records), self.made)
        self.assertEqual(set(map(number_of, identifiers)), set(range(1, self.made + 1)))
        held = dict(records)
        for job, device in self.jobs.items():
            self.assertEqual(held[job], device)
        self.assertLess(taken, (60 + RUNS / 4) * (8 if SANITIZERS else 1))

        # The thread sanitizer delays a signal's handler until the read that waits for it ends.
        if "thread" in SANITIZERS:
            self.end(signal.SIGKILL)
        else:
            self.assertEqual(self.end(), 0)
        self.assertEqual(self.errors, "")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])

"""Storms of connections: what they leave behind, and who is served meanwhile when descriptors are few.

    storm_test.py PROGRAM
"""

import resource
import socket
import time
import unittest
import unittest.mock

from attack_case import PATIENCE, AttackTest
import server_case
from command_case import PROGRAM, main
from server_case import RECORD, SANITIZED, SERVICE, run_of

USER = "operator:secret"
# A head of nearly the largest size that does not end.
LONG_HEAD = b"POST /cimom HTTP/1.1\r\nX: %s\r\nY: %s" % (b"x" * 30_000, b"y" * 33_000)
FEW = 200  # descriptors


class Storm(AttackTest):
    def setUp(self):
        super().setUp()
        soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        resource.setrlimit(resource.RLIMIT_NOFILE, (min(4096, hard), hard))
        self.addCleanup(resource.setrlimit, resource.RLIMIT_NOFILE, (soft, hard))

    def come(self, number, text):
        clients = []
        for _ in range(number):
            client = socket.create_connection(("127.0.0.1", self.port), timeout=PATIENCE)
            self.addCleanup(client.close)
            self.send_pieces(client, text)
            clients.append(client)
        return clients

    @unittest.skipIf(SANITIZED, "memory is the sanitizer's")
    def test_memory_comes_back(self):
        self.serve_users()
        self.assertEqual(self.count(SERVICE, user=USER), 1)
        before = self.memory("VmRSS")
        clients = self.come(900, LONG_HEAD)
        self.assertEqual(self.count(SERVICE, user=USER), 1)
        self.assertGreater(self.memory("VmRSS"), before + 32)
        for client in clients:
            client.close()
        self.wait_for(lambda: self.memory("VmRSS") < before + 16, "memory comes back")

    def serve_with_few(self):
        program = self.folder / "with_few"
        program.write_text(f"#!/bin/sh\nulimit -n {FEW}\nexec '{PROGRAM}' \"$@\"\n")
        program.chmod(0o755)
        with unittest.mock.patch.object(server_case, "PROGRAM", program):
            self.serve_users()

    def test_few_descriptors_keep_nobody_out(self):
        self.serve_with_few()
        connection = self.connect()
        self.assertEqual(self.count(SERVICE, user=USER, connection=connection), 1)
        self.come(3 * FEW, b"POST")
        # The clients cannot take all of them, since a run has programs to start.
        begin = time.monotonic()
        for _ in range(3):
            status, text = self.ask(run_of("/dev/fake"), user=USER)
            self.assertEqual((status, "<ERROR" in text), (200, False), text)
        self.assertEqual(self.count(SERVICE, user=USER, connection=connection), 1)
        self.assertEqual(self.count(RECORD, user=USER), 3)
        self.assertLess(time.monotonic() - begin, PATIENCE)

    @unittest.skipIf(SANITIZED, "the sanitizer wants descriptors of its own to look at an exception")
    def test_descriptors_that_go_away_keep_nobody_out(self):
        """Lowers the limit below what the server has counted on."""
        self.serve_users()
        self.assertEqual(self.count(SERVICE, user=USER), 1)
        resource.prlimit(self.process.pid, resource.RLIMIT_NOFILE, (FEW, FEW))
        self.come(3 * FEW, b"POST")
        begin = time.monotonic()
        for _ in range(5):
            self.assertEqual(self.count(SERVICE, user=USER), 1)
        self.assertLess(time.monotonic() - begin, PATIENCE)
        self.assertEqual(self.log.read_text().count("no connection can be accepted"), 1)


if __name__ == "__main__":
    main()

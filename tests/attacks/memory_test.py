"""Crowds that make the server hold much at once.

    memory_test.py PROGRAM
"""

import pathlib
import socket
import sys
import threading
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "cli"))
from attack_case import AttackTest
from command_case import main
from server_case import SERVICE, SPACE, SANITIZED, enumeration, message

CROWD = 250
CLASSES = (f'<SIMPLEREQ><IMETHODCALL NAME="EnumerateClasses"><LOCALNAMESPACEPATH>{SPACE}'
           '</LOCALNAMESPACEPATH><IPARAMVALUE NAME="DeepInheritance"><VALUE>TRUE</VALUE>'
           "</IPARAMVALUE></IMETHODCALL></SIMPLEREQ>")


@unittest.skipIf(SANITIZED, "memory of a program under a sanitizer is the sanitizer's")
class Memory(AttackTest):
    def post(self, body, fields):
        """A connection that has sent the request, and reads the answer in small pieces."""
        client = socket.socket()
        self.addCleanup(client.close)
        client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        client.settimeout(60)
        client.connect(("127.0.0.1", self.port))
        client.sendall(("POST /cimom HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n"
                        'Content-Type: application/xml; charset="utf-8"\r\n'
                        f"CIMOperation: MethodCall\r\n{fields}Content-Length: {len(body)}\r\n\r\n"
                        + body).encode())
        return client

    def expect_memory_back(self, crowd, before):
        """The server's memory after the answers to all of them."""
        most = self.memory("VmRSS")
        readers = [threading.Thread(target=self.until_closed, args=(client,)) for client in crowd]
        for reader in readers:
            reader.start()
        for reader in readers:
            reader.join()
        self.assertEqual(self.count(SERVICE), 1)
        begin = time.monotonic()
        self.wait_for(lambda: self.memory("VmRSS") <= 2 * before + 8, "memory does not come back")
        print(f"{before} MB before, {most} MB with {len(crowd)} clients, "
              f"{self.memory('VmRSS')} MB {time.monotonic() - begin:.0f} s after")

    def test_memory_comes_back_after_slow_readers(self):
        self.serve("--no-auth")
        self.assertEqual(self.count(SERVICE), 1)
        before = self.memory("VmRSS")
        batch = (message("").replace("<SIMPLEREQ></SIMPLEREQ>", "<MULTIREQ>" + 20 * CLASSES +
                                     "</MULTIREQ>"))
        crowd = [self.post(batch, "CIMBatch: 20\r\n") for _ in range(CROWD)]
        self.wait_for(lambda: self.memory("VmRSS") > 4 * before, "they are not slow")
        self.expect_memory_back(crowd, before)

    def test_memory_comes_back_after_large_bodies(self):
        self.serve("--no-auth")
        self.assertEqual(self.count(SERVICE), 1)
        before = self.memory("VmRSS")
        body = enumeration(SERVICE)
        body += " " * ((64 << 10) + 1 - len(body))  # large enough to share the room of large bodies
        fields = "CIMMethod: EnumerateInstances\r\nCIMObject: root%2Fcimv2\r\n"
        crowd = [self.post(body, fields) for _ in range(CROWD)]
        self.expect_memory_back(crowd, before)


if __name__ == "__main__":
    main()

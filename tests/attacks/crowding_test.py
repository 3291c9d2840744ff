"""Clients that take the room of others: connections, time and memory.

    crowding_test.py PROGRAM
"""

import base64
import resource
import socket
import time

from attack_case import PATIENCE, AttackTest
from command_case import main
from server_case import SANITIZED, SERVICE

HALF = b"POST /cimom HTTP/1.1\r\nHost: local"
LARGE = (16 << 20) - 1
LARGE_HEAD = (b"POST /cimom HTTP/1.1\r\nHost: localhost\r\nAuthorization: Basic %s\r\n"
              b"Content-Length: %d\r\n\r\n" % (base64.b64encode(b"operator:secret"), LARGE))


class Crowding(AttackTest):
    def setUp(self):
        super().setUp()
        _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        resource.setrlimit(resource.RLIMIT_NOFILE, (min(4096, hard), hard))
        self.serve_users()

    def half_heads(self, number, source):
        clients = []
        for _ in range(number):
            client = socket.create_connection(("127.0.0.1", self.port), timeout=PATIENCE,
                                              source_address=(source, 0))
            self.addCleanup(client.close)
            self.send_pieces(client, HALF)
            clients.append(client)
        return clients

    def wait_of_another(self):
        """The seconds that a new client waits that logs in."""
        begin = time.monotonic()
        connection = self.connect()
        self.assertEqual(self.count(SERVICE, user="operator:secret", connection=connection), 1)
        connection.close()
        return time.monotonic() - begin

    def test_half_heads_keep_nobody_out(self):
        self.half_heads(128, "127.0.0.1")
        self.assertLess(self.wait_of_another(), PATIENCE)
        self.half_heads(256, "127.0.0.2")
        self.half_heads(1000, "127.0.0.3")
        for _ in range(3):
            self.assertLess(self.wait_of_another(), PATIENCE)

    def test_known_client_keeps_its_connection(self):
        connection = self.connect()
        self.assertEqual(self.count(SERVICE, user="operator:secret", connection=connection), 1)
        socket_before = connection.sock
        self.half_heads(1200, "127.0.0.1")
        self.assertEqual(self.count(SERVICE, user="operator:secret", connection=connection), 1)
        self.assertIs(connection.sock, socket_before)

    def test_half_head_ends_after_ten_seconds(self):
        begin = time.monotonic()
        half, = self.half_heads(1, "127.0.0.1")
        half.settimeout(60)
        self.assertEqual(self.until_closed(half), b"")
        self.assertGreater(time.monotonic() - begin, 9)
        self.assertLess(time.monotonic() - begin, 30)

    def test_large_bodies_are_not_held_without_bound(self):
        self.wait_of_another()  # so that everything is loaded
        before = self.resources()
        piece = bytes(1 << 20)
        clients = []
        for _ in range(40):
            client = self.open()
            self.send_pieces(client, LARGE_HEAD, *[piece] * 15, piece[2:])
            clients.append(client)
        self.assertLess(self.wait_of_another(), PATIENCE)
        if not SANITIZED:
            self.assertLess(self.memory("VmHWM"), before[2] + 128)
        for client in clients:
            client.close()
        self.wait_for(lambda: self.resources()[0] <= before[0], f"{before} before")

    def test_announced_bodies_of_those_who_have_gone_take_no_room(self):
        for _ in range(20):
            client = self.open()
            self.send_pieces(client, LARGE_HEAD)
            client.close()
        headers = {"Authorization": "Basic " + base64.b64encode(b"operator:secret").decode()}

        def status():
            connection = self.connect()
            connection.request("POST", "/cimom", b" " * (LARGE - 200), headers)
            return connection.getresponse().status

        self.wait_for(lambda: status() != 503, "a large body is received")  # when they are noticed



if __name__ == "__main__":
    main()

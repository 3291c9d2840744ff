"""Handshakes, which cost the server more than the client.

    handshakes_test.py PROGRAM
"""

import http.client
import select
import ssl

from attack_case import AttackTest
from command_case import main
from server_case import SERVICE

USER = "operator:secret"
HELLOS = 300


def context():
    result = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
    result.check_hostname = False
    result.verify_mode = ssl.CERT_NONE
    return result


def hello():
    """What a client sends first."""
    incoming, outgoing = ssl.MemoryBIO(), ssl.MemoryBIO()
    try:
        context().wrap_bio(incoming, outgoing).do_handshake()
    except ssl.SSLWantReadError:
        return outgoing.read()


class Handshakes(AttackTest):
    def connect(self):
        connection = http.client.HTTPSConnection("127.0.0.1", self.port, timeout=60,
                                                 context=context())
        self.addCleanup(connection.close)
        return connection

    def come(self, number, text):
        clients = [self.open() for _ in range(number)]
        for client in clients:
            self.send_pieces(client, text)
        return clients

    def test_hellos_of_strangers_keep_no_known_client_waiting(self):
        self.make_user()
        # Each hello takes the server several milliseconds.
        self.serve("--users", "users", *self.make_certificate(bits=4096))
        connection = self.connect()
        self.assertEqual(self.count(SERVICE, user=USER, connection=connection), 1)
        clients = self.come(HELLOS, hello())
        self.assertEqual(self.count(SERVICE, user=USER, connection=connection), 1)
        answered, _, _ = select.select(clients, [], [], 0)
        self.assertLess(len(answered), HELLOS / 2, "hellos are answered before a known client")
        for client in clients:
            client.close()
        self.assertEqual(self.count(SERVICE, user=USER), 1)


if __name__ == "__main__":
    main()

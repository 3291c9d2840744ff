"""Clients that guess passwords, or make up users, to get in or to keep others out.

    log_in_test.py PROGRAM
"""

import base64
import resource
import socket
import threading
import time

from attack_case import PATIENCE, AttackTest
from command_case import main
from server_case import SANITIZED, SERVICE

OPERATOR, MONITOR = "operator:secret", "monitor:good"


def request(user, password):
    log_in = base64.b64encode(f"{user}:{password}".encode())
    return (b"POST /cimom HTTP/1.1\r\nHost: localhost\r\nContent-Length: 0\r\n"
            b"Authorization: Basic " + log_in + b"\r\n\r\n")


class LogIn(AttackTest):
    def setUp(self):
        super().setUp()
        _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        resource.setrlimit(resource.RLIMIT_NOFILE, (min(4096, hard), hard))
        self.make_user("monitor", "good")
        self.serve_users()

    def guess(self, user, password, source="127.0.0.1"):
        """A connection on which somebody has sent a log-in; the answer can be read from it."""
        client = socket.create_connection(("127.0.0.1", self.port), timeout=60,
                                          source_address=(source, 0))
        self.addCleanup(client.close)
        self.send_pieces(client, request(user, password))
        return client

    def status(self, client):
        return int(client.recv(4096).split()[1])

    def hold(self, user, sources=("127.0.0.1",)):
        """Many guesses at once. The answers to four are held back, the others are not looked at."""
        clients = [self.guess(user, f"wrong {n}", sources[n % len(sources)]) for n in range(16)]
        self.wait_for(lambda: self.looked_at(user) >= 4, "not all are looked at")
        return clients

    def looked_at(self, user):
        return self.log.read_text().count(f"refused a log-in of user '{user}'")

    def expect_busy(self, clients):
        # The last come first, since an answer that is held back comes late.
        self.assertTrue(any(self.status(client) == 503 for client in reversed(clients)))

    def expect_served(self, user):
        """Within a few seconds, on a connection of its own."""
        begin = time.monotonic()
        connection = self.connect()
        self.assertEqual(self.count(SERVICE, user=user, connection=connection), 1)
        self.assertLess(time.monotonic() - begin, PATIENCE)
        connection.close()

    def test_wrong_passwords_lock_no_other_user_out(self):
        clients = self.hold("operator")
        self.expect_served(MONITOR)
        self.expect_busy(clients)

    def test_other_addresses_of_this_machine_give_no_further_guesses(self):
        clients = self.hold("operator", ("127.0.0.1", "127.0.0.2", "127.99.1.2"))
        self.expect_busy(clients)
        self.assertLess(self.looked_at("operator"), 8)  # and four of each, were they three

    def test_users_and_made_up_names_are_refused_alike(self):
        both = [self.hold(user) for user in ("operator", "nobody")]
        for clients in both:
            statuses = [self.status(client) for client in clients]
            self.assertEqual(set(statuses), {401, 503})
            self.assertGreaterEqual(statuses.count(401), 4)
            self.assertGreaterEqual(statuses.count(503), 8)

    def test_known_user_stays_known_over_a_reload(self):
        self.expect_served(OPERATOR)
        clients = self.hold("operator")
        self.replace_users((self.folder / "users").read_text() + "# changed\n")
        self.reload("read the users file")
        self.expect_served(OPERATOR)
        self.expect_busy(clients)

    def test_flood_of_made_up_names_leaves_others_their_turn(self):
        ended = threading.Event()
        numbers = []

        def flood(kind):
            number = 0
            while not ended.is_set():
                with socket.create_connection(("127.0.0.1", self.port), timeout=60) as client:
                    self.send_pieces(client, request(f"{kind}{number}", "x"))
                number += 1
            numbers.append(number)

        before = self.resources()
        threads = [threading.Thread(target=flood, args=(kind,)) for kind in "ab"]
        begin = time.monotonic()
        for thread in threads:
            thread.start()
        try:
            self.wait_for_log("refused a log-in of user 'b")
            self.expect_served(OPERATOR)
            self.replace_users((self.folder / "users").read_text() + "# changed\n")
            self.reload("read the users file")
            self.expect_served(MONITOR)
            self.expect_served(OPERATOR)
            time.sleep(1)
            self.expect_served(MONITOR)
        finally:
            ended.set()
            for thread in threads:
                thread.join()
        seconds = time.monotonic() - begin
        self.assertGreater(sum(numbers), 200)
        self.assertLess(self.log.read_text().count("refused a log-in"), 20 + 20 * seconds)
        if not SANITIZED:
            self.assertLess(self.memory("VmHWM"), before[2] + 128)
        self.wait_for(lambda: self.resources()[0] <= before[0], f"{before} before")

    def test_answers_held_back_keep_nobody_out(self):
        # As many answers as there are slots, and more; each is held back for up to eight seconds.
        for number in range(400):
            for password in "abcd":
                self.guess(f"name{number}", password)
        self.expect_served(OPERATOR)
        self.expect_served(MONITOR)

    def test_damaged_or_costly_hash_leaves_the_users_as_they_were(self):
        good = (self.folder / "users").read_text()
        cut = good.rstrip("\n")[:-10] + "\n"
        for text, line in ((good + "other:$6$rounds=999999999$salt$" + "x" * 86 + "\n", 3),
                           (cut, 2)):
            self.replace_users(text)
            self.reload(f"line {line}: the password hash ")
            self.assertRegex(self.log.read_text(), f"line {line}: .*; the users stay as they were")
            for user in (OPERATOR, MONITOR):
                self.expect_served(user)


if __name__ == "__main__":
    main()

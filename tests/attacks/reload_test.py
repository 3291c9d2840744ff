"""The users file changes, and is read again, while clients ask.

    reload_test.py PROGRAM
"""

import signal
import threading

from attack_case import AttackTest
from command_case import main
from server_case import SERVICE, enumeration

USER = "operator:secret"


class Reload(AttackTest):
    def test_good_client_is_served_through_all_of_it(self):
        self.serve_users()
        good = (self.folder / "users").read_text()
        ended, statuses = threading.Event(), []
        def keep_asking():
            connection = self.connect()
            while not ended.is_set():
                statuses.append(self.ask(enumeration(SERVICE), USER, connection)[0])
        threads = [threading.Thread(target=keep_asking) for _ in range(4)]
        for thread in threads:
            thread.start()
        try:
            for number in range(10):
                self.replace_users(good + f"user{number}:{good.split(':', 1)[1]}")
                self.reload("read the users file")
                self.replace_users(good + "no hash\n")
                self.reload("the users stay as they were")
        finally:
            ended.set()
            for thread in threads:
                thread.join()
        self.assertGreater(len(statuses), len(threads))
        self.assertEqual(set(statuses), {200})

    def test_storm_of_signals_leaves_it_as_it_was(self):
        self.serve_users()
        connection = self.connect()
        self.assertEqual(self.ask(enumeration(SERVICE), USER, connection)[0], 200)
        self.reload("read the users file")
        before = self.resources()
        for _ in range(2000):
            self.process.send_signal(signal.SIGHUP)
        self.assertEqual(self.ask(enumeration(SERVICE), USER, connection)[0], 200)
        self.wait_for(lambda: all(now <= then for now, then in zip(self.resources(), before)),
                      f"{before} before")

    def test_user_who_was_taken_away_is_admitted_no_more(self):
        self.serve_users()
        connection = self.connect()
        self.assertEqual(self.ask(enumeration(SERVICE), USER, connection)[0], 200)
        self.replace_users("other:" + (self.folder / "users").read_text().split(":", 1)[1])
        self.reload("read the users file")
        self.assertEqual(self.ask(enumeration(SERVICE), USER, connection)[0], 401)


if __name__ == "__main__":
    main()

"""hddtest passwd: passwords of the server's users, from a pipe and at a terminal.

    passwd_test.py PROGRAM
"""

import os
import pty
import subprocess

from command_case import PROGRAM, main
from server_case import SERVICE, ServerTest


class Passwd(ServerTest):
    def passwd(self, given, *arguments):
        done = subprocess.run([PROGRAM, "passwd", *arguments], input=given, cwd=self.folder,
                              env=self.environment, capture_output=True, timeout=60)
        self.status, self.output = done.returncode, done.stdout.decode()
        self.errors = done.stderr.decode()

    def test_reads_a_line(self):
        self.passwd(b"secret\nmore\n", "users", "operator")
        self.expect(0)
        users = self.folder / "users"
        self.assertEqual(users.stat().st_mode & 0o7777, 0o600)
        self.assertRegex(users.read_text(), r"\Aoperator:\$y\$[^\n]+\n\Z")

    def test_refuses_a_file_of_another_use_before_it_asks(self):
        (self.folder / "hosts").write_text("127.0.0.1 localhost\n")
        self.passwd(b"", "hosts", "a")
        self.expect_one_line(3, "hosts: it is no users file; name a file that 'hddtest passwd")
        self.assertEqual((self.folder / "hosts").read_text(), "127.0.0.1 localhost\n")

    def test_refuses_what_cannot_be(self):
        for given, user, says in [(b"x\n", "a:b", "name of a user"), (b"x\n", "a\nb", "name of a"),
                                  (b"x\n", "", "name of a user"), (b"", "a", "no password"),
                                  (b"\n", "a", "no password"), (b"a\0b\n", "a", "zero byte"),
                                  (b"x" * 512 + b"\n", "a", "at most 511 bytes")]:
            self.passwd(given, "users", user)
            self.expect_one_line(3, says)
            self.assertFalse((self.folder / "users").exists())
        self.passwd(b"x\n", "none/users", "a")
        self.expect_one_line(3, "No such file or directory")

    def on_a_terminal(self, *typed):
        master, slave = pty.openpty()
        process = subprocess.Popen([PROGRAM, "passwd", "users", "a"], stdin=slave, stdout=slave,
                                   stderr=slave, cwd=self.folder, env=self.environment,
                                   start_new_session=True)
        os.close(slave)
        written = b""
        for prompt, line in zip([b"Password: ", b"Once more: "], typed):
            while prompt not in written:
                written += os.read(master, 1000)
            os.write(master, line + b"\n")
        try:
            while piece := os.read(master, 1000):
                written += piece
        except OSError:  # the terminal's last user has gone
            pass
        os.close(master)
        return written, process.wait(timeout=60)

    def test_asks_twice_and_shows_nothing(self):
        written, status = self.on_a_terminal(b"hidden", b"hidden")
        self.assertEqual(status, 0)
        self.assertNotIn(b"hidden", written)
        self.serve("--users", "users")
        self.assertEqual(self.count(SERVICE, user="a:hidden"), 1)

    def test_two_that_differ_change_nothing(self):
        written, status = self.on_a_terminal(b"one", b"two")
        self.assertEqual(status, 3)
        self.assertIn(b"the two passwords differ", written)
        self.assertFalse((self.folder / "users").exists())


if __name__ == "__main__":
    main()

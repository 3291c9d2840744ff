"""Where the server listens: at both addresses of the loopback, or where it is told, or at sockets
that are handed over to it.

    serve_listen_test.py PROGRAM
"""

import contextlib
import fcntl
import http.client
import json
import os
import pathlib
import socket
import subprocess
import sys

from command_case import PROGRAM, main
from server_case import SERVICE, ServerTest, enumeration, run_of

# As a supervisor does it: the sockets from descriptor 3 on, in the process that is to have them.
HAND_OVER = """import os, sys
count = int(sys.argv[1])
for at in range(count):
    os.dup2(int(sys.argv[2 + at]), 3 + at)
os.environ.update(LISTEN_PID=str(os.getpid()), LISTEN_FDS=sys.argv[1], LISTEN_FDNAMES="a:b")
os.execv(sys.argv[2 + count], sys.argv[2 + count:])
"""


def has_v6():
    with contextlib.suppress(OSError), socket.socket(socket.AF_INET6) as attempt:
        attempt.bind(("::1", 0))
        return True
    return False


class Listen(ServerTest):
    def ask_at(self, url, host=None):
        at, port = url.removeprefix("http://").rsplit(":", 1)
        connection = http.client.HTTPConnection(at.strip("[]"), int(port), timeout=60)
        self.addCleanup(connection.close)
        headers = {"Content-Type": "application/xml", "CIMOperation": "MethodCall",
                   "CIMMethod": "EnumerateInstances", "CIMObject": "root%2Fcimv2"}
        if host:
            headers["Host"] = host
        connection.request("POST", "/cimom", enumeration(SERVICE), headers)
        return connection.getresponse().status

    def listener(self, host, port=0):
        listener = socket.create_server(
            (host, port), family=socket.AF_INET6 if ":" in host else socket.AF_INET)
        self.addCleanup(listener.close)
        return listener


class Loopback(Listen):
    def test_both_addresses_at_one_port(self):
        self.serve("--no-auth")
        hosts = ["127.0.0.1", "[::1]"] if has_v6() else ["127.0.0.1"]
        self.assertEqual(self.urls, [f"http://{host}:{self.port}" for host in hosts])
        for url in self.urls:
            self.assertEqual(self.ask_at(url), 200)
        for url in self.urls:
            self.wait_for_log(url)

    def test_programs_are_told_all_addresses(self):
        process = subprocess.Popen([PROGRAM, "serve", "--port", "0", "--no-auth", "--json"],
                                   stdout=subprocess.PIPE, text=True, cwd=self.folder,
                                   env=self.environment)
        self.addCleanup(process.communicate)
        self.addCleanup(process.terminate)
        text = ""
        while not text.endswith("}\n"):
            text += process.stdout.readline()
        told = json.loads(text)
        self.assertEqual(told["url"], told["urls"][0])
        for url in told["urls"]:
            self.assertEqual(self.ask_at(url), 200)

    def port_that_is_free_elsewhere(self, host):
        """The port of a listener at one loopback address that nobody has at the other."""
        while True:
            port = self.listener(host).getsockname()[1]
            if host == "127.0.0.1":
                return port
            with socket.socket() as other, contextlib.suppress(OSError):
                other.bind(("127.0.0.1", port))
                return port

    def test_somebody_at_either_address_keeps_it_from_starting(self):
        """The other program would be sent the passwords of clients that ask for localhost."""
        for host in ["127.0.0.1", "::1"] if has_v6() else ["127.0.0.1"]:
            port = self.port_that_is_free_elsewhere(host)
            self.run_command("serve", "--no-auth", "--port", str(port))
            at = rf"\[{host}\]" if ":" in host else host
            self.expect_one_line(3, f"cannot listen on {at}:{port}: Address already in use: process "
                                    rf"{os.getpid()} \(.*\) listens there; end it, or name another")

    def test_a_second_server_says_who_listens(self):
        self.serve("--no-auth")
        self.run_command("serve", "--no-auth", "--port", str(self.port))
        self.expect_one_line(3, f"cannot listen on 127.0.0.1:{self.port}: Address already in use: "
                                rf"process {self.process.pid} \(hddtest\) listens there; end it, or "
                                "name another port with --port")


class Told(Listen):
    def test_addresses(self):
        for arguments, hosts in [(["--listen", "127.0.0.1"], ["127.0.0.1"]),
                                 (["--listen", "127.0.0.2", "--listen=127.0.0.1"],
                                  ["127.0.0.2", "127.0.0.1"])]:
            self.serve("--no-auth", *arguments)
            self.assertEqual(self.urls, [f"http://{host}:{self.port}" for host in hosts])
            for url in self.urls:
                self.assertEqual(self.ask_at(url), 200)
            self.assertEqual(self.end(), 0)

    def test_one_value_for_each_option(self):
        self.run_command("serve", "--no-auth", "--listen", "127.0.0.1", "127.0.0.2")
        self.expect_one_line(3, "127.0.0.2")

    def test_one_address_that_others_reach_is_enough_to_refuse(self):
        self.run_command("serve", "--no-auth", "--port", "0", "--listen", "127.0.0.1", "--listen",
                         "0.0.0.0")
        self.expect_one_line(3, "loopback addresses only; use --users FILE for 0.0.0.0")

    def test_names_by_which_it_is_asked(self):
        self.serve("--no-auth")
        self.assertEqual(self.ask_at(self.url, host="disks.example"), 421)
        self.end()
        self.serve("--no-auth", "--host", "other.example", "--host", "disks.example")
        self.assertEqual(self.ask_at(self.url, host="disks.example"), 200)
        self.end()
        self.run_command("serve", "--no-auth", "--port", "0", "--host", "no name")
        self.expect_one_line(3, "no name")


class HandedOver(Listen):
    def serve_on(self, *listeners, arguments=(), **environment):
        """The command and its environment with which the server gets these sockets."""
        numbers = [fcntl.fcntl(listener.fileno(), fcntl.F_DUPFD, 100) for listener in listeners]
        for number in numbers:
            self.addCleanup(os.close, number)
        command = [sys.executable, "-c", HAND_OVER, str(len(numbers)), *map(str, numbers), PROGRAM,
                   "serve", "--no-auth", *arguments]
        return command, {"pass_fds": numbers, "env": dict(self.environment, **environment)}

    def test_sockets_are_used_and_outlive_the_server(self):
        listeners = [self.listener("127.0.0.1"), self.listener("127.0.0.2")]
        urls = ["http://{}:{}".format(*listener.getsockname()) for listener in listeners]
        command, how = self.serve_on(*listeners)
        self.start(command, **how)
        self.assertEqual(self.urls, urls)
        for url in urls:
            self.assertEqual(self.ask_at(url), 200)
        self.assertEqual(self.end(), 0)
        # A client that comes while there is no server waits for the next one.
        with socket.create_connection(listeners[0].getsockname(), timeout=60) as early:
            early.sendall(b"GET / HTTP/1.1\r\nHost: localhost\r\n\r\n")
            self.start(command, **how)
            self.assertEqual(early.recv(12), b"HTTP/1.1 405")

    def test_children_know_nothing_of_them(self):
        self.smartctl.write_text(f"#!/bin/sh\nexport -p > '{self.folder}/new'\n"
                                 f"mv '{self.folder}/new' '{self.folder}/variables'\n")
        command, how = self.serve_on(self.listener("127.0.0.1"))
        self.start(command, **how)
        self.send(self.connect(), run_of("/dev/fake"))
        self.wait_for((self.folder / "variables").exists, "smartctl is never called")
        self.assertIn("PATH=", (self.folder / "variables").read_text())
        self.assertNotIn("LISTEN_", (self.folder / "variables").read_text())
        flags = pathlib.Path(f"/proc/{self.process.pid}/fdinfo/3").read_text()
        self.assertRegex(flags, r"flags:\t02\d*\n")  # O_CLOEXEC

    def refused(self, *listeners, arguments=(), says):
        command, how = self.serve_on(*listeners, arguments=arguments)
        done = subprocess.run(command, capture_output=True, text=True, cwd=self.folder, timeout=60,
                              **how)
        self.assertEqual((done.stdout, done.returncode), ("", 3))
        self.assertRegex(done.stderr, rf"\Ahddtest: [^\n]*{says}[^\n]*\n\Z")

    def test_their_addresses_are_held_to_the_rules(self):
        self.refused(self.listener("127.0.0.1"), self.listener("0.0.0.0"),
                     says="loopback addresses only; use --users FILE for 0.0.0.0")

    def test_what_is_no_listener_is_refused(self):
        unbound = socket.socket()
        self.addCleanup(unbound.close)
        self.refused(self.listener("127.0.0.1"), unbound,
                     says="descriptor 4, which was handed over, is no listening TCP socket")

    def test_own_addresses_exclude_them(self):
        for arguments in (["--listen", "127.0.0.1"], ["--port", "0"]):
            self.refused(self.listener("127.0.0.1"), arguments=arguments,
                         says="--listen and --port exclude sockets that are handed over")


if __name__ == "__main__":
    main()

"""The server as its administrator and its clients meet it.

    serve_test.py PROGRAM
"""

import http.client
import os
import pathlib
import random
import re
import select
import signal
import socket
import subprocess
import sys
import time

from command_case import PROGRAM, main
from server_case import (RECORD, SANITIZED, SERVICE, SPACE, ServerTest, enumeration, instance_name,
                         run_of)


class Serve(ServerTest):
    def test_answers_and_ends_in_order(self):
        self.serve("--no-auth")
        self.assertEqual(self.count(SERVICE), 1)
        threads = pathlib.Path(f"/proc/{self.process.pid}/task").glob("*/comm")
        self.assertIn("idle_watch\n", [thread.read_text() for thread in threads])
        self.assertEqual(self.end(), 0)
        self.assertEqual((self.output, self.errors), ("", ""))

    def test_run_keeps_its_connection_while_others_ask(self):
        self.serve("--no-auth", POLLS="1")
        running = self.begin_run()
        self.assertEqual(self.count(SERVICE), 1)
        self.assertEqual(self.count(RECORD), 0)
        reply = running.getresponse()
        self.assertIn("HDDTest_ConcreteJob001", reply.read().decode())
        self.assertEqual(self.count(RECORD, connection=running), 1)

    def test_settings_of_a_job_are_taken_in_both_spellings(self):
        self.serve("--no-auth")
        keys = instance_name("KAVRO_HDDTest_JobSettingData", {"InstanceID": "x"})
        for name, wanted in (("JobSettings", 'CODE="4"'), ("JobSetting", 'CODE="4"'),
                             ("Settings", 'CODE="4"')):
            given = (f'<PARAMVALUE NAME="{name}" PARAMTYPE="reference"><VALUE.REFERENCE>{keys}'
                     "</VALUE.REFERENCE></PARAMVALUE></METHODCALL>")
            status, text = self.ask(run_of("").replace("</METHODCALL>", given))
            self.assertEqual(status, 200)
            self.assertEqual(wanted in text, name == "Settings", text)

    def test_client_that_goes_away_leaves_its_record(self):
        self.serve("--no-auth", POLLS="1")
        self.begin_run().close()
        self.wait_for(lambda: self.count(RECORD) == 1, "there is no record")
        self.assertEqual(self.end(), 0)

    def test_end_does_not_wait_for_a_run(self):
        self.serve("--no-auth", POLLS="100")
        self.begin_run()
        begun = time.monotonic()
        self.assertEqual(self.end(), 0)
        self.assertLess(time.monotonic() - begun, 60)
        self.assertRegex(self.errors, r"\Ahddtest: ended with 1 request in work; drives go on.*\n\Z")

    def begin_run(self, device="/dev/fake"):
        """A connection on which a run is in progress."""
        running = self.connect()
        self.send(running, run_of(device))
        self.wait_for_log("Test is in progress")
        return running

    def ask_for_runs(self, devices):
        """A connection for each, on which its run was asked for."""
        asked = []
        for device in devices:
            asked.append(self.connect())
            self.send(asked[-1], run_of(device))
        return asked

    def answered(self, connections):
        ready, _, _ = select.select([connection.sock for connection in connections], [], [], 0)
        return [connection for connection in connections if connection.sock in ready]

    def test_four_runs_wait_and_more_are_refused(self):
        self.serve("--no-auth", POLLS="100")
        running = self.begin_run()
        asked = self.ask_for_runs(f"/dev/fake{number}" for number in range(10))
        self.wait_for(lambda: len(self.answered(asked)) >= 6, "too many runs wait")
        refused = self.answered(asked)
        for connection in refused:
            text = connection.getresponse().read().decode()
            self.assertRegex(text, r'<ERROR CODE="27" DESCRIPTION="RunDiagnostic for /dev/fake\d was '
                                   'not begun: 4 calls wait for their turn already; try again later"')
        self.assertEqual(self.count(SERVICE), 1)
        waiting = [connection for connection in asked if connection not in refused]
        self.assertEqual((len(waiting), self.answered(waiting)), (4, []))

        self.assertEqual(self.end(), 0)
        for connection in waiting:
            self.assertIn('<ERROR CODE="28" ', connection.getresponse().read().decode())
        with self.assertRaises((http.client.HTTPException, OSError)):
            running.getresponse()
        self.assertIn("ended with 1 request in work; ", self.errors)
        self.assertEqual(self.log.read_text().count("was not begun: the server is shutting down"), 4)

    def test_one_run_of_a_drive_waits(self):
        self.serve("--no-auth", POLLS="100")
        self.begin_run()
        asked = self.ask_for_runs(3 * ["/dev/fake"])
        self.wait_for(lambda: len(self.answered(asked)) >= 2, "too many runs wait")
        refused = self.answered(asked)
        self.assertEqual(len(refused), 2)
        for connection in refused:
            self.assertIn('<ERROR CODE="27" DESCRIPTION="RunDiagnostic for /dev/fake was not begun: '
                          'another call waits for the same ManagedElement already"',
                          connection.getresponse().read().decode())

    def test_calls_that_test_nothing_do_not_wait(self):
        self.serve("--no-auth", POLLS="100")
        self.begin_run()
        for device in ("", "-t", 4097 * "x"):
            status, text = self.ask(run_of(device))
            self.assertIn("<RETURNVALUE", text, status)
            self.assertNotIn("ConcreteJob", text)
        status, text = self.ask(run_of("/dev/fake", service="Hard Drive: Other Test"))
        self.assertIn("<RETURNVALUE", text, status)
        self.assertEqual(self.log.read_text().count("ResetResults -- Entering"), 1)

    def test_warns_of_a_message_file_with_faults(self):
        self.serve("--no-auth", "--data", str(self.data_folder(["passed", "aborted"])))
        self.assertEqual(self.end(), 0)
        self.assertRegex(self.errors, r'\Ahddtest: .*hddtest\.msg\.xml: there is no '
                                      r'<result state="failed">.*; mend it or reinstall.*\n\Z')

    def test_interrupt_ends_it_too(self):
        self.serve("--no-auth")
        self.assertEqual(self.end(signal.SIGINT), 0)

    def test_broken_pipe_does_not(self):
        self.serve("--no-auth")
        self.process.send_signal(signal.SIGPIPE)
        self.assertEqual(self.count(SERVICE), 1)

    def test_refuses_to_be_open(self):
        self.make_user()
        tls = self.make_certificate()
        users = ["--users", "users"]
        for name, copy in [("users", "open"), ("key.pem", "open.pem")]:
            (self.folder / copy).write_text((self.folder / name).read_text())
            (self.folder / copy).chmod(0o644)
        for arguments, says in [
                ([], "say who may use the server: --users FILE .* or --no-auth"),
                (["--no-auth", *users], "exclude each other"),
                (["--no-auth", "--listen", "0.0.0.0"], "loopback addresses only"),
                (["--no-auth", "--listen", "::", *tls], "loopback addresses only"),
                ([*users, "--listen", "0.0.0.0"], "--cert and --key"),
                ([*users, "--cert", "cert.pem"], "belong together"),
                (["--users", "none"], "users file .*none: No such file.*hddtest passwd"),
                ([*users, "--cert", "none", "--key", "key.pem"], "cannot read .*none: No such"),
                ([*users, "--cert", "cert.pem", "--key", "cert.pem"], "no private key in .*cert.pem; name"),
                ([*users, "--cert", "cert.pem", "--key", "open.pem"], "open.pem .*; chmod 600 it"),
                (["--users", "open"], "open: others may read or write it; chmod 600 it"),
                (["--users", "/etc/passwd"], "/etc/passwd: it is no users file; name a file"),
                (["--no-auth", "--listen", "no.such.invalid"], "cannot listen on")]:
            self.run_command("serve", "--port", "0", *arguments)
            self.expect_one_line(3, says)

    def test_tells_its_supervisor(self):
        for name in [str(self.folder / "notify"), f"@hddtest-{os.getpid()}"]:
            with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as listener:
                listener.settimeout(60)
                listener.bind(name.replace("@", "\0"))
                self.serve("--no-auth", NOTIFY_SOCKET=name)
                self.assertEqual(listener.recv(100), b"READY=1")
                self.end()
                self.assertEqual(listener.recv(100), b"STOPPING=1")

    def test_malformed_requests_leave_it_as_it_was(self):
        self.serve("--no-auth")
        for sent in [b"\0" * 1000, b"POST /cimom HTTP/1.1\r\nHost: localhost\r\nContent-Length: 9\r\n\r\n<",
                     b"POST /cimom HTTP/1.1\r\nHost: localhost\r\nContent-Length: 4\r\n\r\n\0\0\0\0"]:
            with socket.create_connection(("127.0.0.1", self.port)) as client:
                client.sendall(sent)
        status, text = self.ask(enumeration(SERVICE).replace("</CIM>", ""))
        self.assertEqual(status, 400, text)
        self.assertEqual(self.count(SERVICE), 1)

    def test_mutations_leave_it_as_it_was(self):
        """Damaged requests, header and body, each on a connection that is closed at once, or when
        the server has said something; afterwards it has no more descriptors, threads and memory
        than before."""
        self.serve("--no-auth")
        body = enumeration(SERVICE).encode()
        good = (b"POST /cimom HTTP/1.1\r\nHost: localhost\r\nCIMOperation: MethodCall\r\n"
                b"CIMMethod: EnumerateInstances\r\nCIMObject: root%2Fcimv2\r\nAccept: text/xml\r\n"
                b'Content-Type: application/xml; charset="utf-8"\r\nContent-Length: ')
        good += b"%d\r\n\r\n" % len(body) + body
        statuses = self.send_mutated(good, range(50))  # everything is loaded and warm
        before = self.resources()
        statuses |= self.send_mutated(good, range(50, 350))
        self.assertLessEqual({200, 400}, statuses)
        self.assertLessEqual(statuses, {None, 200, 400, 404, 405, 406, 413, 415, 421, 431,
                                        501, 505})
        self.wait_for(lambda: all(now <= then for now, then in zip(self.resources(), before)),
                      f"{before} before")
        self.assertEqual(self.count(SERVICE), 1)

    def send_mutated(self, good, seeds):
        pieces = [b"", b"\0", b"\r\n", b"\r\n\r\n", b" ", b":", b"\xff", b"-1", b"%00", b"%", b"<",
                  b"99999999999999999999", b"Transfer-Encoding: chunked\r\n", b"A" * 70000,
                  b"Expect: 100-continue\r\n", b"Content-Length: 3\r\n", b"HTTP/1.0", b"M-"]
        statuses = set()
        for seed in seeds:
            some = random.Random(seed)  # the same each time
            sent = good
            for _ in range(some.randint(1, 3)):
                # The header is shorter than the body, and has more to break.
                end = good.index(b"\r\n\r\n") if some.random() < 0.7 else len(sent)
                at = some.randrange(end)
                sent = sent[:at] + some.choice(pieces) + sent[at + some.choice([0, 0, 1, 5, 40]):]
            with socket.create_connection(("127.0.0.1", self.port), timeout=60) as client:
                try:
                    client.sendall(sent)
                    if some.random() < 0.8:
                        client.shutdown(socket.SHUT_WR)
                    client.settimeout(0.1)  # nothing may come: the request looks unfinished
                    reply = client.recv(1000) if some.random() < 0.8 else b""
                except OSError:  # it was closed while all that was sent
                    reply = b""
            found = re.match(rb"HTTP/1\.[01] (\d{3}) ", reply)
            self.assertTrue(found or not reply, reply)
            statuses.add(int(found[1]) if found else None)
        return statuses

    def send_batch(self, connection, calls):
        connection.request("POST", "/cimom", (
            '<?xml version="1.0" encoding="utf-8"?><CIM CIMVERSION="2.0" DTDVERSION="2.0">'
            f'<MESSAGE ID="1" PROTOCOLVERSION="1.0"><MULTIREQ>{calls}</MULTIREQ>'
            "</MESSAGE></CIM>"), {"Content-Type": "application/xml", "CIMBatch": "",
                                  "CIMOperation": "MethodCall"})

    def has_come_to_rest(self):
        def used():
            return pathlib.Path(f"/proc/{self.process.pid}/stat").read_text().split()[13:15]
        before = used()
        time.sleep(0.2)
        return used() == before

    def test_slow_reader_of_a_provider_holds_nobody_up(self):
        """The kernel keeps a few MiB for the reader; then the provider waits for it, in the middle of
        one of the enumerations."""
        drives, times = 60, 75
        self.machine(*[f"sd{number}" for number in range(drives)])
        self.serve("--no-auth")
        self.assertEqual(self.count("KAVRO_DiskDrive"), drives)  # everything is loaded and warm
        before = self.memory("VmHWM")
        slow = self.connect()
        slow.sock = socket.socket()
        slow.sock.settimeout(60)
        slow.sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 16)
        slow.sock.connect(("127.0.0.1", self.port))
        (call,) = re.findall("<SIMPLEREQ>.*</SIMPLEREQ>", enumeration("KAVRO_DiskDrive"))
        self.send_batch(slow, call * times)
        reply = slow.getresponse()
        self.assertEqual(reply.status, 200)
        self.wait_for(self.has_come_to_rest, "the server never waits for the reader")
        for _ in range(3):
            self.assertEqual(self.count("KAVRO_DiskDrive"), drives)
        grown = self.memory("VmHWM") - before
        text = reply.read()
        self.assertEqual(text.count(b"<VALUE.NAMEDINSTANCE>"), drives * times)
        self.assertGreater(len(text), 16 << 20)
        if not SANITIZED:
            self.assertLess(grown, len(text) / (1 << 20) / 4)

    def test_long_reply_is_never_in_memory_as_a_whole(self):
        if SANITIZED:
            self.skipTest("memory is the sanitizer's")
        self.serve("--no-auth")
        call = (f'<SIMPLEREQ><IMETHODCALL NAME="EnumerateClasses"><LOCALNAMESPACEPATH>{SPACE}'
                '</LOCALNAMESPACEPATH><IPARAMVALUE NAME="DeepInheritance"><VALUE>TRUE</VALUE>'
                '</IPARAMVALUE><IPARAMVALUE NAME="LocalOnly"><VALUE>FALSE</VALUE></IPARAMVALUE>'
                "</IMETHODCALL></SIMPLEREQ>")
        def ask(times):
            connection = self.connect()
            self.send_batch(connection, call * times)
            reply = connection.getresponse()
            self.assertEqual(reply.status, 200)
            size = 0
            while piece := reply.read(1 << 20):
                size += len(piece)
            return size / (1 << 20)
        ask(2)
        before = self.memory("VmHWM")
        size = ask(100)
        self.assertGreater(size, 30)
        self.assertLess(self.memory("VmHWM") - before, size / 4)


class LogIn(ServerTest):
    def test_users(self):
        self.make_user()
        self.serve("--users", "users")
        self.assertEqual(self.count(SERVICE, user="operator:secret"), 1)
        for user in [None, "operator:wrong", "other:secret"]:
            self.assertEqual(self.ask(enumeration(SERVICE), user)[0], 401)
        self.wait_for_log("refused a log-in of user 'other' from 127.0.0.1")

    def test_users_are_read_again_on_request(self):
        self.make_user()
        self.serve("--users", "users")
        self.make_user("second", "two")
        self.assertEqual(self.ask(enumeration(SERVICE), "second:two")[0], 401)
        self.process.send_signal(signal.SIGHUP)
        self.wait_for_log("read the users file")
        self.assertEqual(self.count(SERVICE, user="second:two"), 1)
        (self.folder / "users").chmod(0o644)
        self.process.send_signal(signal.SIGHUP)
        self.wait_for_log("the users stay as they were")
        self.assertEqual(self.count(SERVICE, user="second:two"), 1)
        self.end()
        self.assertRegex(self.errors, r"\Ahddtest: .*chmod 600.*stay as they were\n\Z")

    def test_log_is_followed_when_it_is_moved_away(self):
        self.serve("--no-auth")
        self.wait_for_log("listening on")
        self.log.rename(self.folder / "log.1")
        self.process.send_signal(signal.SIGHUP)

        def shows_what_is_asked():
            self.count(SERVICE)
            return self.log.exists() and SERVICE in self.log.read_text(errors="replace")
        self.wait_for(shows_what_is_asked, "no line goes to the file that has the name now")


class Documentation(ServerTest):
    def test_client_of_the_documentation(self):
        page = pathlib.Path(__file__).parent.parent / "docs/clients.md"
        (code,) = re.findall(r"```python\n(.*?)```", page.read_text(), re.DOTALL)
        self.machine("sda", "sdb", usb=["sdb"])  # the client leaves out what cannot be tested
        self.make_user()
        self.serve("--users", "users")
        done = subprocess.run([sys.executable, "-c", code.replace("5988", str(self.port))],
                              capture_output=True, text=True, timeout=60)
        self.assertEqual(done.stderr, "")
        self.assertTrue(done.stdout.startswith("/dev/sda\n/dev/sda HDST-000: "), done.stdout)
        self.assertNotIn("/dev/sdb", done.stdout)


if __name__ == "__main__":
    main()

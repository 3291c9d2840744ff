"""Texts of requests that would be commands, options, or fields of a reply.

    injection_test.py PROGRAM
"""

import re
import xml.etree.ElementTree
from xml.sax.saxutils import escape, quoteattr

from attack_case import AttackTest
from command_case import STAND_IN, main
from server_case import SERVICE, enumeration, run_of

# Each command that is carried out leaves a file.
DEVICES = ["/dev/a;touch sign", "/dev/a$(touch sign)", "/dev/a`touch sign`", "/dev/a|touch sign",
           "/dev/a&touch sign&", "/dev/a\ntouch sign\n", "/dev/a'; touch sign; '",
           '/dev/a"; touch sign; "', "/dev/a > sign", "/dev/a -t long", "$IFS/dev/a", "/dev/*", "~root",
           "../../dev/a", "/dev/\u202ea", "@sign", "%s%n"]
# These begin like options.
OPTIONS = ["-t", "--test=long", "-", "-o/dev/a"]


def as_text(value):
    return escape(value, {"\n": "&#10;"}).encode("ascii", "xmlcharrefreplace").decode()


class Injection(AttackTest):
    def arguments(self):
        """The arguments of each call of smartctl."""
        calls = self.folder / "calls"
        found = calls.read_text() if calls.exists() else ""
        return [call.split("\0")[:-1] for call in found.split("\0\n")[:-1]]

    def test_device_is_one_argument_and_no_option(self):
        self.smartctl.write_text(STAND_IN.replace(
            "\n", f"\n{{ printf '%s\\0' \"$@\" end; printf '\\0\\n'; }} >> {self.folder}/calls\n", 1))
        self.serve("--no-auth", SMART="Unavailable")
        for device in DEVICES + OPTIONS:
            status, text = self.ask(run_of(as_text(device)))
            self.assertEqual(status, 200, text)
            self.assertIn("<RETURNVALUE", text)
        # The module asks for each of them, and the history only for what is a path.
        for_history = [call for call in self.arguments() if call[0].startswith("--json")]
        of_module = [call for call in self.arguments() if call not in for_history]
        paths = [device for device in DEVICES if device.startswith("/")]
        for calls, devices in [(of_module, DEVICES), (for_history, paths)]:
            self.assertEqual([call[-2] for call in calls], devices)
            self.assertEqual(len({len(call) for call in calls}), 1)
        self.assertFalse((self.folder / "sign").exists())
        self.assertEqual(self.count(SERVICE), 1)

    def test_names_of_block_devices_reach_no_shell(self):
        self.machine("sda$(touch sign)", "sdb;touch sign", "sdc`touch sign`", "sdd")
        self.serve("--no-auth")
        self.assertEqual(self.count("KAVRO_DiskDrive"), 1)
        self.assertEqual(self.count("KAVRO_HDDTest_AvailableDiagnosticService"), 1)
        self.assertFalse((self.folder / "sign").exists())

    def test_texts_of_requests_stay_texts_in_replies(self):
        self.serve("--no-auth")
        breaks = "x\"'><ERROR CODE=\"1\"/>&\r\n\r\nHTTP/1.1 200 OK\r\nX-Injected: 1\r\n\r\n"
        hostile = quoteattr(breaks, {"\r": "&#13;", "\n": "&#10;"})
        for body, where in [(enumeration(SERVICE).replace('ID="1"', f"ID={hostile}"), "ID"),
                            (enumeration(SERVICE).replace(f'NAME="{SERVICE}"', f"NAME={hostile}"),
                             "NAME")]:
            with self.subTest(where):
                connection = self.connect()
                self.send(connection, body)
                reply = connection.getresponse()
                document = xml.etree.ElementTree.fromstring(reply.read())
                self.assertIsNone(reply.getheader("X-Injected"))
                message = document.find("MESSAGE")
                self.assertEqual(message.get("ID"), breaks if where == "ID" else "1")
                self.assertEqual(len(list(document.iter("ERROR"))), 0 if where == "ID" else 1)
                self.assertEqual(self.count(SERVICE, connection=connection), 1)

    def test_fields_of_requests_stay_out_of_replies(self):
        self.serve("--no-auth")
        body = enumeration(SERVICE).encode()
        for field in [b"CIMObject: root%2Fcimv2%0d%0aX-Injected:%201",
                      b"CIMMethod: x%0d%0a%0d%0aX-Injected: 1", b"CIMProtocolVersion: 1.0%0d%0aX",
                      b"CIMOperation: MethodCall\xe2\x80\xa8X-Injected: 1",
                      b"Man: http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=73%0d%0aX-Injected: 1"]:
            with self.subTest(field):
                client = self.open()
                self.send_pieces(client, b"M-POST" if field.startswith(b"Man") else b"POST",
                                 b" /cimom HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n" + field
                                 + b"\r\nContent-Length: %d\r\n\r\n" % len(body) + body)
                received = self.until_closed(client)
                self.assertRegex(received, rb"\AHTTP/1\.1 (400|510) ")
                self.assertNotIn(b"X-Injected", received)
                self.assertEqual(len(re.findall(rb"HTTP/1\.1 ", received)), 1)


if __name__ == "__main__":
    main()

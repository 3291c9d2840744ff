"""Web pages whose name is made to mean this server's address, so that a browser asks it for them.

    rebinding_test.py PROGRAM
"""

import base64
import re
import socket

from attack_case import AttackTest
from command_case import main
from server_case import SERVICE, enumeration

LOG_IN = "Authorization: Basic " + base64.b64encode(b"operator:secret").decode() + "\r\n"


class Rebinding(AttackTest):
    def status(self, host, method="POST", log_in=LOG_IN):
        body = enumeration(SERVICE)
        client = self.open()
        self.send_pieces(client, (
            f"{method} /cimom HTTP/1.1\r\nHost: {host}\r\nConnection: close\r\n{log_in}"
            "CIMOperation: MethodCall\r\nCIMMethod: EnumerateInstances\r\nCIMObject: root%2Fcimv2\r\n"
            f"Content-Type: application/xml\r\nContent-Length: {len(body)}\r\n\r\n{body}").encode())
        self.received = self.until_closed(client).decode()
        return int(re.match(r"HTTP/1\.1 (\d{3}) ", self.received)[1])

    def test_other_names_are_not_answered(self):
        self.serve_users()
        for host in ["rebound.example", f"rebound.example:{self.port}", "127.0.0.1.rebound.example",
                     "localhost.rebound.example", "192.0.2.1", "0.0.0.0", "[2001:db8::1]", "",
                     "localhost, rebound.example", "rebound.example localhost"]:
            for method in ["POST", "OPTIONS"]:
                for log_in in [LOG_IN, "", "Authorization: Basic b3BlcmF0b3I6eA==\r\n"]:
                    self.assertEqual(self.status(host, method, log_in), 421, host)
                    self.assertNotIn("WWW-Authenticate", self.received)
        self.assertIn("--host", self.received, "it says how a name is added")
        self.assertNotIn("refused a log-in", self.log.read_text())

    def test_own_names_are(self):
        self.serve_users()
        for host in ["localhost", "LOCALHOST.", f"127.0.0.1:{self.port}", "127.0.0.1:1", "[::1]:5988",
                     socket.gethostname()]:
            self.assertEqual(self.status(host), 200, host)


if __name__ == "__main__":
    main()

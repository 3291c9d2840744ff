"""Log-ins under names that look like something else in the log.

    log_names_test.py PROGRAM
"""

import base64
import re

from attack_case import AttackTest
from command_case import CONTROL, main

# Not more than may fail at once.
NAMES = ["root' from 10.0.0.1", "a\n2026-01-01T00:00:00.000000Z 1 1 refused a log-in of user 'b' from ::1",
         "\u202egnp\u2069\u200f\u061c\x1b[2J\u2028", b"\xff\xc3 % \\ \r"]


class LogNames(AttackTest):
    def test_no_name_looks_like_another_line(self):
        self.serve_users()
        clients = []
        for name in NAMES:
            user = name if isinstance(name, bytes) else name.encode()
            log_in = base64.b64encode(user + b":wrong")
            clients.append(self.open())
            self.send_pieces(clients[-1], b"POST / HTTP/1.1\r\nHost: localhost\r\nAuthorization: Basic "
                             + log_in + b"\r\nContent-Length: 0\r\n\r\n")
        whole = re.compile(r"\S+Z 1 \d+ refused a log-in of user '[^']*' from 127\.0\.0\.1")
        def lines():
            return self.log.read_bytes().decode().split("\n")
        self.wait_for(lambda: sum("refused" in line for line in lines()) >= len(NAMES),
                      "the log does not show them")
        refused = [line for line in lines() if "log-in" in line]
        self.assertEqual(len(refused), len(NAMES))
        for line in refused:
            self.assertRegex(line, whole)
            self.assertEqual(whole.fullmatch(line)[0].count("' from "), 1)
        self.assertNotRegex("\n".join(lines()), CONTROL)


if __name__ == "__main__":
    main()

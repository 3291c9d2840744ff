"""What the tests of attacks share: the server in a folder of its own, and bare sockets to it.

What the server holds (descriptors, threads, memory) is told by resources() and memory() of the
server's tests. The first argument of the test program is the command's path.
"""

import os
import pathlib
import re
import signal
import socket
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "cli"))
from server_case import ServerTest

# An attack that the server does not end within this many seconds has succeeded. The server's limits
# for clients that have not logged in are longer: it has to notice the attack without them.
PATIENCE = 8


class AttackTest(ServerTest):
    def serve_users(self, *arguments, **environment):
        """Starts the server with one user, operator, whose password is secret."""
        self.make_user()
        return self.serve("--users", "users", *arguments, **environment)

    def replace_users(self, text):
        """Writes the users file as 'hddtest passwd' does; the server does not read it before a reload."""
        new = self.folder / "new"
        new.write_text(text)
        new.chmod(0o600)
        os.rename(new, self.folder / "users")

    def lines_with(self, text):
        return self.log.read_text().count(text)

    def reload(self, says):
        before = self.lines_with(says)
        self.process.send_signal(signal.SIGHUP)
        self.wait_for(lambda: self.lines_with(says) > before, says)

    def open(self):
        """A connection of its own."""
        client = socket.create_connection(("127.0.0.1", self.port), timeout=PATIENCE)
        client.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.addCleanup(client.close)
        return client

    def send_pieces(self, client, *pieces):
        """Sends them one after the other; the server may have closed meanwhile."""
        try:
            for piece in pieces:
                client.sendall(piece)
        except (BrokenPipeError, ConnectionResetError):
            pass

    def until_closed(self, client):
        """All that the server still sends, until it closes the connection."""
        received = b""
        try:
            while piece := client.recv(65536):
                received += piece
        except ConnectionResetError:
            pass
        except TimeoutError:
            self.fail(f"the server does not close; it has sent {received[:2000]}")
        finally:
            client.close()
        return received

    def replies(self, received):
        """The status, head and body of each reply in the bytes, which hold short replies only."""
        found = []
        while received:
            head, _, rest = received.partition(b"\r\n\r\n")
            status = re.match(rb"HTTP/1\.1 (\d{3}) ", head)
            length = re.search(rb"(?im)^content-length: *(\d+)\r?$", head)
            self.assertTrue(status and length, received[:2000])
            size = int(length[1])
            found.append((int(status[1]), head.decode(), rest[:size].decode()))
            received = rest[size:]
        return found

#!/usr/bin/env python3
"""What the server costs: time to the first answer, requests per second and 99th-percentile latency
for enumerations of completion records with 1, 8 and 64 connections, memory, and bytes on the wire.

    serve.py PROGRAM [RECORDS...]        default: 1 100 10000 records; wrk must be installed

The records come from real runs with a stand-in smartctl whose tests are done at once; with the
tests built, one that starts fast. The log goes to a file, as in use, unless HVX_LOG_LEVEL says
otherwise.
"""

import http.client
import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "cli"))
from command_case import BUILD  # noqa: E402
from server_case import RECORD, ServerTest, enumeration, run_of  # noqa: E402

SECONDS = 5
CONNECTIONS = [1, 8, 64]
LUA = """wrk.method = "POST"
wrk.headers["Content-Type"] = 'application/xml; charset="utf-8"'
wrk.headers["CIMOperation"] = "MethodCall"
wrk.headers["CIMMethod"] = "EnumerateInstances"
wrk.headers["CIMObject"] = "root%2Fcimv2"
wrk.body = [[BODY]]
"""


class Server(ServerTest):
    def runTest(self):
        pass

    def memory(self, what):
        text = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return int(re.search(rf"{what}:\s+(\d+) kB", text)[1])

    def make_records(self, number):
        connection = self.connect()
        for device in range(number):
            status, text = self.ask(run_of(f"/dev/sd{device}"), connection=connection)
            assert status == 200 and "<ERROR" not in text, text
        connection.close()

    def wire_bytes(self, body):
        """The bytes of one reply with its headers and chunk borders."""
        request = (f"POST /cimom HTTP/1.1\r\nHost: x\r\nConnection: close\r\n"
                   f"Content-Type: application/xml\r\nCIMOperation: MethodCall\r\n"
                   f"CIMMethod: EnumerateInstances\r\nCIMObject: root%2Fcimv2\r\n"
                   f"Content-Length: {len(body)}\r\n\r\n{body}")
        with socket.create_connection(("127.0.0.1", self.port)) as connection:
            connection.sendall(request.encode())
            size = 0
            while piece := connection.recv(1 << 20):
                size += len(piece)
            return size

    def load(self, body, connections):
        script = self.folder / "request.lua"
        script.write_text(LUA.replace("BODY", body))
        text = subprocess.run(
            ["wrk", "-t", str(min(2, connections)), "-c", str(connections), "-d", f"{SECONDS}s",
             "--timeout", "60s", "--latency", "-s", script, f"{self.url}/cimom"],
            capture_output=True, text=True, check=True).stdout
        assert "Non-2xx" not in text and "Socket errors" not in text, text
        return (re.search(r"Requests/sec:\s+(\S+)", text)[1],
                re.search(r"50%\s+(\S+)", text)[1], re.search(r"99%\s+(\d\S+)", text)[1])

    def one_time(self, body, times):
        """Milliseconds of the fastest of some requests on one connection, and of a socket that
        moves as many bytes."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port)
        least = 1e9
        for _ in range(times):
            start = time.perf_counter()
            self.send(connection, body)
            reply = connection.getresponse()
            buffer = bytearray(1 << 20)
            size = 0
            while count := reply.readinto(buffer):
                size += count
            least = min(least, time.perf_counter() - start)
        return least * 1e3, socket_time(size, times) * 1e3


def socket_time(size, times):
    """Seconds that a loopback connection needs for so many bytes, written by another process."""
    with socket.create_server(("127.0.0.1", 0)) as listener:
        if (child := os.fork()) == 0:
            block = bytes(64 << 10)
            with listener.accept()[0] as connection:
                while connection.recv(1):
                    for offset in range(0, size, len(block)):
                        connection.sendall(block[:min(len(block), size - offset)])
            os._exit(0)
        least = 1e9
        with socket.create_connection(listener.getsockname()) as connection:
            buffer = bytearray(1 << 20)
            for _ in range(times):
                start = time.perf_counter()
                connection.sendall(b"x")
                left = size
                while left:
                    left -= connection.recv_into(buffer)
                least = min(least, time.perf_counter() - start)
        os.waitpid(child, 0)
        return least


def first_answer(server):
    least = 1e9
    for _ in range(5):
        start = time.perf_counter()
        server.serve("--no-auth")
        server.count("KAVRO_HDDTest_DiagnosticService")
        least = min(least, time.perf_counter() - start)
        server.end()
    return least


def main():
    numbers = [int(text) for text in sys.argv[2:]] or [1, 100, 10000]
    server = Server()
    server.setUp()
    server.machine()
    fast = BUILD / "test/soak_smartctl"
    if fast.exists():
        shutil.copy(fast, server.smartctl)
    try:
        print(f"start to first answer: {first_answer(server) * 1e3:.1f} ms")
        server.serve("--no-auth")
        server.count("KAVRO_HDDTest_DiagnosticService")
        print(f"idle server: {server.memory('VmRSS')} kB resident")
        body, made = enumeration(RECORD), 0
        print("records   bytes on the wire  one request (socket alone)   connections: "
              "requests/s, median, 99th percentile")
        for number in numbers:
            server.make_records(number - made)
            made = number
            own, alone = server.one_time(body, 20)
            loads = [(connections, *server.load(body, connections)) for connections in CONNECTIONS]
            print(f"{number:7}  {server.wire_bytes(body):18}  {own:8.2f} ms ({alone:.2f} ms)   " +
                  "; ".join(f"{count}: {rate}/s, {median}, {tail}"
                            for count, rate, median, tail in loads), flush=True)
            print(f"         {server.memory('VmRSS')} kB resident, at the peak "
                  f"{server.memory('VmHWM')} kB")
    finally:
        server.doCleanups()


if __name__ == "__main__":
    main()

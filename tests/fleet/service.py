"""A program that listens on loopback at a port of its own, and ends with the test."""

import re
import subprocess
import threading


class Service:
    """The programs of Prometheus: told to listen at port 0, they log the address that they got. What is to
    be called at the end is handed to add_cleanup."""

    def __init__(self, add_cleanup, words, folder):
        self.said = ""
        self.listens = threading.Event()
        self.address = None
        self.process = subprocess.Popen(words, cwd=folder, stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        self.reader = threading.Thread(target=self.read)
        self.reader.start()
        add_cleanup(self.end)
        self.listens.wait(60)
        if self.address is None:
            raise AssertionError(self.said)

    def read(self):
        """All that it says, so that it never waits for a reader."""
        for line in self.process.stderr:
            self.said += line
            found = re.search(r'msg="?Listening on"? address=(127\.0\.0\.1:[1-9]\d*)\s', line)
            if found:
                self.address = found[1]
                self.listens.set()
        self.listens.set()

    def end(self):
        self.process.kill()
        self.process.wait()
        self.reader.join()
        self.process.stderr.close()

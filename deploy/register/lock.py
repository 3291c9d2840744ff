"""One run at a time: two would edit the same note, stage and repository."""

import fcntl
import os

from register.machine import complain
from register.notes import FOLDER

LOCK = f"{FOLDER}/lock"


class Lock:
    """Used with `with`: waits until no other run works on this machine. Its file goes at the end,
    and one that a killed run has left does not count."""

    def __init__(self, machine):
        self._machine = machine
        self._made = []

    def __enter__(self):
        while True:
            self._made += self._machine.make_folders(FOLDER)
            path = self._machine.path(LOCK, follow=False)
            try:
                file = os.open(path, os.O_RDWR | os.O_CREAT | os.O_NOFOLLOW, 0o600)
            except FileNotFoundError:
                continue  # the run that ended has just removed the folder
            try:
                fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
            except BlockingIOError:
                complain("note: another hddtest-register runs: waiting for its end")
                fcntl.flock(file, fcntl.LOCK_EX)
            if is_in_place(file, path):
                self._file = file
                return self
            os.close(file)

    def __exit__(self, *_):
        self._machine.remove([LOCK, f"{FOLDER}/", *self._made])
        os.close(self._file)


def is_in_place(file, path):
    try:
        return os.path.samestat(os.fstat(file), os.stat(path, follow_symlinks=False))
    except FileNotFoundError:
        return False

"""The machine that is worked on: its paths, its programs and its units.

A path is named as those who live on the machine name it. With --root the machine is the tree below
that folder, and nothing outside is read or written: links lead where they lead in there. The
machine's programs are those on PATH; they are told the paths as they are from outside.
"""

import errno
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
from dataclasses import dataclass

MOST_LINKS = 40  # as the kernel has it
UNITS = "/etc/systemd/system"


class Failure(Exception):
    """A step failed: the text says what happened and what to do."""


@dataclass
class Answer:
    status: int
    output: str


def told(failure):
    """What went wrong: a Failure says it, an OSError as other programs say it."""
    if not isinstance(failure, OSError) or not failure.strerror:
        return str(failure)
    root = "" if os.geteuid() == 0 else "; run hddtest-register as root"
    return f"{failure.filename}: {failure.strerror}{root}"


def shown(text):
    """Text from outside, without what a terminal would obey."""
    return re.sub(r"[^\t\n -~\xa0-\ud7ff\ue000-\uffff]", lambda found: ascii(found.group())[1:-1],
                  text)


def say(text):
    put(text, sys.stdout)


def complain(text):
    put(f"hddtest-register: {text}", sys.stderr)


def put(text, stream):
    """Prints a line. If the terminal or the reader has gone, the work goes on, or is put back, all the same."""
    if stream is None:
        return
    try:
        print(shown(text), file=stream, flush=True)
    except OSError:
        with open(os.devnull, "wb") as nowhere:
            os.dup2(nowhere.fileno(), stream.fileno())


def have(program):
    return shutil.which(program) is not None


def attempt(*command):
    """Runs a step's program to its end; what it prints is shown."""
    words = [str(word) for word in command]
    say("  " + shlex.join(words))
    # The output is searched for words, so they must not be translated.
    done = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace", check=False,
                          env={**os.environ, "LC_ALL": "C"})
    for line in done.stdout.splitlines():
        say("    " + line)
    return Answer(done.returncode, done.stdout)


class Machine:
    def __init__(self, root):
        self.root = pathlib.Path(os.path.realpath(root or "/"))

    def path(self, name, follow=True):
        """Where the path of this name is. Without follow, a link at its end is not followed."""
        if self.root == pathlib.Path("/"):
            return pathlib.Path(name)
        done, links = [], 0
        rest = [part for part in reversed(str(name).split("/")) if part not in ("", ".")]
        while rest:
            part = rest.pop()
            here = self.root.joinpath(*done, part)
            if part == "..":
                done = done[:-1]
            elif here.is_symlink() and (rest or follow):
                links += 1
                if links > MOST_LINKS:
                    raise OSError(errno.ELOOP, os.strerror(errno.ELOOP), str(here))
                target = os.readlink(here)
                done = [] if target.startswith("/") else done
                rest += [one for one in reversed(target.split("/")) if one not in ("", ".")]
            else:
                done.append(part)
        return self.root.joinpath(*done)

    def name(self, path):
        """The name that this path has on the machine, if it can be seen there."""
        path = pathlib.Path(path)
        return f"/{path.relative_to(self.root)}" if path.is_relative_to(self.root) else str(path)

    def is_there(self, name):
        return os.path.lexists(self.path(name, follow=False))

    def text(self, name):
        """The text of a file; empty where there is none."""
        try:
            return self.path(name).read_text(encoding="utf-8", errors="surrogateescape")
        except FileNotFoundError:
            return ""

    def write(self, name, content, mode=0o644):
        """Writes the whole file or nothing, and never through a link in its place."""
        path = self.path(name, follow=False)
        new = path.with_name(path.name + ".hddtest-new")
        new.unlink(missing_ok=True)
        with open(os.open(new, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600), "wb") as file:
            file.write(content)
            os.fchmod(file.fileno(), mode)
        os.replace(new, path)

    def make_folders(self, name):
        """Makes the folder of this name and those above it; returns the names of the new ones."""
        made = []
        for one in [*reversed(pathlib.PurePosixPath(name).parents), name]:
            if not self.path(one).is_dir():
                self.path(one).mkdir()
                made.append(f"{one}/")
        return made

    def remove(self, names):
        """Removes what hddtest-register made by these names: the files, and the folders (with a
        slash at the end) if they are empty."""
        for name in sorted(names, key=len, reverse=True):
            try:
                if name.endswith("/"):
                    self.path(name, follow=False).rmdir()
                else:
                    self.path(name, follow=False).unlink()
            except OSError as error:
                if error.errno not in (errno.ENOENT, errno.ENOTEMPTY, errno.EEXIST, errno.ENOTDIR):
                    raise

    def folder_with(self, files, folders):
        """The first of the folders that holds all of these files, or nothing."""
        for folder in folders:
            if all(self.path(f"{folder}/{file}").is_file() for file in files):
                return folder
        return None

    def runs(self, program):
        """Whether a process of this name runs."""
        for comm in self.path("/proc").glob("[0-9]*/comm"):
            try:
                if comm.read_text(errors="replace").strip() == program:
                    return True
            except OSError:
                pass  # it has ended
        return False

    def with_systemd(self):
        return self.path("/run/systemd/system").is_dir() and have("systemctl")

    def find_unit(self, given, usual):
        """The unit that was given, else the first of the usual ones that is installed, or none."""
        for name in () if given else usual:
            for folder in (UNITS, "/usr/lib/systemd/system", "/lib/systemd/system"):
                if self.is_there(f"{folder}/{name}.service"):
                    return name
        return given

    def is_active(self, unit):
        return (bool(unit) and self.with_systemd()
                and attempt("systemctl", "--quiet", "is-active", unit).status == 0)


def need(manager, *programs):
    for program in programs:
        if not have(program):
            raise Failure(f"{program} was not found: is {manager} installed, and on PATH?")

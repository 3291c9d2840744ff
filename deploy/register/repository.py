"""sfcb's repository, built anew beside the one that is in use, which it replaces when it is good.

`sfcbrepos -f` moves the old repository away before it compiles, so a fault in anybody's classes
would leave the providers of the whole machine without one.
"""

import os
import pathlib
import re
import shutil
import tempfile

from register.machine import Failure, attempt, complain, say
from register.notes import FOLDER

# A faulty class may leave the exit status 0, so the word error is looked for, but neither in names
# such as CIM_Error.mof nor in a count of none.
NO_ERROR = re.compile(r"(?:^|[^a-z0-9])(?:no|0) errors?", re.IGNORECASE)
ERROR = re.compile(r"(?:^|[^a-z0-9_./-])errors?\.?(?:[^a-z0-9_./-]|$)", re.IGNORECASE)

WORK = ".hddtest-register."
COPIES = f"{FOLDER}/before"
STAGED = "hddtest.mof"
COMPILED = ("classSchemas", "qualifiers")
UNFINISHED = ".hddtest-new"  # of a copy that is being made


def tells_an_error(output):
    return any(ERROR.search(line) and not NO_ERROR.search(line) for line in output.splitlines())


def like(path, other):
    """Gives the path rights and owner of the other one."""
    status = other.stat()
    os.chown(path, status.st_uid, status.st_gid)
    path.chmod(status.st_mode & 0o7777)


class Repository:
    """Used with `with`: a folder of its own in the registration folder, which goes at the end. What
    it holds of the old repository is kept if it could not be put back. What a run that was killed
    had moved away is put back first."""

    def __init__(self, machine, registrations):
        self._folder = machine.path(registrations)
        if not self._folder.is_dir():
            raise Failure(f"{registrations} is no folder: name the one in which sfcb keeps its "
                          "repository with --registrations DIR")
        self._settled = False
        self._left_out = []  # folders of the old repository

    def __enter__(self):
        for left in sorted(self._folder.glob(f"{WORK}*")):
            self._clear_up(left)
        self.work = pathlib.Path(tempfile.mkdtemp(prefix=WORK, dir=self._folder))
        self._new, self._old = self.work / "new", self.work / "old"
        self._new.mkdir()
        self._old.mkdir()
        return self

    def __exit__(self, *_):
        if not self._settled and any(self._old.iterdir()):
            complain(f"{self._old} has what was in {self._folder} before: move it back")
        elif self._settled and self._left_out:
            complain(f"note: nothing that is staged has classes for {', '.join(self._left_out)}: what "
                     f"was kept there is in {self._old} now; remove {self.work} if nobody needs it")
        else:
            shutil.rmtree(self.work)

    def _clear_up(self, left):
        new, old = left / "new", left / "old"
        held = sorted(old.iterdir()) if old.is_dir() and not left.is_symlink() else []
        # With all of the new repository in place, somebody may use it already.
        if not all(os.path.lexists(self._folder / one.name) for one in held):
            for one in held:
                place = self._folder / one.name
                if os.path.lexists(place):
                    place.rename(new / one.name)
                one.rename(place)
            complain(f"note: {self._folder} is put back as it was before a run that was killed: "
                     "see that sfcb runs, since that run may have stopped it")
            held = []
        if held or not is_work(left):
            complain(f"note: {left} is left of a run that was killed, and may hold what was in "
                     f"{self._folder} then: see that sfcb runs, and remove it if nothing is missing")
        else:
            shutil.rmtree(left)

    def build(self, stage, schema, sections=()):
        """Builds the new repository, which has to hold the sections. sfcb may run: what it uses is not touched."""
        say("Building the repository anew, beside the one in use")
        options = ["-f", "-r", self._new, "-s", stage] + (["-c", schema] if schema else [])
        answer = attempt("sfcbrepos", *options)
        if answer.status != 0 or tells_an_error(answer.output) or not self._is_whole(sections):
            raise Failure("the repository could not be built")
        for new in sorted(self._new.iterdir()):
            old = self._folder / new.name
            if old.is_symlink():
                raise Failure(f"{old} is a link, whose place the new repository would take: move "
                              "what it leads to there")

    def _is_whole(self, sections):
        """sfcbrepos can fail without a word and leave a repository of empty folders."""
        files = [path for path in self._new.rglob("*") if path.is_file() and path.stat().st_size]
        register = self._new / "providerRegister"
        if register not in files or files == [register]:
            return False
        lines = {line.strip() for line in register.read_text(errors="replace").splitlines()}
        return lines.issuperset(sections)

    def replace(self, undo):
        """Replaces the old repository while sfcb does not run. Undone if a later step fails, until settle()."""
        say("Replacing the repository")
        for new in sorted(self._new.iterdir()):
            old = self._folder / new.name
            if os.path.lexists(old):
                self._take_over(old, new)
                undo.push(str(old), move, self._old / new.name, old)
                old.rename(self._old / new.name)
            undo.push(str(old), move, old, self._new / new.name)
            new.rename(old)

    def settle(self):
        self._settled = True

    def _take_over(self, old, new):
        """Takes over what the old repository holds besides compiled classes, which are the instances of
        others, and who may read it."""
        like(new, old)
        if not old.is_dir() or not new.is_dir():
            return
        for folder, folders, files in os.walk(old):
            place = new / pathlib.Path(folder).relative_to(old)
            self._left_out += [str(path) for path in (pathlib.Path(folder, name) for name in folders)
                               if not (place / path.name).is_dir() and holds_instances(path)]
            folders[:] = [name for name in folders if (place / name).is_dir()]
            for name in folders:
                like(place / name, pathlib.Path(folder, name))
            for name in files:
                if not os.path.lexists(place / name):
                    shutil.copy2(pathlib.Path(folder, name), place / name, follow_symlinks=False)
                if not (place / name).is_symlink():
                    like(place / name, pathlib.Path(folder, name))


def is_work(folder):
    """Whether the folder holds only what a run makes."""
    return (folder.is_dir() and not folder.is_symlink()
            and {path.name for path in folder.iterdir()} <= {"new", "old", STAGED})


def holds_instances(folder):
    return any(path.name not in COMPILED for path in folder.rglob("*") if not path.is_dir())


def move(path, place):
    """Puts the old repository back, unless it is in its place because a signal came before it was moved."""
    if os.path.lexists(path) and not os.path.lexists(place):
        path.rename(place)


def copy_name(registrations):
    return COPIES + registrations.rstrip("/")


def has_copy(machine, registrations):
    """Keeps the old repository, since the one that would replace it may be broken."""
    return machine.is_there(copy_name(registrations))


def keep_copy(machine, registrations, work):
    """Makes a copy of what was there before the first registration."""
    name = copy_name(registrations)
    say(f"Keeping a copy of {registrations} in {name}")
    machine.make_folders(os.path.dirname(name))
    machine.path(COPIES).chmod(0o700)  # its files get their own modes only later
    source, copy = machine.path(registrations), machine.path(name)
    new = machine.path(name + UNFINISHED)
    if new.exists():  # of a run that was ended
        shutil.rmtree(new)
    shutil.copytree(source, new, symlinks=True, copy_function=copy_file,
                    ignore=lambda folder, names: [one for one in names
                                                  if pathlib.Path(folder, one) == work])
    for folder, folders, _ in os.walk(source):
        folders[:] = [one for one in folders if pathlib.Path(folder, one) != work]
        like(new / pathlib.Path(folder).relative_to(source), pathlib.Path(folder))
    new.rename(copy)


def copy_file(source, target):
    shutil.copy2(source, target)
    like(pathlib.Path(target), pathlib.Path(source))


def drop_copy(machine, registrations):
    """Removes the copy when the registration was taken back, or was not made."""
    name = copy_name(registrations)
    for path in (machine.path(name + end, follow=False) for end in ("", UNFINISHED)):
        if path.is_dir() and not path.is_symlink():
            shutil.rmtree(path)
    machine.remove([f"{one}/" for one in pathlib.PurePosixPath(name).parents
                    if one.is_relative_to(COPIES)])

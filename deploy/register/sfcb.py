"""The registration with sfcb.

The classes and the registration are put into the staging folder, from which sfcbrepos builds the
repository. sfcb is stopped only for the moment in which the new repository takes the old one's
place.
"""

import os
import pathlib
import re
import shlex

from register.machine import Failure, attempt, complain, have, need, say, told
from register.notes import BEGUN, LEAVING, REGISTERED, Registration
from register.repository import STAGED, Repository, drop_copy, has_copy, keep_copy
from register.undo import Undo

NAME_SPACE = "root/cimv2"
CONFIGURATION = "/etc/sfcb/sfcb.cfg"
REGISTRATIONS = "/var/lib/sfcb/registration"
USUAL_UNITS = ("sblim-sfcb", "sfcb")
SERVER = "sfcbd"
LINK = "/hddtest"  # sfcb changes to / when it starts, so the texts have to be below that


class Sfcb:
    def __init__(self, machine, notes, data, options):
        self._machine = machine
        self._notes = notes
        self._data = data
        self._options = options

    # Registering.

    def register(self):
        need("sfcb", "sfcbstage", "sfcbrepos")
        wanted = Registration("sfcb", self._places(), BEGUN)
        stage, registrations = wanted.place, wanted.parts["registrations"]
        if not self._machine.path(f"{stage}/default.reg").is_file():
            raise Failure(f"{stage} has no default.reg, so it is no staging folder of sfcb: name "
                          "the right one with --stage DIR")
        wanted.made = sorted({path for one in self._notes.of("sfcb", stage)
                              for path in one.made or self._planned(stage)})
        unit = self._machine.find_unit(wanted.parts["unit"], USUAL_UNITS)
        active = self._machine.is_active(unit)
        if not active and self._machine.runs(SERVER):
            raise Failure("sfcb runs: stop it first, or name its unit with --unit")
        for path in self._planned(stage):
            self._expect_ours(path, wanted.made)
        with Repository(self._machine, registrations) as repository, Undo() as undo:
            undo.push("the note", self._notes.restore, self._notes.state())
            first = self._is_first(wanted)
            wanted.made = sorted({*wanted.made, *self._planned(stage)})
            of_old_versions = self._of_old_versions()
            self._notes.remember(wanted)
            self._make_link(undo, of_old_versions)
            wanted.made = self._stage(wanted, repository.work, undo)
            self._notes.remember(wanted)
            repository.build(self._machine.path(stage), self._schema(wanted), self._data.sections)
            self._stop(unit, active, undo)
            if first and not has_copy(self._machine, registrations):
                undo.push("the copy", drop_copy, self._machine, registrations)
                keep_copy(self._machine, registrations, repository.work)
            repository.replace(undo)
            self._start(unit, active)
            wanted.state = REGISTERED
            self._notes.remember(wanted)
            undo.forget()
            repository.settle()
        self._warn_of_provider_folders()

    def _places(self):
        """The folder that was given, else that of the configuration, else the usual one."""
        given = self._options
        registrations = given.registrations or self._setting("registrationDir") or REGISTRATIONS
        stage = (given.stage or self._setting("(?:stage|stageDir|stagingDir)")
                 or f"{os.path.dirname(registrations.rstrip('/'))}/stage")
        for name in (registrations, stage):
            if not name.startswith("/") or "|" in name:
                raise Failure(f"{CONFIGURATION} names the folder '{name}', which cannot be used: "
                              "name the right one with --registrations DIR and --stage DIR")
        return {"stage": os.path.abspath(stage), "registrations": os.path.abspath(registrations),
                "schema": given.schema or "", "unit": given.unit or ""}

    def _is_first(self, wanted):
        """Whether that repository holds nothing of ours. The note alone cannot tell: older versions
        did not note the usual folder, and a later run may have been killed."""
        registrations = wanted.parts["registrations"]
        register = self._machine.text(f"{registrations}/providerRegister").splitlines()
        return not set(self._data.sections).intersection(line.strip() for line in register)

    def _setting(self, key):
        found = re.findall(rf"^[ \t]*{key}[ \t]*:[ \t]*(\S.*?)[ \t]*$",
                           self._machine.text(CONFIGURATION), re.MULTILINE | re.IGNORECASE)
        return found[-1] if found else None

    def _schema(self, noted):
        return noted.parts["schema"] and self._machine.path(noted.parts["schema"])

    @staticmethod
    def _planned(stage):
        return [f"{stage}/regs/hddtest.reg", f"{stage}/mofs/{NAME_SPACE}/{STAGED}"]

    def _expect_ours(self, path, made):
        if self._machine.is_there(path) and path not in made:
            raise Failure(f"{path} is in the way and was not made by hddtest-register: move it away")

    def _make_link(self, undo, of_old_versions):
        target = self._data.name
        place = self._machine.path(LINK, follow=False)
        if self._leads_to(target):
            if of_old_versions:
                self._notes.remember_link(LINK, target)
            return
        if self._machine.is_there(LINK):
            raise Failure(f"{LINK} is in the way: sfcb runs in / and the texts of the records must "
                          "be found there; move it away")
        say(f"Making the link {LINK} to {target}, since sfcb runs in / and reads "
            "hddtest/hddtest.msg.xml there")
        self._notes.remember_link(LINK, target)
        place.symlink_to(target)
        undo.push(LINK, place.unlink)

    # Old versions made the link without noting it.
    def _of_old_versions(self):
        return [one for one in self._notes.of("sfcb") if not one.state]

    def _leads_to(self, target):
        place = self._machine.path(LINK, follow=False)
        return place.is_symlink() and os.readlink(place) == target

    def _stage(self, wanted, work, undo):
        """Puts classes and registration into the stage; returns the paths that are ours there."""
        stage, ours = wanted.place, set(wanted.made)
        say(f"Staging classes and registration in {stage}")
        before = self._staged(stage)
        undo.push(stage, self._restore_stage, stage, before)
        classes = work / STAGED
        classes.write_bytes((self._data.folder / "kavro.mof").read_bytes())
        answer = attempt("sfcbstage", "-n", NAME_SPACE, "-s", self._machine.path(stage), classes)
        after = self._staged(stage)
        changed = {name for name in after if after[name] != before.get(name)}
        for name in sorted(changed & set(before)):
            if name not in ours:
                raise Failure(f"{name} is in the way and was not made by hddtest-register: move it away")
        mine = {name for name in ours | changed if name.endswith(f"/{STAGED}") and name in after
                and after[name][0] == classes.read_bytes()}
        if answer.status != 0 or not mine:
            raise Failure("staging failed")
        registration = f"{stage}/regs/hddtest.reg"
        folders = self._machine.make_folders(f"{stage}/regs")
        self._machine.write(registration, (self._data.folder / "hddtest.reg").read_bytes())
        kept = {name for name in ours if name.endswith("/")}
        made = {name for name in after if name.endswith("/")} - set(before)
        return sorted({registration, *mine, *folders, *kept, *made})

    def _staged(self, stage):
        """The folders of the stage, and content and mode of each file that has a name of ours."""
        found = {}
        top = self._machine.path(stage)
        for folder, _, files in os.walk(top):
            name = stage + folder[len(str(top)):]
            found[f"{name}/"] = None
            for one in {STAGED, "hddtest.reg"} & set(files):
                path = pathlib.Path(folder, one)
                if path.is_file() and not path.is_symlink():
                    found[f"{name}/{one}"] = (path.read_bytes(), path.stat().st_mode & 0o7777)
        return found

    def _restore_stage(self, stage, before):
        after = self._staged(stage)
        self._machine.remove([name for name in after if name not in before])
        for name, file in before.items():
            if file and after.get(name) != file:
                self._machine.write(name, *file)

    def _stop(self, unit, active, undo):
        if not active:
            return
        undo.push("sfcb", self._start, unit, active)
        say("Stopping sfcb")
        if attempt("systemctl", "stop", unit).status != 0:
            raise Failure("sfcb could not be stopped")

    def _start(self, unit, active):
        if not active:
            return
        say("Starting sfcb")
        if attempt("systemctl", "start", unit).status != 0 or not self._machine.is_active(unit):
            raise Failure("sfcb could not be started again")

    def _warn_of_provider_folders(self):
        folders = (self._setting("providerDirs") or "").split()
        if folders and not self._machine.folder_with(self._data.libraries, folders):
            complain(f"note: no folder of providerDirs in {CONFIGURATION} holds the libraries: add "
                     f"{self._data.library_folder} to it")

    # Taking it back.

    def unregister(self):
        """The stage that is named, or else all that are noted, each with the options of its
        registration unless others are given now."""
        named = self._options.stage
        noted = self._notes.of("sfcb", named)
        of_old_versions = self._of_old_versions()
        if not noted:
            say(f"Nothing is registered in {named}" if named else "Nothing is registered")
        failed = [one for one in noted if not self._take_back(one)]
        if not [one for one in self._notes.of("sfcb") if one.state != LEAVING]:
            self._remove_link(of_old_versions)
        if failed:
            raise Failure("sfcb's repository still has the self-test")

    def _take_back(self, noted):
        for part in ("registrations", "schema", "unit"):
            noted.parts[part] = getattr(self._options, part) or noted.parts[part]
        stage, registrations = noted.place, noted.parts["registrations"]
        noted.parts["registrations"] = registrations = (
            registrations or self._setting("registrationDir") or REGISTRATIONS)
        say(f"Removing classes and registration from {stage}")
        noted.state = LEAVING
        self._notes.remember(noted)
        self._machine.remove(noted.made or self._planned(stage))
        unit = self._machine.find_unit(noted.parts["unit"], USUAL_UNITS)
        active = self._machine.is_active(unit)
        runs = active or self._machine.runs(SERVER)
        if not (self._machine.path(f"{stage}/default.reg").is_file()
                and self._machine.path(registrations).is_dir()
                and (runs or have("sfcbrepos"))):
            say("sfcb or its stage is gone: a repository stays as it is")
        elif not have("sfcbrepos"):
            self._tell_what_stays("sfcb runs, but sfcbrepos was not found on PATH", stage)
            return False
        elif runs and not active:
            self._tell_what_is_left(noted)
            return False
        else:
            try:
                self._rebuild(noted, unit, active)
            except (OSError, Failure) as failure:
                self._tell_what_stays(told(failure), stage)
                return False
        if not [one for one in self._notes.of("sfcb") if one.place != stage
                and one.parts["registrations"] == registrations]:
            drop_copy(self._machine, registrations)
        self._notes.forget(noted)
        return True

    def _rebuild(self, noted, unit, active):
        with Repository(self._machine, noted.parts["registrations"]) as repository, Undo() as undo:
            repository.build(self._machine.path(noted.place), self._schema(noted))
            self._stop(unit, active, undo)
            repository.replace(undo)
            self._start(unit, active)
            undo.forget()
            repository.settle()

    @staticmethod
    def _tell_what_stays(cause, stage):
        complain(f"{cause}: our part of {stage} and {LINK} are gone, and the repository is as "
                 "before, with the self-test in it, whose tests make no completion records now; "
                 "mend the cause and repeat this")

    def _tell_what_is_left(self, noted):
        schema = noted.parts["schema"]
        command = shlex.join(["sfcbrepos", "-f", "-s", noted.place, "-r",
                              noted.parts["registrations"], *(["-c", schema] if schema else [])])
        complain("sfcb runs and was not stopped: until its restart tests there make no completion "
                 f"records, since {LINK} is gone, and once hddtest is removed, requests for the "
                 "self-test fail. Stop sfcb, repeat this, and start sfcb again; or, without "
                 f"hddtest-register: stop sfcb, run {command}, and start sfcb again")

    def _remove_link(self, of_old_versions):
        made = self._notes.link() or of_old_versions and (LINK, self._data.name)
        if not made:
            return
        if self._leads_to(made[1]):
            say(f"Removing the link {LINK}")
            self._machine.path(LINK, follow=False).unlink()
        self._notes.remember_link(None, None)

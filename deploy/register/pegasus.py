"""The registration with OpenPegasus, whose server has to run: classes and providers are changed
through it."""

import os
import re
import shlex

from register.machine import UNITS, Failure, attempt, complain, have, need, say
from register.notes import BEGUN, LEAVING, REGISTERED, Registration
from register.undo import Undo

NAME_SPACE = "root/cimv2"
INTEROP = "root/PG_InterOp"
USUAL_UNITS = ("tog-pegasus", "cimserver", "pegasus")
MARK = "# Written by hddtest-register."
TOP_CLASS = "CIM_ManagedElement"


class Pegasus:
    def __init__(self, machine, notes, data, options):
        self._machine = machine
        self._notes = notes
        self._data = data
        self._options = options

    # Registering.

    def register(self):
        need("OpenPegasus", "cimmof", "cimprovider", *["cimcli"] * self._options.with_cim)
        unit = self._machine.find_unit(self._options.unit, USUAL_UNITS) or ""
        directory = os.path.dirname(self._data.name)
        wanted = Registration("pegasus", {"unit": unit, "directory": directory}, BEGUN)
        former = self._notes.of("pegasus", unit)
        wanted.made = [path for one in former for path in one.made]
        self._expect_no_other_drop_in(unit)
        if self._options.with_cim:
            self._expect_no_schema()
        with Undo() as undo:
            say("Disabling an earlier registration, if there is one")
            there = self._disable_modules(undo)
            if former:  # else classes are there from now on, to be taken back
                undo.push("the note", self._notes.restore, self._notes.state())
            self._notes.remember(wanted)
            say(f"Adding the classes to {NAME_SPACE}")
            for file in ["cim.mof"] * self._options.with_cim + ["kavro.mof"]:
                self._add_classes(file)
            # OpenPegasus ignores a second registration, so the first one is removed before.
            self._remove_modules(there, undo)
            say("Registering the providers")
            self._register_providers()
            self._set_working_directory(wanted, undo)
            wanted.state = REGISTERED
            self._notes.remember(wanted)
            undo.forget()
        self._warn_of_provider_folders()
        self._restart(unit)

    def _expect_no_schema(self):
        answer = attempt("cimcli", "gc", "-n", NAME_SPACE, TOP_CLASS)
        self._expect_answer(answer)
        if answer.status == 0:
            raise Failure(f"{NAME_SPACE} has {TOP_CLASS} already, and --with-cim would lower the "
                          "schema that others use: repeat this without --with-cim")
        if "NOT_FOUND" not in answer.output and "not found" not in answer.output.lower():
            raise Failure(f"cimcli does not say whether {NAME_SPACE} has {TOP_CLASS}, which "
                          "--with-cim would replace")

    def _add_classes(self, file):
        if attempt("cimmof", f"-n{NAME_SPACE}", "-I", self._data.folder, "-aEV", "-uc",
                   self._data.folder / file).status != 0:
            raise Failure("the classes could not be added: does cimserver run? Where it has no "
                          "DMTF schema, use --with-cim")

    def _register_providers(self):
        if attempt("cimmof", f"-n{INTEROP}", self._data.folder / "pegasus.mof").status != 0:
            raise Failure("the providers could not be registered")

    def _disable_modules(self, undo):
        """Disables all of them before any is removed, so that a busy one leaves everything as it was.
        Returns those that are registered."""
        there = []
        listed = attempt("cimprovider", "-l", "-s")
        if listed.status != 0:
            self._does_not_answer()
        self._expect_answer(listed)
        for module in self._data.modules:
            stopped = re.search(rf"^\s*{module}\s.*\bStopped\b", listed.output, re.MULTILINE)
            answer = attempt("cimprovider", "-d", "-m", module)
            self._expect_answer(answer)
            if answer.status == 0:
                there.append(module)
                if not stopped:
                    undo.push(module, self._enable, module)
            elif re.search("busy", answer.output, re.IGNORECASE):
                raise Failure("a request is running; try again when it has ended")
            elif stopped or "already" in answer.output:
                there.append(module)
            elif re.search(rf"^\s*{module}\s", listed.output, re.MULTILINE):
                raise Failure(f"{module} could not be disabled; nothing was removed")
        return there

    def _enable(self, module):
        answer = attempt("cimprovider", "-e", "-m", module)
        # It is already enabled where it had to be registered again.
        if answer.status != 0 and "already" not in answer.output:
            raise Failure(f"enable it: cimprovider -e -m {module}")

    def _remove_modules(self, there, undo):
        if there:
            say("Removing the earlier registration")
            undo.push("the registration", self._register_providers)
        for module in there:
            answer = attempt("cimprovider", "-r", "-m", module)
            self._expect_answer(answer)
            if answer.status != 0:
                raise Failure(f"{module} could not be removed")

    # A step may fail because there is nothing to do, but not because the server did not answer.
    def _expect_answer(self, answer):
        if re.search("cannot connect|may not be running", answer.output, re.IGNORECASE):
            self._does_not_answer()

    def _does_not_answer(self):
        steps = [f"cimprovider -{step} -m {module}"
                 for step in "dr" for module in self._data.modules]
        raise Failure("cimserver does not answer, and its repository is as it was: start cimserver "
                      "and repeat this; or, to take a registration back without hddtest-register:\n"
                      + "\n".join(steps))

    # Its working directory: OpenPegasus stays in the folder that it was started in.

    @staticmethod
    def _drop_in(unit):
        return f"{UNITS}/{unit}.service.d/hddtest.conf"

    def _expect_no_other_drop_in(self, unit):
        name = self._drop_in(unit)
        if unit and self._machine.is_there(name) and MARK not in self._machine.text(name):
            raise Failure(f"{name} is in the way and was not made by hddtest-register: move it away")

    def _set_working_directory(self, wanted, undo):
        unit, directory = wanted.parts.values()
        if not unit:
            complain(f"note: no systemd unit of OpenPegasus was found: start cimserver in "
                     f"{directory}, since it reads hddtest/hddtest.msg.xml there")
            return
        name = self._drop_in(unit)
        say(f"Setting the working directory of {unit} to {directory}: {name}")
        former = self._machine.text(name) if self._machine.is_there(name) else None
        made = self._machine.make_folders(os.path.dirname(name))
        if former is None:
            undo.push(name, self._machine.remove, [name, *made])
        else:
            undo.push(name, self._machine.write, name, former.encode("utf-8", "surrogateescape"))
        self._machine.write(name, (
            f"{MARK} The hard-disk self-test reads hddtest/hddtest.msg.xml\n"
            f"# below the working directory.\n[Service]\nWorkingDirectory={directory}\n").encode())
        wanted.made = sorted({*wanted.made, name, *made})

    def _restart(self, unit):
        if not unit or not self._machine.with_systemd():
            return
        if (attempt("systemctl", "daemon-reload").status != 0
                or attempt("systemctl", "try-restart", unit).status != 0):
            raise Failure(f"{unit} could not be restarted: the working directory changes with its "
                          "next start")

    def _warn_of_provider_folders(self):
        ours = self._data.library_folder
        if not have("cimconfig"):
            complain(f"note: cimconfig was not found: see that providerDir names {ours}")
            return
        answer = attempt("cimconfig", "-g", "providerDir")
        value = answer.output.strip().rpartition("Current value:")[2].strip()
        folders = [folder for folder in value.split(":") if folder]
        if answer.status == 0 and self._machine.folder_with(self._data.libraries, folders):
            return
        setting = shlex.quote("providerDir=" + ":".join([*folders, ours] if answer.status == 0
                                                        else ["...", ours]))
        complain("note: no folder of providerDir holds the libraries: clients get CIM_ERR_FAILED "
                 f"until it does. For now: cimconfig -s {setting}; for the next starts: "
                 f"cimconfig -p -s {setting}")

    # Taking it back.

    def unregister(self):
        noted = self._notes.of("pegasus")
        if have("cimprovider"):
            say("Disabling the registration, if there is one")
            with Undo() as undo:
                there = self._disable_modules(undo)
                self._remove_modules(there, undo)
                undo.forget()
        else:
            say("OpenPegasus is not installed: its repository stays as it is")
        for one in noted:
            one.state = LEAVING
            self._notes.remember(one)
        if have("cimcli"):
            say("Removing the classes that nobody else uses, if they are there")
            for name in self._data.classes:
                self._expect_answer(attempt("cimcli", "dc", "-n", NAME_SPACE, name))
        for one in noted:
            self._take_back(one)

    def _take_back(self, noted):
        unit = noted.parts["unit"]
        name = self._drop_in(unit)
        ours = unit and MARK in self._machine.text(name)
        if ours:
            say(f"Removing {name}")
            self._machine.remove(noted.made or [name])
        if not unit:
            complain("note: cimserver may be started in any folder again; restart it")
        self._notes.forget(noted)
        if ours:
            self._restart(unit)

"""The programs of sfcb, of OpenPegasus and of systemd, for the tests of hddtest-register: they
record their calls, and do to the files of the test's root, and to a file of theirs, what the real
ones do.

Called by the name of the program. RECORD is the file of the calls, STATE a JSON file:
  output, status  by program, or program and first argument: what it prints and how it ends, instead
                  of what it would do; ends: how it ends when it has done that
  signals         by program and first argument, once: the signal that hddtest-register gets then
  fault           of sfcbrepos, what it prints of a broken file
  active          the unit of sfcb that runs, or empty; picky: one that refuses our registration
  answers         whether cimserver does; modules: its modules with their status; busy: those with
                  a request; lenient: disabling twice is no fault; classes: of root/cimv2; providerDir
"""

import json
import os
import pathlib
import re
import shutil
import signal
import sys


def option(arguments, name):
    return arguments[arguments.index(name) + 1] if name in arguments else None


def fail(text, status=1):
    print(text)
    sys.exit(status)


def sfcbstage(state, arguments):
    place = pathlib.Path(option(arguments, "-s"), "mofs", option(arguments, "-n"))
    place.mkdir(parents=True, exist_ok=True)
    shutil.copyfile(arguments[-1], place / pathlib.Path(arguments[-1]).name)


def sfcbrepos(state, arguments):
    """The old repository is moved away first; a fault leaves an empty one, and the status 0."""
    place, stage = (pathlib.Path(option(arguments, name)) for name in ("-r", "-s"))
    repository = place / "repository"
    if repository.exists():
        repository.rename(place / "repository.previous")
    repository.mkdir()
    for mof in sorted((stage / "mofs").rglob("*.mof")):
        if "BROKEN" in mof.read_text():
            fail(state.get("fault", f"{mof.name}(1): Syntax error"), 0)
        classes = repository / mof.parent.relative_to(stage / "mofs") / "classSchemas"
        classes.parent.mkdir(parents=True, exist_ok=True)
        with open(classes, "a") as file:
            file.write(mof.read_text())
    (place / "providerRegister").write_text("".join(
        file.read_text() for file in [stage / "default.reg", *sorted(stage.glob("regs/*.reg"))]))


def systemctl(state, arguments):
    command, unit = [one for one in arguments if not one.startswith("--")][:2] + [None] * (
        len(arguments) < 2)
    if command == "is-active":
        sys.exit(0 if state["active"] == unit else 3)
    registered = pathlib.Path(state["registrations"], "providerRegister")
    if command == "start" and state.get("picky") and "[KAVRO" in registered.read_text():
        fail("Job failed")
    if command in ("start", "stop"):
        state["active"] = unit if command == "start" else ""


def cimserver(state):
    if not state["answers"]:
        fail("cimprovider: Cannot connect to the server")


def cimmof(state, arguments):
    cimserver(state)
    text = pathlib.Path(arguments[-1]).read_text()
    if "-nroot/PG_InterOp" in arguments:
        for module in re.findall(r'instance of PG_ProviderModule\n\{\n  Name = "(.*)"', text):
            state["modules"].setdefault(module, "OK")  # a second registration changes nothing
    else:
        found = re.findall(r"^class (\w+)(?: : (\w+))?", text, re.MULTILINE)
        for name, superclass in found:
            if superclass and superclass not in state["classes"]:
                fail(f"no superclass {superclass}")
            state["classes"] = sorted({*state["classes"], name})


def cimprovider(state, arguments):
    cimserver(state)
    modules, module = state["modules"], option(arguments, "-m")
    if "-l" in arguments:
        fail("\n".join(["MODULE  STATUS", *(f"{name}  {modules[name]}" for name in modules)]), 0)
    if module not in modules:
        fail("Provider module not found")
    stopped = modules[module] == "Stopped"
    if "-d" in arguments:
        if module in state["busy"]:
            fail("Provider is busy")
        if stopped and not state.get("lenient"):
            fail("Provider module is already disabled")
        modules[module] = "Stopped"
    elif "-e" in arguments:
        if not stopped:
            fail("Provider module is already enabled")
        modules[module] = "OK"
    elif "-r" in arguments:
        if module in state.get("stuck", []):
            fail("internal error")
        del modules[module]


def cimcli(state, arguments):
    cimserver(state)
    if arguments[-1] not in state["classes"]:
        fail("CIM_ERR_NOT_FOUND", 6)
    if arguments[0] == "dc":
        state["classes"].remove(arguments[-1])


def cimconfig(state, arguments):
    cimserver(state)
    print(f"Current value: {state['providerDir']}")


def main():
    name, arguments = pathlib.Path(sys.argv[0]).name, sys.argv[1:]
    with open(os.environ["RECORD"], "a") as record:
        record.write(" ".join([name, *arguments]) + "\n")
    file = pathlib.Path(os.environ["STATE"])
    state = json.loads(file.read_text())
    for key in (name, f"{name}{arguments[0]}"):
        if key in state["signals"]:
            number = state["signals"].pop(key)
            file.write_text(json.dumps(state))
            os.kill(os.getppid(), number)
            if number != signal.SIGKILL:
                signal.pause()  # until it ends this program
            sys.exit()
        if key in state["output"] or key in state["status"]:
            print(state["output"].get(key, ""))
            sys.exit(state["status"].get(key, 0))
    try:
        globals()[name](state, arguments)
    finally:
        file.write_text(json.dumps(state))
    sys.exit(state["ends"].get(name, 0))


main()

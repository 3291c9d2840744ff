#!/usr/bin/env python3
"""The generator of the class library over MOF that anybody might have written.

    target.py FILE_OR_FOLDER...                            runs the stored inputs
    target.py --minutes N --new FOLDER --findings FOLDER CORPUS...   searches for new ones

Every input gives C++ or is refused with file, line and reason, within seconds.
"""

import argparse
import hashlib
import pathlib
import re
import signal
import sys
import traceback

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parents[1] / "model"))

from generate import generate  # pylint: disable=wrong-import-position
from mof.lexer import MofError  # pylint: disable=wrong-import-position

QUALIFIERS = (HERE / "qualifiers.mof").read_text(encoding="utf-8")
NAME = "input.mof"
REFUSAL = re.compile(rf"{re.escape(NAME)}:([0-9]+): \S")
LITERAL_OR_COMMENT = re.compile(r'"(?:[^"\\\n]|\\.)*"|//[^\n]*')
PAIRS = {")": "(", "]": "[", "}": "{"}
LONGEST_SECONDS = 20


class Finding(Exception):
    """Something that must hold does not hold."""


def require(holds, what):
    if not holds:
        raise Finding(what)


def check_cpp(text):
    """Requires that no text leaves its string literal, and that what opens is closed."""
    text.encode()
    code = LITERAL_OR_COMMENT.sub("", text)
    require(code.isascii() and '"' not in code and "\\" not in code and "/*" not in code,
            "text stands in string literals alone")
    require("??" not in text, "no trigraph")
    opened = []
    for character in code:
        if character in "([{":
            opened.append(character)
        elif character in PAIRS:
            require(opened and opened.pop() == PAIRS[character], "brackets are balanced")
    require(not opened, "brackets are balanced")


def read_input(data):
    """Raises an exception when something does not hold."""
    try:
        text = data.decode()  # as the generator reads files, which says what it cannot
    except UnicodeDecodeError:
        return
    try:
        outputs = generate([(QUALIFIERS, "qualifiers.mof"), (text, NAME)], 2)
    except MofError as error:
        refusal = REFUSAL.match(str(error))
        require(refusal, f"a refusal names file, line and reason, unlike: {error}")
        require(1 <= int(refusal.group(1)) <= text.count("\n") + 1, "the line is one of the file's")
        str(error).encode()
        require(len(str(error)) < len(text) + 500, "a reason is short")
        return
    for output in outputs.values():
        check_cpp(output)


def too_long(_signal, _frame):
    raise Finding(f"an input takes more than {LONGEST_SECONDS} seconds")


def fault_of(data):
    """The traceback of a failure, or None if everything holds."""
    signal.alarm(LONGEST_SECONDS)
    try:
        read_input(data)
    except Exception:  # pylint: disable=broad-exception-caught
        return traceback.format_exc()
    finally:
        signal.alarm(0)
    return None


def files_of(places):
    for place in map(pathlib.Path, places):
        yield from sorted(place.iterdir()) if place.is_dir() else [place]


def replay(files):
    faulty = 0
    for file in files:
        if fault := fault_of(file.read_bytes()):
            print(f"{file}:\n{fault}")
            faulty += 1
    print(f"{len(files)} inputs, {faulty} findings")
    return 1 if faulty or not files else 0


def keep(folder, data):
    file = pathlib.Path(folder) / hashlib.sha1(data).hexdigest()
    file.write_bytes(data)
    return file


def main():
    options = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    options.add_argument("--minutes", type=float)
    options.add_argument("--new", default=".", help="where inputs go that reach new places")
    options.add_argument("--findings", default=".", help="where inputs go that must not be")
    options.add_argument("places", nargs="+")
    arguments = options.parse_args()
    signal.signal(signal.SIGALRM, too_long)
    files = list(files_of(arguments.places))
    if arguments.minutes is None:
        return replay(files)

    import search  # pylint: disable=import-outside-toplevel
    files += files_of([arguments.new])
    return search.run(arguments.minutes * 60, [file.read_bytes() for file in files],
                      HERE.parent / "mof.dict", fault_of,
                      lambda data: keep(arguments.new, data),
                      lambda data: keep(arguments.findings, data))


if __name__ == "__main__":
    sys.exit(main())

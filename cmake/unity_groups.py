"""Says which units of a build can be compiled as one.

    unity_groups.py MOST <LIST    LIST has a line "TARGET;UNIT;UNIT..." for each target of a folder

Prints a line "UNIT=GROUP" for each unit in a group: at most MOST units of a target, none of which
defines a name that another one or its headers have too. Names are told by the layout of the sources:
what a name space holds starts at the beginning of a line. What that does not show, such as a function
that is found by the type of its argument, fails to compile, and the unit then needs a name of its own.
"""

import functools
import pathlib
import re
import sys

TREE = pathlib.Path(__file__).resolve().parent.parent


@functools.cache
def names(path):
    """What the file defines or declares outside of classes and functions."""
    found = set()
    for line in path.read_text(encoding="utf-8").splitlines():
        if defined := re.match(r"#define (\w+)", line):
            found.add(defined[1])
        elif not re.match(r"[A-Za-z]", line) or re.match(r"(namespace|extern|TEST(_[FP])?\()", line):
            continue
        elif kind := re.match(r"(?:using|struct|class|enum class|enum|union)\s+(?:\w+::)*(\w+)", line):
            found.add(kind[1])
        elif other := re.search(r"(::~?)?\b(\w+)(?:\[\w*\])?\s*(?:[({=;]|$)", line):
            found.update([] if other[1] else [other[2]])
    return found


@functools.cache
def headers(path):
    """Ours that it includes, and those that they include."""
    found = set()
    for name in re.findall(r'^#include "([^"]+)"', path.read_text(encoding="utf-8"), re.MULTILINE):
        for header in (path.parent / name, TREE / name):
            if header.is_file():
                found |= {header.resolve(), *headers(header.resolve())}
    return frozenset(found)


def clash(one, other):
    if names(one) & names(other):
        return True
    return any(names(unit) & names(header) for unit, beside in ((one, other), (other, one))
               for header in headers(beside) - headers(unit))


def main(most):
    targets_of = {}
    for line in sys.stdin.read().splitlines():
        target, *units = line.split(";")
        for unit in units:
            targets_of.setdefault(pathlib.Path(unit), set()).add(target)
    groups = {}  # units by target and number
    for unit, targets in targets_of.items():
        number = 0
        while not all(len(group) < most and not any(clash(unit, other) for other in group)
                      for group in (groups.get((target, number), []) for target in targets)):
            number += 1
        for target in targets:
            groups.setdefault((target, number), []).append(unit)
        print(f"{unit}={number}")


if __name__ == "__main__":
    main(int(sys.argv[1]))

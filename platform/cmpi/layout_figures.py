"""Makes assertions of the layout figures, so that a header that deviates does not compile and the
message names the member.

    layout_figures.py FIGURES OUTPUT
"""

import pathlib
import sys

HEAD = """// Generated from layout_figures.txt.
#include <cstddef>
#include <type_traits>

#include "platform/cmpi/cmpi.h"
"""


def scalar(name, size, kind):
    yield f"sizeof({name}) == {size}", f"size of {name}"
    yield f"alignof({name}) == {size}", f"alignment of {name}"
    trait = {"signed": f"std::is_signed_v<{name}>", "pointer": f"std::is_pointer_v<{name}>",
             "float": f"std::is_floating_point_v<{name}>",
             "unsigned": f"!std::is_signed_v<{name}> && !std::is_pointer_v<{name}>"}[kind]
    yield trait, f"{name} is {kind}"


def structure(name, size, alignment):
    yield f"sizeof({name}) == {size}", f"size of {name}"
    yield f"alignof({name}) == {alignment}", f"alignment of {name}"


def member(owner, text):
    offset, name = text.split()
    name, _, size = name.partition(":")
    yield f"offsetof({owner}, {name}) == {offset}", f"offset of {owner}.{name}"
    yield f"sizeof({owner}::{name}) == {size or 8}", f"size of {owner}.{name}"


def constant(text):
    name, value = text.split("=")
    yield f"{name} == {value}", f"value of {name}"


def assertions(figures):
    """Condition and message of each. Raises ValueError with the line that is wrong."""
    owner = None
    for number, line in enumerate(figures.splitlines(), 1):
        words = line.split()
        if not words or line.startswith("#"):
            continue
        try:
            if not line.startswith(" "):
                kind, owner = words[0], words[1]
                if kind == "scalar":
                    yield from scalar(*words[1:])
                elif kind in ("struct", "union"):
                    yield from structure(*words[1:])
                elif kind != "constants":
                    raise ValueError(f"'{kind}' is no kind of figure")
                continue
            for item in line.split(","):
                if item.strip() and kind == "constants":
                    yield from constant(item.strip())
                elif item.strip():
                    yield from member(owner, item)
        except (ValueError, TypeError, KeyError) as error:
            raise ValueError(f"line {number}: {error}") from error


def main():
    figures, output = map(pathlib.Path, sys.argv[1:])
    lines = [f'static_assert({condition}, "{message}");'
             for condition, message in assertions(figures.read_text(encoding="utf-8"))]
    output.parent.mkdir(parents=True, exist_ok=True)
    output.write_text(HEAD + "\n".join(lines) + "\n", encoding="utf-8")


main()

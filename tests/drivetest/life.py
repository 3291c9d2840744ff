"""Reads lives of drives: what happens to them, what users do meanwhile, and what has to come of it.

A life is a text file; README.md describes its lines.
"""

import dataclasses
import pathlib
import re
import shlex

WORDS = {">", "killed", "held", "begin", "await", "<", "!", "exit", "json", "clock", "@", "field", "row", "rows",
         "says", "no", "drive", "tool", "alone", "unwatched", "unkilled"}
ANY = "..."  # any text within a line, and alone any lines


class NotALife(Exception):
    pass


@dataclasses.dataclass
class Step:
    place: str  # file and line, for messages
    word: str
    rest: str
    lines: list  # indented below it


@dataclasses.dataclass
class Life:
    path: pathlib.Path
    drives: dict  # name: lines of its file
    tools: dict   # name: text of a program that stands in for the real one
    _: dataclasses.KW_ONLY
    unwatched: str = ""  # why no second process may look at the drives; empty: it may
    unkilled: str = ""   # why no program may be killed; empty: each may
    pace: int = 0        # how many seconds of the clock a second is that hddtest waits; 0: real ones
    steps: list = dataclasses.field(default_factory=list)


def fields_of(step, folder):
    """The lines of a drive's file: those that its kind has in common, then its own, which win."""
    name, *kinds = step.rest.split()
    lines = []
    for kind in kinds:
        lines += (folder / "common" / f"{kind}.drive").read_text().splitlines()
    return name, lines + step.lines


def steps_of(path):
    steps = []
    for number, line in enumerate(path.read_text().splitlines(), 1):
        place = f"{path.name}:{number}"
        text = line.strip()
        if not text or text.startswith("#"):
            continue
        if line[0] == " ":
            if not steps or steps[-1].word not in {"drive", "tool"}:
                raise NotALife(f"{place}: nothing that this line belongs to")
            steps[-1].lines.append(text)
            continue
        word, _, rest = text.partition(" ")
        if word not in WORDS:
            raise NotALife(f"{place}: what is '{word}'?")
        steps.append(Step(place, word, rest.strip(), []))
    return steps


def read_life(path):
    life = Life(path, {}, {})
    for step in steps_of(path):
        if step.word == "drive":
            name, lines = fields_of(step, path.parent.parent)
            life.drives[name] = lines
        elif step.word == "tool":
            life.tools[step.rest] = "\n".join(step.lines) + "\n"
        elif step.word in {"alone", "unwatched", "unkilled"}:
            life.unwatched = life.unwatched if step.word == "unkilled" else step.rest
            life.unkilled = life.unkilled if step.word == "unwatched" else step.rest
        elif step.word == "clock" and step.rest.startswith("runs"):
            life.pace = int(step.rest.partition(" ")[2] or 1)
        else:
            life.steps.append(step)
    if not life.steps:
        raise NotALife(f"{path.name}: nothing happens")
    missing = [what for what, is_it in EXPECTED.items() if not any(map(is_it, life.steps))]
    if missing:
        raise NotALife(f"{path.name}: nothing is expected of {' and '.join(missing)}")
    return life


# What each life has to say. Any status and any text are nothing that is expected.
EXPECTED = {
    "the rows of the history ('no rows' where there are to be none)":
        lambda step: step.word in {"row", "rows", "no"},
    "the output of a program":
        lambda step: step.word in {"says", "json"} or (step.word in {"<", "!"} and step.rest != ANY),
    "its exit status":
        lambda step: step.word == "exit" and step.rest != "any",
}


def words_of(step):
    try:
        return shlex.split(step.rest)
    except ValueError as error:
        raise NotALife(f"{step.place}: {error}") from error


def pattern_of(lines):
    parts = []
    for line in lines:
        if line == ANY:
            parts.append(r"(?:[^\n]*\n)*?")
        else:
            parts.append("[^\n]*".join(map(re.escape, line.split(ANY))) + "\n")
    return re.compile("".join(parts) + r"\Z")


def value_at(document, path):
    """The value at "a.b.0.c" of a JSON document; None where there is none."""
    for name in path.split("."):
        if isinstance(document, list):
            document = document[int(name)] if int(name) < len(document) else None
        elif isinstance(document, dict):
            document = document.get(name)
        else:
            return None
    return document

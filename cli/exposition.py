"""Reads Prometheus' text format, version 0.0.4, by its own description, and takes nothing else."""

import re

NAME = re.compile(r"[a-zA-Z_:][a-zA-Z0-9_:]*")
LABEL = re.compile(r'([a-zA-Z_][a-zA-Z0-9_]*)="((?:[^"\\\n]|\\["\\n])*)"')
TYPES = {"counter", "gauge", "histogram", "summary", "untyped"}
ESCAPES = {"\\n": "\n", '\\"': '"', "\\\\": "\\"}


class Fault(Exception):
    pass


def unescaped(text):
    return re.sub(r'\\["\\n]', lambda found: ESCAPES[found[0]], text)


def taken_labels(rest, line):
    """The labels between the braces, and what stands behind them."""
    labels = {}
    rest = rest[1:].lstrip(" \t")
    while not rest.startswith("}"):
        found = LABEL.match(rest)
        if not found or found[1] in labels:
            raise Fault(f"labels: {line}")
        labels[found[1]] = unescaped(found[2])
        rest = rest[found.end():].lstrip(" \t")
        if rest.startswith(","):
            rest = rest[1:].lstrip(" \t")
        elif not rest.startswith("}"):
            raise Fault(f"labels: {line}")
    return labels, rest[1:]


class Exposition:
    def __init__(self, content):
        """content: bytes"""
        self.types, self.helps = {}, {}
        self.samples = {}  # name, and its labels as a sorted tuple of pairs: value
        text = content.decode("utf-8")
        if text and not text.endswith("\n"):
            raise Fault("the last line does not end")
        metric, over = None, set()
        for line in text.split("\n"):
            line = line.strip(" \t")
            if not line:
                continue
            name = self.comment(line) if line.startswith("#") else self.sample(line)
            if name and name != metric:
                over.add(metric)
                if name in over:
                    raise Fault(f"lines of {name} do not stand together")
                metric = name

    def comment(self, line):
        words = re.split(r"[ \t]+", line, maxsplit=3)
        if words[0] != "#" or len(words) < 3 or words[1] not in ("HELP", "TYPE"):
            return None
        kind, name = words[1:3]
        known = self.helps if kind == "HELP" else self.types
        value = words[3] if len(words) > 3 else ""
        if not NAME.fullmatch(name) or name in known:
            raise Fault(line)
        if kind == "TYPE" and (value not in TYPES or any(one == name for one, _ in self.samples)):
            raise Fault(line)
        known[name] = value
        return name

    def sample(self, line):
        found = NAME.match(line)
        if not found:
            raise Fault(line)
        name, rest, labels = found[0], line[found.end():].lstrip(" \t"), {}
        if rest.startswith("{"):
            labels, rest = taken_labels(rest, line)
        words = rest.split()
        if not 1 <= len(words) <= 2:
            raise Fault(line)
        key = (name, tuple(sorted(labels.items())))
        if key in self.samples:
            raise Fault(f"twice: {line}")
        self.samples[key] = float(words[0])
        if len(words) > 1:
            raise Fault(f"a time stamp: {line}")
        return name

    def value(self, name, **labels):
        return self.samples.get((name, tuple(sorted(labels.items()))))

    def labels(self, name):
        """Of all samples of that metric."""
        return [dict(labels) for one, labels in self.samples if one == name]

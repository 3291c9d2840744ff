"""What is registered where, until it is taken back.

Read by `hddtest check`, and when the package is removed. A line for each registration, its parts
between bars: sfcb|STAGE|REGISTRATIONS|SCHEMA|UNIT|STATE|PATH... and
pegasus|UNIT|WORKING-DIRECTORY|STATE|PATH..., where the paths are those that were made for it, a
folder with a slash at its end; and link|PATH|TARGET for the link that sfcb needs. A line without
state is of a version that did not say whether it came to its end.
"""

from dataclasses import dataclass, field

FOLDER = "/var/lib/hddtest"
NOTE = "/var/lib/hddtest/registrations"

BEGUN = "begun"  # and not ended, if it stays
REGISTERED = "registered"
LEAVING = "leaving"  # taken back, but for the manager's repository

PARTS = {"sfcb": ("stage", "registrations", "schema", "unit"), "pegasus": ("unit", "directory")}


@dataclass
class Registration:
    manager: str
    parts: dict
    state: str = ""
    made: list = field(default_factory=list)

    @property
    def place(self):
        """What tells the registrations of one manager apart."""
        return self.parts[PARTS[self.manager][0]]

    def line(self):
        return "|".join([self.manager, *self.parts.values(), self.state, *self.made])


def registration(line):
    """None for a line that is no registration."""
    manager, *fields = line.split("|")
    names = PARTS.get(manager, ())
    if not names or len(fields) < len(names):
        return None
    state, *made = fields[len(names):] or [""]
    return Registration(manager, dict(zip(names, fields)), state, made)


class Notes:
    def __init__(self, machine):
        self._machine = machine
        self._lines = machine.text(NOTE).splitlines()

    def of(self, manager, place=None):
        found = [one for one in map(registration, self._lines) if one and one.manager == manager]
        return [one for one in found if place in (None, one.place)]

    def remember(self, noted):
        """Notes a registration, in place of an earlier one of that manager and place."""
        self._drop(noted)
        self._lines.append(noted.line())
        self._save()

    def forget(self, noted):
        self._drop(noted)
        self._save()

    def link(self):
        """Path and target of the link that was made, or nothing."""
        for line in self._lines:
            kind, *fields = line.split("|")
            if kind == "link" and len(fields) == 2:
                return tuple(fields)
        return None

    def remember_link(self, path, target):
        self._lines = [line for line in self._lines if not line.startswith("link|")]
        self._lines += [f"link|{path}|{target}"] if path else []
        self._save()

    def state(self):
        return list(self._lines)

    def restore(self, state):
        self._lines = list(state)
        self._save()

    def _drop(self, noted):
        self._lines = [line for line in self._lines
                       if not (one := registration(line))
                       or (one.manager, one.place) != (noted.manager, noted.place)]

    def _save(self):
        if self._lines:
            self._machine.make_folders(FOLDER)
            text = "".join(f"{line}\n" for line in self._lines)
            self._machine.write(NOTE, text.encode("utf-8", "surrogateescape"))
        else:
            self._machine.remove([NOTE, f"{FOLDER}/"])

"""The registration of classes to providers, as sfcb reads it."""

from dataclasses import dataclass


@dataclass
class Section:
    class_name: str
    values: dict  # the texts by key

    @property
    def types(self):
        return self.values["type"].split()


def read(text):
    """The sections in their order. Raises ValueError with the line that is wrong."""
    sections = []
    for number, line in enumerate(text.splitlines(), 1):
        line = line.strip()
        if not line or line.startswith("#"):
            continue
        key, colon, value = line.partition(":")
        if line.startswith("[") and line.endswith("]"):
            sections.append(Section(line[1:-1], {}))
        elif colon and sections and key not in sections[-1].values:
            sections[-1].values[key] = value.strip()
        else:
            raise ValueError(f"line {number}: '{line}'")
    return sections

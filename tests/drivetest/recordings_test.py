"""Whether the tools over the stand-in print what was recorded of them over drives in that state.

    recordings_test.py STANDIN

HDDTEST_DRIVE_TESTS names the folder with the recordings. Those of other versions of the tools than the
installed ones are left out.
"""

import csv
import json
import os
import pathlib
import re
import subprocess
import sys
import unittest

from life import Life
from recordings import NVME_CLI, SMARTCTL
from stage import Stage

STANDIN = sys.argv[1]
CORPUS = pathlib.Path(os.environ["HDDTEST_DRIVE_TESTS"]) / "corpus"
# What depends on the machine, the day, or the size of a field that the stand-in does not play.
VOLATILE = {"platform_info", "build_info", "svn_revision", "local_time", "sanicap", "asctime", "time_t"}
VOLATILE_LINE = re.compile(
    r"^(smartctl \d|Local Time is|Test will complete after|Estimated completion time)")


def compared(document):
    """A document without what differs from day to day and from machine to machine."""
    if isinstance(document, dict):
        return {key: compared(value) for key, value in document.items() if key not in VOLATILE}
    if isinstance(document, list):
        return [compared(value) for value in document
                if not (isinstance(value, str) and VOLATILE_LINE.match(value))]
    return document


def version_of(tool):
    text = subprocess.run([f"/usr/sbin/{tool}", "--version"], capture_output=True, text=True,
                          check=False).stdout
    return re.search(r"(\d+)\.(\d+)", text).groups()


def recordings():
    """Name, tool, version, arguments and exit status of each, from the list of them all."""
    with (CORPUS / "index.tsv").open(encoding="utf-8") as index:
        for row in csv.DictReader(index, delimiter="\t", quoting=csv.QUOTE_NONE):
            said = re.search(r"args: (.*); (?:process )?exit (-?\d+)", row["what it shows"])
            if pathlib.Path(row["file"]).name.startswith("made-") and said:
                yield row["file"], row["tool"], row["version"], said[1].split(), int(said[2])


class Recordings(unittest.TestCase):
    maxDiff = None

    def play(self, fields, words):
        stage = Stage(Life(None, {"disk": fields}, {}), "/nowhere", STANDIN)
        self.addCleanup(stage.close)
        stage.environment["LC_ALL"] = "C"
        return stage.run(words)

    def compare_smartctl(self, file, fields, arguments, status):
        found, output, _ = self.play(fields, ["smartctl", *arguments])
        self.assertEqual(found, status)
        self.assertEqual(compared(json.loads(output)), compared(json.loads(file.read_text())))

    def compare_nvme(self, file, fields, arguments, status):
        found, output, errors = self.play(fields, ["nvme", *arguments])
        self.assertEqual(found, status)
        if file.suffix == ".json":
            self.assertEqual(compared(json.loads(output)), compared(json.loads(file.read_text())))
            return
        said = f"$ nvme {' '.join(arguments)}\n{output}"
        said += f"[stderr]\n{errors}" if errors else ""
        self.assertEqual(f"{said}[exit {found}]\n", file.read_text())


def test_of(compare, file, fields, arguments, status):
    return lambda self: getattr(self, compare)(CORPUS / file, fields, arguments, status)


SMARTCTL_VERSION = ".".join(version_of("smartctl"))
NVME_VERSION = ".".join(version_of("nvme"))
for name, tool, version, words, exit_status in recordings():
    stem = pathlib.Path(name).stem.removeprefix("made-")
    drive = SMARTCTL.get(stem.rpartition("-")[0]) if tool == "smartctl" else NVME_CLI.get(stem)
    if drive and version == (SMARTCTL_VERSION if tool == "smartctl" else NVME_VERSION):
        how = "compare_smartctl" if tool == "smartctl" else "compare_nvme"
        setattr(Recordings, f"test_{stem}", test_of(how, name, drive, words, exit_status))

if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])

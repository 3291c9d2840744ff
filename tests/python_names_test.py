"""The check of names in Python files.

    python_names_test.py PROGRAM
"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop(1)

GOOD = """
LIMIT = 3
class _OneKind:
    MOST = 4
    def setUp(self, *rest, other_name=1, **more):
        self._place, x1 = 1, 2
        for _, part in rest: pass
"""
BAD = """
someName = 1
class some_class:
    def doThis(self, oneThing):
        for aPart in self: pass
"""


class PythonNames(unittest.TestCase):
    def said(self, text, name="file.py"):
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, name)
            file.write_text(text, encoding="utf-8")
            answer = subprocess.run([sys.executable, PROGRAM, str(file)], capture_output=True,
                                    text=True, check=False)
            self.assertEqual(answer.stderr, "")
            self.assertEqual(answer.returncode, 1 if answer.stdout else 0)
            return [line.removeprefix(f"{file}:") for line in answer.stdout.splitlines()]

    def test_names_of_the_rule_are_good(self):
        self.assertEqual(self.said(GOOD), [])

    def test_every_other_name_is_said(self):
        self.assertEqual(sorted(self.said(BAD)), ["2: someName", "3: some_class", "4: doThis",
                                                  "4: oneThing", "5: aPart"])

    def test_programs_have_no_ending(self):
        self.assertEqual(self.said("#!/usr/bin/env python3\naB = 1\n", "program"), ["2: aB"])
        self.assertEqual(self.said("#!/bin/sh\naB = 1\n", "program"), [])


if __name__ == "__main__":
    unittest.main()

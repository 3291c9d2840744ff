"""What the reader of lives refuses, above all a life that does not say what is to come of it."""

import pathlib
import tempfile
import unittest

from life import NotALife, read_life

WHOLE = {"row": "row outcome=passed", "output": "says passed", "status": "exit passed"}


class Lives(unittest.TestCase):
    def read(self, *lines):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "one.life"
            path.write_text("\n".join(lines) + "\n")
            return read_life(path)

    def read_with(self, **others):
        return self.read("drive disk", "> hddtest status", *{**WHOLE, **others}.values())

    def test_what_expects_all_three_is_read(self):
        self.assertEqual(len(self.read_with().steps), 4)
        for row in ("no rows", "rows 21 outcome=passed"):
            self.read_with(row=row)
        for output in ("< ...passed...", "! hddtest: no", "json 0.reason absent"):
            self.read_with(output=output)
        self.read_with(status="exit 0")

    def test_what_expects_nothing_of_one_is_refused(self):
        for name, what in (("row", "rows"), ("output", "output"), ("status", "exit status")):
            with self.assertRaisesRegex(NotALife, f"nothing is expected of .*{what}"):
                self.read_with(**{name: "clock 1"})

    def test_any_text_and_any_status_are_nothing_that_is_expected(self):
        for others in ({"output": "! ..."}, {"output": "< ..."}, {"status": "exit any"}):
            with self.assertRaises(NotALife):
                self.read_with(**others)

    def test_words_that_there_are_not_are_refused(self):
        with self.assertRaisesRegex(NotALife, "what is 'rowe'"):
            self.read_with(row="rowe outcome=passed")


if __name__ == "__main__":
    unittest.main()

"""What the pages quote of the log and of the command exists in the sources.

    quoted_texts_test.py SOURCE-DIRECTORY EXCLUDED-MACHINE-TYPES

A quotation stands in double quotes outside of code. Its parts between the places that stand for
something else (DEVICE, ..., a number behind =) have to be, in their order, in strings of one
statement.
"""

import functools
import pathlib
import re
import subprocess
import sys
import unittest

TREE = pathlib.Path(sys.argv[1])
EXCLUDED_TYPES = sys.argv[2]  # a program that lists them
PAGES = ("docs/deployment.md", "docs/faults.md", "docs/limits.md", "docs/tests.md",
         "docs/troubleshooting.md", "README.md")
FOLDERS = ("broker", "cli", "deploy", "discovery", "drivetest", "engine", "inventory", "model",
           "module", "platform", "providers", "results")

# Texts of other programs, and of which.
OTHERS = {
    "Provider not found or not loadable": "sfcb",
    "DefaultProvider does not support invokeMethod operations": "sfcb",
    "the library name was empty. Check provider registered location.": "OpenPegasus",
    "provider blocked": "OpenPegasus",
    "Lost connection with cimprovagt": "OpenPegasus",
}
# Texts that the code composes of names: each part may stand anywhere.
COMPOSED = re.compile(r"(Entering |Exiting )(\w+)::(\w+)|(THDDTest::)(\w+)( -- .*? )DEVICE|"
                      r"(RunDiagnostic) for DEVICE( was not begun: )(.*)")
PLACES = re.compile(r"DEVICE|\.\.\.|(?<==)\d+")


def quotations(text):
    text = re.sub(r"^ *```.*?^ *```", "", text, flags=re.MULTILINE | re.DOTALL)
    text = re.sub(r"`[^`]*`", "", text)
    return [" ".join(found.split()) for found in re.findall(r'"([^"]+)"', text)]


TOKEN = re.compile(
    r"""//[^\n]*|/\*.*?\*/|'(?:\\.|[^'\\\n])'|(;)|"((?:\\.|[^"\\\n])*)"(\s*(?="))?""", re.DOTALL)


def statements(source):
    """The texts of each statement; those that stand one after the other are one, as compiled."""
    found, texts, joined = [], [], ""
    for semicolon, text, goes_on in (match.groups() for match in TOKEN.finditer(source)):
        if semicolon:
            found, texts = [*found, texts] if texts else found, []
        elif text is not None:
            joined += text
            if goes_on is None:
                texts, joined = [*texts, joined], ""
    return [*found, texts] if texts else found


@functools.cache
def sources():
    """The texts by statement of all sources but the tests, and the texts for clients."""
    found = []
    for folder in FOLDERS:
        for path in (TREE / folder).rglob("*"):
            if path.parent.name == "register" and path.suffix == ".py":
                found.append([path.read_text()])
            elif path.suffix in (".cpp", ".h", ".c"):
                source = path.read_text()
                if not re.search(r"#include [<\"](gtest|gmock)/", source):
                    found += statements(source)
            elif path.name.endswith(".msg.xml"):
                found.append([path.read_text()])
    return found


def in_order(parts, texts):
    places = iter(texts)
    text = next(places, "")
    for part in parts:
        while part not in text:
            text = next(places, None)
            if text is None:
                return False
        text = text.split(part, 1)[1]
    return True


def exists(quotation):
    composed = COMPOSED.fullmatch(quotation)
    if composed:
        return all(any(part in text for texts in sources() for text in texts)
                   for part in composed.groups() if part)
    parts = [part.strip() for part in PLACES.split(quotation) if re.search(r"\w", part)]
    return bool(parts) and any(in_order(parts, texts) for texts in sources())


class QuotedTexts(unittest.TestCase):
    def test_every_one_exists(self):
        for page in PAGES:
            found = quotations((TREE / page).read_text())
            self.assertTrue(found, page)
            for quotation in found:
                with self.subTest(page=page, quotation=quotation):
                    self.assertTrue(quotation in OTHERS or exists(quotation))

    def test_what_others_say_is_quoted(self):
        found = {quotation for page in PAGES for quotation in quotations((TREE / page).read_text())}
        self.assertEqual(set(OTHERS) - found, set())

    def test_excluded_machines_that_are_shown_are_on_the_list(self):
        listed = subprocess.run([EXCLUDED_TYPES], check=True, capture_output=True,
                                text=True).stdout.split()
        text = "".join((TREE / page).read_text() for page in (*PAGES, "deploy/hddtest.1"))
        shown = re.findall(r"excluded: (?:BIOS|machine type) (\w+)", text)
        self.assertTrue(shown)
        self.assertEqual(set(shown) - set(listed), set())

    def test_what_nobody_says_is_found_out(self):
        for text in ("no such text anywhere", "...", "SMART is not disabled on DEVICE",
                     "Check SMART support ... nowhere", "Failed DEVICE Check SMART support status",
                     "Entering KAVRO_Nothing_Provider::RunDiagnostic"):
            self.assertFalse(exists(text), text)

    def test_texts_of_a_source_are_read_as_they_are_compiled(self):
        self.assertEqual(statements('a("one "\n  "two") // "three"\n+ \'"\' + "four";\nb(";");'),
                         [["one two", "four"], [";"]])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])

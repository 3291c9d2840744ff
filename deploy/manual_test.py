"""The manual pages, held against what the programs say of themselves and read from outside. The
command is the first argument."""

import pathlib
import re
import shutil
import subprocess
import sys
import unittest

PROGRAM = pathlib.Path(sys.argv[1]).resolve()
FOLDER = pathlib.Path(__file__).parent
TREE = FOLDER.parent
OPTION = re.compile(r"(?<![\w-])--[a-z][a-z-]*")


def page(name):
    """The source of a page, with the characters that it shows."""
    return (FOLDER / name).read_text().replace("\\-", "-").replace("\\~", " ")


def section(text, macro, title):
    found = re.search(rf'^\.{macro} "?{title}"?\n(.*?)(?=^\.{macro} |^\.SH |\Z)', text,
                      re.MULTILINE | re.DOTALL)
    return found.group(1) if found else None


def help_of(*command):
    return subprocess.run([*command, "--help"], capture_output=True, text=True, check=True).stdout


def commands():
    listed = help_of(PROGRAM).split("Subcommands:\n")[1].split("\n\n")[0]
    return re.findall(r"^  (\w+)", listed, re.MULTILINE)


def options(text):
    """Those that a program lists, not those that its prose mentions."""
    return set(OPTION.findall("\n".join(re.findall(r"^ +-.{0,26}", text, re.MULTILINE))))


class Command(unittest.TestCase):
    text = page("hddtest.1")
    shared = set(OPTION.findall(section(text, "SH", "OPTIONS")))

    def test_every_command_has_its_section_and_synopsis(self):
        self.assertIn("run", commands())
        titles = re.findall(r"^\.SS (\w+)$", self.text, re.MULTILINE)
        self.assertEqual(sorted(titles), sorted(commands()))
        synopsis = section(self.text, "SH", "SYNOPSIS")
        for command in commands():
            self.assertRegex(synopsis, rf"(?m)^\.B hddtest {command}$")

    def test_every_option_is_explained_with_its_command_and_no_other_is(self):
        for command in commands():
            told = set(re.findall(r"^\.B\w* (--[a-z-]+)", section(self.text, "SS", command),
                                  re.MULTILINE))
            self.assertEqual(told, options(help_of(PROGRAM, command)) - self.shared, command)

    def test_the_shared_options_are_those_that_every_command_has(self):
        of_all = set.intersection(*(options(help_of(PROGRAM, name)) for name in commands()))
        self.assertEqual(of_all | options(help_of(PROGRAM)), self.shared)

    def test_every_variable_of_the_environment_is_explained(self):
        read = set()
        for folder in ("cli", "broker", "platform", "engine", "discovery", "providers", "inventory"):
            for path in (TREE / folder).rglob("*.cpp"):
                if not path.name.endswith("_test.cpp"):
                    read |= set(re.findall(r'\b(?:getenv|environment)\("(\w+)"\)',
                                           path.read_text()))
        self.assertIn("HVX_LOG_FILE", read)
        told = section(self.text, "SH", "ENVIRONMENT")
        for name in read:
            self.assertIn(name, told)


class Register(unittest.TestCase):
    def test_every_option_is_explained_and_no_other_is(self):
        script = (FOLDER / "hddtest-register").read_text()
        usage = script.split("<<'END'\n")[1].split("\nEND")[0]
        told = set(re.findall(r"^\.BI? (--[a-z-]+)", page("hddtest-register.8"), re.MULTILINE))
        self.assertEqual(told, options(usage))


@unittest.skipUnless(shutil.which("man"), "man is not installed")
class Layout(unittest.TestCase):
    def test_pages_have_no_fault(self):
        for name in ("hddtest.1", "hddtest-register.8"):
            done = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z",
                                   FOLDER / name], capture_output=True, text=True)
            self.assertEqual((done.returncode, done.stderr), (0, ""), name)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])

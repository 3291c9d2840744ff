"""The manual pages, held against what the programs say of themselves and read from outside. The
command is the first argument."""

import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

PROGRAM = pathlib.Path(sys.argv[1]).resolve()
REGISTERING = PROGRAM.parent.parent / "sbin/hddtest-register"
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
    listed = help_of(PROGRAM).split("Commands:\n")[1].split("\n\n")[0]
    return re.findall(r"^  (\w+)", listed, re.MULTILINE)


def options(text):
    """The options that a program lists, without those that its prose mentions."""
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
            told = set(re.findall(r"^\.B\w* (--[a-z-]+)", section(self.text, "SS", command) or "",
                                  re.MULTILINE))
            self.assertEqual(told, options(help_of(PROGRAM, command)) - self.shared, command)

    def test_the_shared_options_are_those_that_every_command_has(self):
        of_all = set.intersection(*(options(help_of(PROGRAM, name)) for name in commands()))
        self.assertEqual(of_all | options(help_of(PROGRAM)), self.shared)

    def test_no_line_of_help_is_broken_by_a_terminal_of_100_columns(self):
        helps = [help_of(PROGRAM), help_of(REGISTERING), *(help_of(PROGRAM, name) for name in commands())]
        for line in "".join(helps).splitlines():
            self.assertLessEqual(len(line), 100, line)

    def test_help_and_pages_agree_on_the_drives_that_count_where_none_is_named(self):
        texts = (help_of(PROGRAM, "run"), section(self.text, "SH", "EXIT STATUS"), Readme.text)
        for text in texts:
            self.assertRegex(" ".join(text.split()),
                             "do not count. In a short test (of `run` )?all count that the service offers; "
                             "one that it leaves out and that cannot be reached does not. ")

    def test_every_variable_of_the_environment_is_explained(self):
        read = set()
        for folder in ("cli", "broker", "platform", "engine", "discovery", "drivetest", "providers",
                       "inventory"):
            for path in (TREE / folder).rglob("*.cpp"):
                if not path.name.endswith("_test.cpp"):
                    read |= set(re.findall(r'\b(?:getenv|environment)\("(\w+)"\)',
                                           path.read_text()))
        self.assertIn("HVX_LOG_FILE", read)
        told = section(self.text, "SH", "ENVIRONMENT")
        for name in read:
            self.assertIn(name, told)


class Readme(unittest.TestCase):
    text = (TREE / "README.md").read_text(encoding="utf-8")

    def test_its_list_has_only_commands_and_options_of_the_program(self):
        block = re.search(r"^hddtest drives .*?(?=^```)", self.text, re.MULTILINE | re.DOTALL).group()
        lines = re.findall(r"^hddtest (\w+)(.*?)  ", block, re.MULTILINE)
        self.assertEqual(len(lines), len(block.splitlines()), "a line is no command with its words")
        for command, arguments in lines:
            with self.subTest(command=command):
                self.assertIn(command, commands())
                self.assertLessEqual(set(OPTION.findall(arguments)), options(help_of(PROGRAM, command)))
        for command in re.findall(r"`hddtest (\w+)", self.text):
            self.assertIn(command, commands())


# Each path that the pages name, with a file of this tree that has it, and the text there.
REGISTER = "deploy/register"
NOTE = {"/var/lib/hddtest/registrations": (f"{REGISTER}/notes.py",
                                           'NOTE = "/var/lib/hddtest/registrations"'),
        "/hddtest": (f"{REGISTER}/sfcb.py", 'LINK = "/hddtest"'),
        "/etc/systemd/system/UNIT.service.d/hddtest.conf": (f"{REGISTER}/pegasus.py",
                                                            ".service.d/hddtest.conf")}
FILES = {
    "hddtest.1": {
        **NOTE,
        "/var/log/hvx/diagnostics.log": ("platform/support/logger.cpp",
                                         '"/var/log/hvx/diagnostics.log"'),
        "/usr/share/hddtest/hddtest.msg.xml": ("cli/places.cpp", '"hddtest/hddtest.msg.xml"'),
        "/usr/share/hddtest/hddtest.reg": ("cli/places.cpp", "hddtest/hddtest.reg"),
        "/etc/hddtest/users": ("deploy/systemd/hddtest.service", "--users /etc/hddtest/users\n"),
        "/usr/lib/systemd/system/hddtest.service": ("deploy/package.cmake",
                                                "DESTINATION /usr/lib/systemd/system"),
        "/usr/lib/systemd/system/hddtest.socket": ("deploy/package.cmake",
                                                   "systemd/hddtest.socket"),
        "/etc/default/hddtest": ("deploy/systemd/hddtest-run@.service",
                                 "EnvironmentFile=-/etc/default/hddtest\n"),
        "/usr/lib/systemd/system/hddtest-run": ("deploy/package.cmake", "systemd/hddtest-run@.service"),
        "/usr/lib/systemd/system/hddtest-metrics.service": ("deploy/package.cmake",
                                                            "systemd/hddtest-metrics.service"),
        "/var/lib/hvx/history.sqlite": ("drivetest/history_folder.cpp", '"history.sqlite"'),
        "/tmp/sgMap.txt": ("discovery/scratch_file.cpp", '"/tmp/sgMap.txt"'),
        "/run/hddtest.lock": ("discovery/process_lock.cpp", '"/run/hddtest.lock"')},
    "hddtest-register.8": {
        **NOTE, "/var/lib/hddtest/before": (f"{REGISTER}/repository.py", '"{FOLDER}/before"'),
        "/var/lib/hddtest/lock": (f"{REGISTER}/lock.py", '"{FOLDER}/lock"'),
        **{f"/usr/share/hddtest/{name}": (f"{REGISTER}/data.py", f'"{name}"')
                   for name in ("hddtest.reg", "pegasus.mof", "kavro.mof", "cim.mof",
                                "hddtest.msg.xml")}}}


class Files(unittest.TestCase):
    def test_each_that_is_told_is_used_and_no_other_is_told(self):
        for name, files in FILES.items():
            heads = re.findall(r"^\.TP\n\.IR? (.*)$", section(page(name), "SH", "FILES"),
                               re.MULTILINE)
            self.assertEqual(sorted(path for head in heads
                                    for path in re.findall(r"/[\w./-]+", head)), sorted(files), name)
            for path, (source, text) in files.items():
                self.assertIn(text, (TREE / source).read_text(), path)


class ExitStatus(unittest.TestCase):
    text = section(page("hddtest.1"), "SH", "EXIT STATUS")

    def told(self, command, status):
        """Whether the text on the command, or on every command, has this status."""
        sentences = re.sub(r"\n\.BR? ", " ", self.text.replace("\n", " \n")).split(". ")
        return any(re.search(rf"\b({command}|[Ee]very command)\b.*\bwith {status}\b", sentence,
                             re.DOTALL) for sentence in sentences)

    def test_run_ends_as_its_help_says(self):
        told = re.findall(r"^\.TP\n\.B (\d)$", self.text, re.MULTILINE)
        shown = help_of(PROGRAM, "run").split("Exit status:")[1].split("JSON")[0]
        self.assertEqual(told, sorted(set(re.findall(r"\b\d\b", shown)) | {"0"}))

    def test_others_end_as_they_are_told(self):
        for command, status in ((["check", "--data", "/none"], 1), (["enumerate", "None"], 3),
                                (["invoke", "None", "None"], 3), (["serve"], 3)):
            done = subprocess.run([PROGRAM, *command], capture_output=True, timeout=120)
            self.assertEqual(done.returncode, status, command)
            self.assertTrue(self.told(command[0], status), command)

    def test_a_server_that_is_ended_ends_with_0(self):
        server = subprocess.Popen([PROGRAM, "serve", "--no-auth", "--port", "0"], text=True,
                                  stdout=subprocess.PIPE)
        with server:
            self.assertIn("Listening", server.stdout.readline())
            server.send_signal(signal.SIGINT)
        self.assertEqual(server.returncode, 0)
        self.assertTrue(self.told("serve", 0))

    def test_another_command_ends_as_the_signal_has_it(self):
        with tempfile.TemporaryDirectory(prefix="hddtest_manual.") as folder:
            with subprocess.Popen([PROGRAM, "passwd", f"{folder}/users", "admin"],
                                  stdin=subprocess.PIPE) as command:
                command.send_signal(signal.SIGINT)
                self.assertEqual(command.wait(60), -signal.SIGINT)
        self.assertIn(f"with {128 + signal.SIGINT} after Ctrl-C", self.text)

    def test_registering_ends_as_it_says(self):
        told = re.findall(r"^\.B (\d)$", section(page("hddtest-register.8"), "SH", "EXIT STATUS"),
                          re.MULTILINE)
        with tempfile.TemporaryDirectory(prefix="hddtest_manual.") as root:
            ends = [subprocess.run([REGISTERING, *arguments], capture_output=True,
                                   env={"PATH": root}).returncode
                    for arguments in (["--help"], ["sfcb", "--root", root], ["wrong"])]
        self.assertEqual((told, ends), (["0", "1", "2"], [0, 1, 2]))


class Register(unittest.TestCase):
    def test_every_option_is_explained_and_no_other_is(self):
        told = set(re.findall(r"^\.BI? (--[a-z-]+)", page("hddtest-register.8"), re.MULTILINE))
        self.assertEqual(told, options(help_of(REGISTERING)))


@unittest.skipUnless(shutil.which("man"), "man is not installed")
class Layout(unittest.TestCase):
    def test_pages_have_no_fault(self):
        for name in ("hddtest.1", "hddtest-register.8"):
            done = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z",
                                   FOLDER / name], capture_output=True, text=True)
            self.assertEqual((done.returncode, done.stderr), (0, ""), name)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)

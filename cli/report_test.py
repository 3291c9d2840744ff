"""The page that 'hddtest report' makes, as a reader of HTML understands it.

    report_test.py PROGRAM
"""

import datetime
import html.parser
import json
import os
import unittest

from command_case import main
from history_test import kept_test
from metrics_test import MetricsCase, machine_id

HOSTILE = "</svg></title></style><script>alert(\"1\" & '2')</script>\x1b[31m\u202e\x85é"
SHOWN = HOSTILE.replace("\x1b", "\ufffd").replace("\u202e", "\ufffd").replace("\x85", "\ufffd")
EMPTY_ELEMENTS = {"meta"}
ELEMENTS = {"html", "head", "meta", "title", "style", "body", "main", "header", "section", "article",
            "footer", "h1", "h2", "h3", "p", "b", "bdi", "span", "div", "time", "ul", "li",
            "details", "summary", "table", "thead", "tbody", "tr", "th", "td", "svg", "path", "desc"}
ATTRIBUTES = {"lang", "charset", "http-equiv", "content", "name", "class", "id", "role",
              "aria-labelledby", "aria-label", "aria-hidden", "viewbox", "width", "height",
              "preserveaspectratio", "d", "datetime", "scope"}


class Page(html.parser.HTMLParser):
    """Its elements, and what stands in them. Fails on whatever a page of ours never has."""

    def __init__(self, text):
        super().__init__(convert_charrefs=True)
        self.open, self.texts, self.attributes = [], [], []
        self.feed(text)
        self.close()
        assert not self.open, self.open

    def handle_starttag(self, tag, attrs):
        assert tag in ELEMENTS and {name for name, _ in attrs} <= ATTRIBUTES, (tag, attrs)
        self.attributes += [(tag, name, value) for name, value in attrs]
        if tag not in EMPTY_ELEMENTS:
            self.open.append(tag)

    def handle_startendtag(self, tag, attrs):
        self.handle_starttag(tag, attrs)
        self.handle_endtag(tag)

    def handle_endtag(self, tag):
        assert self.open and self.open.pop() == tag, tag

    def handle_data(self, data):
        self.texts.append((self.open[-1] if self.open else "", data))

    def all_in(self, element):
        return [text for tag, text in self.texts if tag == element]

    def text(self):
        return " ".join(text for tag, text in self.texts if tag != "style")


class ReportCase(MetricsCase):
    def report(self, *arguments, status=0):
        text = self.run_command("report", *arguments)
        self.assertEqual(self.status, status, self.errors)
        return Page(text)


@unittest.skipUnless(machine_id(), "the machine has no /etc/machine-id")
class OneMachine(ReportCase):
    def test_what_needs_somebody_comes_first(self):
        here = {"machine_id": machine_id()}
        self.machine("sda")  # the stand-in speaks no JSON
        self.keep(kept_test(1, **here), kept_test(2, outcome="failed", cause="read failure", **here))
        page = self.report()
        self.assertEqual(page.all_in("h2"), ["Needs attention", "The other drives"])
        self.assertEqual(page.all_in("b"), ["Not known", "No longer here"])
        self.assertIn("Example Disk 500, EX0001", page.all_in("bdi"))
        self.assertIn("2 tests: 1 passed, 1 failed", page.all_in("summary"))
        self.assertRegex(self.errors, r"\Ahddtest: /dev/sda: not looked at: .*\n\Z")

    def test_hostile_texts_stay_texts(self):
        texts = {name: HOSTILE for name in ("model", "serial_number", "firmware")}
        self.keep(kept_test(1, dict(texts, identity=HOSTILE), machine_id=machine_id(),
                            outcome="failed", cause=HOSTILE, device=HOSTILE, device_type=HOSTILE,
                            host_name=HOSTILE))
        page = self.report()
        self.assertIn(f"{SHOWN}, {SHOWN}", page.all_in("bdi"))
        self.assertIn(f"failed: {SHOWN}", page.all_in("td"))
        self.assertIn(f"Tests of {SHOWN}, {SHOWN} over time", page.all_in("title"))

    def test_dates_that_lie_ahead_are_none_and_are_told(self):
        ahead = dict.fromkeys(("recorded", "started", "ended"), "2099-01-01T00:00:00Z")
        self.keep(kept_test(1, **ahead, machine_id=machine_id()))
        page = self.report()
        self.assertIn("One test is of later than now, by a clock that was wrong: it has no date here.",
                      page.text())
        self.assertNotIn("2099", page.text())

    def test_a_history_that_cannot_be_read_is_told(self):
        state = self.folder / "state"
        state.mkdir()
        state.chmod(0o777)
        page = self.report(status=3)
        self.assertIn("The history of tests could not be read", page.text())
        self.assertRegex(self.errors, r"\Ahddtest: nothing is kept in the history: .*\n\Z")


def recent(number, days=1, **members):
    """A test that a drive of machine number has passed lately."""
    time = (datetime.datetime.now(datetime.timezone.utc)
            - datetime.timedelta(days=days)).strftime("%Y-%m-%dT%H:%M:%SZ")
    return kept_test(number, {"serial_number": f"EX{number}"},
                     **{"machine_id": f"{number:032x}", "kind": "long", "recorded": time,
                        "started": time, "ended": time, **members})


class Fleet(ReportCase):
    def setUp(self):
        super().setUp()
        self.files = self.folder / "histories"
        self.files.mkdir()

    def machine_file(self, name, *lines):
        file = self.files / name
        file.write_text("".join(line + "\n" for line in lines))
        return file

    def test_drives_that_need_somebody_and_a_line_for_each_machine(self):
        well = self.machine_file("web1.example.com.json", recent(1))
        bad = self.machine_file("web2", recent(2, outcome="failed", cause="read failure"))
        page = self.report(well, bad)
        self.expect(0)
        self.assertEqual(page.all_in("h1"), [])  # its text stands in an element of its own
        self.assertIn("Drives of 2 machines", page.all_in("bdi"))
        self.assertEqual(page.all_in("h2"), ["Needs attention", "Machines"])
        self.assertIn("Example Disk 500, EX2", page.all_in("bdi"))
        self.assertNotIn("Example Disk 500, EX1", page.all_in("bdi"))
        self.assertEqual(page.all_in("bdi")[-2:], ["web2", "web1.example.com"])
        self.assertEqual(page.all_in("b")[-2:], ["1 failed", "1 in order"])

    def test_what_history_prints_is_read(self):
        self.keep(recent(1), recent(2, outcome="failed"))
        lines = self.run_command("history", "--json").splitlines()
        page = self.report(self.machine_file("host.json", *lines))
        self.expect(0)
        self.assertIn("1 test of other machines left out. ", page.text())

    def test_of_a_folder_the_files_that_are_histories(self):
        for number, name in enumerate(("b.json", "a.jsonl", ".hidden.json", "notes.txt"), 1):
            self.machine_file(name, recent(number))
        (self.files / "folder.json").mkdir()
        page = self.report(self.files)
        self.assertEqual(page.all_in("bdi")[1:], ["a", "b"])
        (self.folder / "empty").mkdir()
        self.run_command("report", "empty")
        self.expect_one_line(3, "empty: there is no file in it that ends in .json or .jsonl")

    def test_a_damaged_file_is_told_and_the_others_are_shown(self):
        good = self.machine_file("good.json", recent(1))
        line = recent(2)
        for what, text, words in [
                ("cut off", line + "\n" + line[:100], "line 2: it is no JSON: at byte 101"),
                ("another schema", '{"reason": "x"}\n', "line 1: id is missing"),
                ("a member more", line[:-1] + ', "\\u001b": 1}', "no member of a test"),
                ("NUL", "\0" * 100, "line 1: it is no JSON: at byte 1"),
                ("no UTF-8", line.replace("EX2", "EX\udcff"), "line 1: it is no JSON"),
                ("no line ends", "x" * 5_000_000, "line 1: it is longer than 262144 bytes"),
                ("HTML", "<script>alert(1)</script>", "line 1: it is no JSON")]:
            with self.subTest(what=what):
                bad = self.files / "bad.json"
                bad.write_bytes(text.encode("utf-8", "surrogateescape"))
                page = self.report(bad, good, status=3)
                self.assertRegex(self.errors, rf"\Ahddtest: .*bad\.json: .*{words}.*\n\Z")
                self.assertIn("Not shown", page.all_in("b"))
                self.assertEqual(page.all_in("h2"), ["Machines that are not shown", "Machines"])
                self.assertEqual(page.all_in("bdi")[-2:], ["bad", "good"])

    def test_a_file_that_is_not_there(self):
        page = self.report("none.json", self.machine_file("good.json", recent(1)), status=3)
        self.expect(3, "hddtest: none.json: No such file or directory\n")
        self.assertIn("none", page.all_in("bdi"))

    def test_two_files_of_one_machine_are_told(self):
        page = self.report(self.machine_file("a.json", recent(1)), self.machine_file("b.json", recent(1)))
        self.assertEqual(self.status, 0)
        self.assertRegex(self.errors, r"\Ahddtest: .*b\.json: it has the machine id of a: .*\n\Z")
        self.assertIn("Has the machine id of a.", page.text())

    def test_hostile_names_and_texts_stay_texts(self):
        texts = {name: HOSTILE for name in ("identity", "model", "serial_number", "firmware")}
        name = HOSTILE.replace("/", "|") + "\udcff"
        self.machine_file(name + ".json", kept_test(1, texts, outcome="failed", cause=HOSTILE,
                                                    device=HOSTILE))
        page = self.report(self.files)
        shown = SHOWN.replace("/", "|") + "\ufffd"
        self.assertEqual(page.all_in("bdi")[-1], shown)
        self.assertIn(f"Tests of {shown}: {SHOWN}, {SHOWN} over time", page.all_in("title"))

    def test_no_drive_is_looked_at(self):
        self.machine("sda")
        self.report(self.machine_file("a.json", recent(1)))
        self.expect(0)
        self.assertFalse((self.folder / "state").exists())


class Anywhere(ReportCase):
    def test_a_machine_without_drives(self):
        page = self.report()
        self.assertIn("There is no drive on this machine", page.text())
        self.expect(0)

    def test_forbids_what_it_does_not_have(self):
        policy, = [value for _, name, value in self.report().attributes
                   if name == "content" and "default-src" in value]
        self.assertTrue(policy.startswith("default-src 'none'; style-src 'unsafe-inline'"))

    def test_replaces_a_file_for_everybody_to_read(self):
        file = self.folder / "drives.html"
        file.write_text("old")
        before = os.umask(0o077)
        self.addCleanup(os.umask, before)
        self.assertEqual(self.run_command("report", "--output", file), "")
        self.expect(0)
        Page(file.read_text())
        self.assertEqual(file.stat().st_mode & 0o7777, 0o644)
        self.assertEqual([one.name for one in self.folder.glob("*drives.html*")], ["drives.html"])

    def test_a_terminal_is_no_place_for_a_page(self):
        written, status = self.on_terminal("report")
        self.assertEqual(status, 3)
        self.assertNotIn("<html", written)
        self.assertIn("hddtest report --output drives.html", written)

    def test_wrong_command_lines(self):
        for arguments, words in [(["--output", ""], "--output needs the name of a file"),
                                 (["--output", "a", "--output", "b"], "--output takes one FILE"),
                                 (["--output", "none/file"], "cannot write 'none/file'")]:
            self.run_command("report", *arguments)
            self.expect_one_line(3, words)
        answer = json.loads(self.run_command("report", "--json"))
        self.assertIn("a page for people", answer[0]["reason"])
        self.assertEqual(self.status, 3)


if __name__ == "__main__":
    main()

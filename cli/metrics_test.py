"""What monitoring systems are told, as a reader of the format's own description understands it.

    metrics_test.py PROGRAM
"""

import json
import os
import pathlib
import re
import unittest

from command_case import CommandTest, main
from exposition import Exposition, Fault
from history_test import kept_test

GAUGES = {
    "hddtest_drive_info", "hddtest_drive_present", "hddtest_drive_testable",
    "hddtest_test_running", "hddtest_test_stalled", "hddtest_last_test_outcome", "hddtest_failure_open",
    "hddtest_last_test_end_timestamp_seconds", "hddtest_last_test_duration_seconds",
    "hddtest_last_passed_timestamp_seconds", "hddtest_scrape_errors"}
HOSTILE = "a\"b\\c\nhddtest_forged 1\r\x1b[31m\u202e\u2028é"  # the history takes no NUL
HWINFO = '#!/bin/sh\necho "$@" >> "${0%/*}/../hwinfo_was_started"\n'


def machine_id():
    try:
        return pathlib.Path("/etc/machine-id").read_text().strip().lower()
    except OSError:
        return ""


class MetricsCase(CommandTest):
    def setUp(self):
        super().setUp()
        self.file = self.folder / "hddtest.prom"
        hwinfo = self.smartctl.with_name("hwinfo")
        hwinfo.write_text(HWINFO)
        hwinfo.chmod(0o755)

    def keep(self, *lines):
        file = self.folder / "lines"
        file.write_text("".join(line + "\n" for line in lines))
        self.run_command("history", "--import", file)
        self.expect(0)

    def read(self):
        metrics = Exposition(self.run_command("metrics").encode())
        self.assertEqual(self.status, 0, self.errors)
        return metrics


@unittest.skipUnless(machine_id(), "the machine has no /etc/machine-id")
class Kept(MetricsCase):
    def test_of_drives_that_are_gone(self):
        here = {"machine_id": machine_id()}
        self.keep(kept_test(1, **here), kept_test(2, outcome="failed", cause="read failure", **here),
                  kept_test(3, kind="long", **here),
                  kept_test(4, {"identity": "wwn-0x5000c500a1b2c3d5"}))
        metrics = self.read()
        self.expect(0)
        self.assertEqual({name for name, kind in metrics.types.items() if kind == "gauge"}, GAUGES)
        self.assertEqual([name for name, kind in metrics.types.items() if kind != "gauge"],
                         ["hddtest_tests_total"])
        self.assertEqual(set(metrics.helps), set(metrics.types))
        self.assertTrue(all(metrics.helps.values()))
        drive = "wwn-0x5000c500a1b2c3d4"
        self.assertEqual(metrics.labels("hddtest_drive_info"), [
            {"drive": drive, "device": "", "serial": "EX0001", "model": "Example Disk 500",
             "firmware": "1.0", "protocol": "ATA"}])  # and none of the other machine's
        self.assertEqual(metrics.value("hddtest_drive_present", drive=drive), 0)
        for test, outcome, value in [("short", "failed", 1), ("short", "passed", 0),
                                     ("long", "passed", 1), ("conveyance", "passed", None)]:
            self.assertEqual(metrics.value("hddtest_last_test_outcome", drive=drive, test=test,
                                           outcome=outcome), value)
        # A long test has passed since.
        self.assertEqual(metrics.value("hddtest_failure_open", drive=drive, test="short"), 0)
        self.assertEqual(metrics.value("hddtest_last_test_end_timestamp_seconds", drive=drive,
                                       test="short"), 1740909720)  # 2025-03-02T10:02:00Z
        self.assertEqual(metrics.value("hddtest_last_test_duration_seconds", drive=drive,
                                       test="long"), 120)
        self.assertEqual(metrics.value("hddtest_last_passed_timestamp_seconds", drive=drive,
                                       test="short"), 1740823320)
        self.assertEqual(metrics.value("hddtest_tests_total", drive=drive, outcome="passed"), 2)

    def test_dates_that_lie_ahead_are_none_and_are_told(self):
        here = {"machine_id": machine_id()}
        ahead = dict.fromkeys(("recorded", "started", "ended"), "2099-01-01T00:00:00Z")
        self.keep(kept_test(1, **here), kept_test(2, **ahead, **here))
        metrics = self.read()
        self.assertRegex(self.errors, r"\Ahddtest: one test is of later than now, by a clock .*\n\Z")
        drive = {"drive": "wwn-0x5000c500a1b2c3d4"}
        self.assertEqual(metrics.value("hddtest_last_passed_timestamp_seconds", test="short", **drive),
                         1740823320)
        self.assertEqual(metrics.value("hddtest_tests_total", outcome="passed", **drive), 2)

    def test_hostile_texts_forge_nothing(self):
        texts = {"identity": HOSTILE, "model": HOSTILE.replace("\n", " "), "serial_number": HOSTILE,
                 "firmware": HOSTILE, "world_wide_name": ""}
        self.keep(kept_test(1, texts, machine_id=machine_id()))
        metrics = self.read()
        self.assertEqual({name for name, _ in metrics.samples} - GAUGES, {"hddtest_tests_total"})
        info, = metrics.labels("hddtest_drive_info")
        shown = "a\"b\\c\nhddtest_forged 1\ufffd\ufffd[31m\ufffd\ufffdé"
        self.assertEqual(info["firmware"], shown)
        self.assertEqual(info["drive"], shown.replace("\n", " "))

    def test_drives_with_one_label_stay_apart_and_are_told(self):
        self.keep(*(kept_test(number, {"identity": identity}, machine_id=machine_id())
                    for number, identity in enumerate(("Example\nS 1", "Example S\n1"), 1)))
        metrics = self.read()
        self.assertIn("another drive has the label 'Example S 1'", self.errors)
        self.assertEqual(metrics.value("hddtest_scrape_errors"), 1)
        self.assertEqual({one["drive"] for one in metrics.labels("hddtest_drive_present")},
                         {"Example S 1", "Example S 1 (2)"})


class Looks(MetricsCase):
    def test_a_drive_that_cannot_be_looked_at_is_counted_and_told(self):
        self.machine("sda")
        metrics = self.read()  # the stand-in speaks no JSON
        self.assertRegex(self.errors, r"\Ahddtest: /dev/sda: not looked at: .*\n\Z")
        self.assertEqual(metrics.value("hddtest_scrape_errors"), 1)
        present, = metrics.labels("hddtest_drive_present")
        self.assertIsNone(metrics.value("hddtest_drive_testable", **present))

    def test_without_the_history_nothing_is_told_and_the_former_file_stays(self):
        state = self.folder / "state"
        state.mkdir(mode=0o777)
        state.chmod(0o777)
        self.file.write_text("old")
        for words in (), ("--output", self.file):
            self.assertEqual(self.run_command("metrics", *words), "")
            self.assertEqual(self.status, 3)
            self.assertRegex(self.errors, r"\Ahddtest: nothing is kept in the history: .*\n"
                                          r"hddtest: no metrics: without the history .*\n\Z")
        self.assertEqual(self.file.read_text(), "old")

    def test_hwinfo_is_never_started(self):
        self.machine("sda", "sdb")
        self.read()
        self.run_command("metrics", "--output", self.file)
        self.assertEqual(self.run_command("patrol").splitlines()[-1],
                         "2 drives: 2 that could not be asked")
        self.assertEqual(self.status, 0)
        self.assertFalse((self.folder / "hwinfo_was_started").exists())


class Files(MetricsCase):
    def test_is_replaced_for_everybody_to_read(self):
        self.file.write_text("old")
        before = os.umask(0o077)
        self.addCleanup(os.umask, before)
        self.assertEqual(self.run_command("metrics", "--output", self.file), "")
        self.expect(0)
        self.assertEqual(Exposition(self.file.read_bytes()).value("hddtest_scrape_errors"), 0)
        self.assertEqual(self.file.stat().st_mode & 0o7777, 0o644)
        self.assertEqual([one.name for one in self.folder.glob("*hddtest.prom*")], ["hddtest.prom"])

    def test_what_is_no_file_is_left_alone(self):
        (self.folder / "folder").mkdir()
        (self.folder / "target").write_text("old")
        (self.folder / "link").symlink_to("target")
        for name, words in [("folder", "it is a folder"), ("link", "it is a link"),
                            ("none/file", "No such file or directory"), ("/dev/null", "no regular")]:
            self.run_command("metrics", "--output", name)
            self.expect_one_line(3, f"cannot write '{name}': .*{words}")
        self.assertEqual((self.folder / "target").read_text(), "old")

    def test_wrong_command_lines(self):
        self.run_command("metrics", "--output", "")
        self.expect_one_line(3, "--output needs the name of a file")
        self.run_command("metrics", "--output", "a", "--output", "b")
        self.expect_one_line(3, "--output takes one FILE")
        answer = json.loads(self.run_command("metrics", "--json"))
        self.assertIsNone(answer[0]["device"])
        self.assertEqual(self.status, 3)


class Page(unittest.TestCase):
    def test_lists_the_metrics(self):
        page = (pathlib.Path(__file__).parent.parent / "docs/fleet.md").read_text()
        metrics = page.split("\n## Metrics\n")[1].split("\n## ")[0]
        listed = re.findall(r"^\| `(hddtest_\w+)` \|", metrics, re.MULTILINE)
        self.assertEqual(sorted(listed), sorted(
            GAUGES | {"hddtest_tests_total", "hddtest_test_remaining_ratio",
                      "hddtest_tried_since_timestamp_seconds"}))


class Reader(unittest.TestCase):
    """The reader itself takes nothing else."""

    def test_takes_what_the_description_says(self):
        read = Exposition(b"\n# a comment\n# HELP a What it is.\n#\tTYPE\ta gauge\n"
                          b" a { b = \"c\" } 1\n".replace(b" = ", b"=") + b"a{b=\"\\\\\\\"\\n\",} NaN\n")
        self.assertEqual(read.value("a", b="c"), 1)
        self.assertIsNotNone(read.value("a", b="\\\"\n"))

    def test_refuses_all_else(self):
        for wrong in (b"a 1", b"a{b=\"c\"\n", b"a{b=c} 1\n", b"a{b=\"\\t\"} 1\n", b"a 1\na 1\n",
                      b"a 1\nb 1\na{b=\"\"} 1\n", b"a 1\n# TYPE a gauge\n", b"# TYPE a info\n",
                      b"1a 1\n", b"a one\n", b"a 1 2\n", b"a{b=\"\",b=\"\"} 1\n", b"a\xff 1\n"):
            with self.subTest(wrong=wrong), self.assertRaises((Fault, ValueError)):
                Exposition(wrong)


if __name__ == "__main__":
    main()

"""What is kept of tests, as users of 'hddtest history' meet it, and the wrong command lines of start,
status and stop.

    history_test.py PROGRAM
"""

import json
import os
import unittest
from datetime import datetime, timedelta, timezone

from command_case import CONTROL, CommandTest, main

NO_TEST = "No test is kept.\n"
ONE_ADDED = {"added": 1, "ended": 0, "unchanged": 0, "different": 0}


def kept_test(number, drive=(), **members):
    """A test that a drive of another machine has passed, as a line of JSON has it, with the drive's
    code for the outcome."""
    code = {"passed": 0, "failed": 7, "aborted": 1}.get(members.get("outcome", "passed"))
    test = {
        "id": f"{number:032x}", "machine_id": "a" * 32, "host_name": "elsewhere",
        "drive": {"identity": "wwn-0x5000c500a1b2c3d4", "protocol": "ATA",
                  "model": "Example Disk 500", "serial_number": "EX0001", "firmware": "1.0",
                  "world_wide_name": "wwn-0x5000c500a1b2c3d4", "size": 500107862016,
                  "is_rotational": True},
        "device": "/dev/sdx", "device_type": "sat", "source": "hddtest", "kind": "short",
        "test_code": 1, "recorded": f"2025-03-{number:02}T10:00:00Z",
        "started": f"2025-03-{number:02}T10:00:00Z", "ended": f"2025-03-{number:02}T10:02:00Z",
        "looked": None, "remaining_percent": None, "progressed": None, "outcome": "passed",
        "cause": "completed without error", "result_code": code, "first_bad_block": None,
        "segment": None, "hours": 4000 + number, "hours_at_start": 4000 + number,
        "power_cycles_at_start": None}
    test["drive"].update(drive)
    return json.dumps(dict(test, **members))


class HistoryCase(CommandTest):
    def setUp(self):
        super().setUp()
        self.state = self.folder / "state"
        self.database = self.state / "history.sqlite"
        self.environment["TZ"] = "UTC"

    def file_of(self, *lines):
        file = self.folder / "lines"
        file.write_text("".join(line + "\n" for line in lines))
        return file

    def take_over(self, *lines):
        self.run_command("history", "--import", self.file_of(*lines))
        self.expect(0)

    def lines(self, *arguments):
        lines = self.run_command("history", "--json", *arguments).splitlines()
        self.expect(0)
        return lines

    def expect_refused(self, pattern, *arguments):
        self.run_command("history", *arguments)
        self.expect_one_line(3, pattern)


class History(HistoryCase):
    def test_empty(self):
        self.assertEqual(self.run_command("history"), NO_TEST)
        self.expect(0)
        self.assertEqual(self.lines(), [])
        self.assertEqual(self.state.stat().st_mode & 0o777, 0o700)
        self.assertEqual(self.database.stat().st_mode & 0o777, 0o600)

    def test_list_has_the_newest_first(self):
        self.take_over(kept_test(1), kept_test(2, kind="long", outcome="failed",
                                               cause="read failure", first_bad_block=4711))
        shown = self.run_command("history")
        self.expect(0)
        self.assertEqual([line.split() for line in shown.splitlines()],
                         [line.split() for line in (
                             "WHEN DEVICE MODEL SERIAL TEST BY RESULT",
                             "2025-03-02 10:00 /dev/sdx Example Disk 500 EX0001 long test hddtest"
                             " failed: read failure, first bad block 4711",
                             "2025-03-01 10:00 /dev/sdx Example Disk 500 EX0001 short test hddtest"
                             " passed")])

    def test_limit_leaves_the_newest(self):
        self.take_over(*(kept_test(number) for number in range(1, 6)))
        self.assertEqual(len(self.lines()), 5)
        self.assertEqual(len(self.lines("--limit", "0")), 5)
        self.assertEqual([json.loads(line)["hours"] for line in self.lines("--limit", "2")],
                         [4004, 4005])

    def test_of_a_drive_that_is_gone(self):
        self.take_over(kept_test(1), kept_test(2, {"identity": "a", "serial_number": "EX0002",
                                                   "world_wide_name": ""}))
        for name in ("EX0002", "EX0001", "wwn-0x5000c500a1b2c3d4"):
            self.assertEqual(len(self.lines(name)), 1, name)
        self.assertEqual(len(self.lines("/dev/sdx")), 2)
        self.run_command("history", "EX0003")
        self.expect_one_line(3, "EX0003: there is no such drive, and no test of one is kept")


class Import(HistoryCase):
    def test_takes_over_what_json_has_printed(self):
        self.take_over(kept_test(1), kept_test(2, outcome="aborted", cause="aborted by the host"))
        printed = self.lines()
        file = self.file_of(*printed)
        self.environment["HVX_STATE_DIR"] = str(self.folder / "other")
        self.assertEqual(self.run_command("history", "--import", file),
                         "2 tests taken over, 0 ended, 0 known already, 0 kept as they were\n")
        self.expect(0)
        self.assertEqual(self.lines(), printed)
        self.assertEqual(self.run_command("history", "--import", file),
                         "0 tests taken over, 0 ended, 2 known already, 0 kept as they were\n")
        self.assertEqual(self.lines(), printed)

    def test_numbers_as_json(self):
        counts = json.loads(self.run_command("history", "--json", "--import",
                                             self.file_of(kept_test(1))))
        self.expect(0)
        self.assertEqual(counts, ONE_ADDED)
        other = self.file_of(kept_test(1, outcome="failed", cause="read failure", result_code=7))
        counts = json.loads(self.run_command("history", "--import", other, "--json",
                                             "--forget-before", "2026-01-01"))
        self.assertEqual(counts, dict(ONE_ADDED, added=0, different=1, removed=1))
        self.assertEqual(self.lines(), [])

    def test_one_wrong_line_changes_nothing(self):
        self.take_over(kept_test(1))
        before = self.lines()
        for wrong, words in [
            ("nothing", "it is no JSON"),
            ("[]", ""),
            (kept_test(3, outcome="splendid"), "outcome"),
            (kept_test(3, ended="yesterday"), "ended"),
            (kept_test(3, colour="red"), "colour"),
            (kept_test(3, result_code=7), 'outcome is "passed", but result_code 7 means "failed"'),
            (kept_test(3, outcome="failed", result_code=0),
             'outcome is "failed", but result_code 0 means "passed"'),
            (kept_test(3, outcome=None, ended=None, result_code=0),
             "outcome is null, but result_code is 0"),
            (kept_test(3, cause="x" * 300_000), "it is longer than"),
        ]:
            with self.subTest(wrong=wrong[:40]):
                file = self.file_of(kept_test(2), wrong, kept_test(4))
                self.expect_refused(f"lines: line 2: .*{words}.*; nothing was taken over: mend or "
                                    "remove that line", "--import", file)
                self.assertEqual(self.lines(), before)

    def test_file_that_cannot_be_read(self):
        self.expect_refused("none: No such file or directory", "--import", "none")
        self.expect_refused("bin: this is a folder", "--import", "bin")
        self.expect_refused("--import needs the name of a file", "--import", "")
        self.expect_refused("--import needs a value", "--import")
        self.expect_refused(r"no\\x1b\[2Jne", "--import", "no\x1b[2Jne")
        printed = self.run_command("history", "--json", "--import", "none")
        self.assertEqual((self.status, printed), (3, '{"reason":"none: No such file or directory"}\n'))


class ForgetBefore(HistoryCase):
    def test_removes_what_ended_before_that_day(self):
        self.take_over(*(kept_test(number) for number in range(1, 5)))
        self.assertEqual(self.run_command("history", "--forget-before", "2025-03-02"),
                         "1 test removed\n")
        self.expect(0)
        self.assertEqual(self.run_command("history", "--forget-before", "2025-03-02"),
                         "0 tests removed\n")
        self.assertEqual(len(self.lines()), 3)
        self.assertEqual(json.loads(self.run_command("history", "--json", "--forget-before",
                                                     "2025-03-04")), {"removed": 2})
        self.assertEqual(len(self.lines()), 1)

    def test_takes_dates_alone_and_removes_nothing_else(self):
        self.take_over(kept_test(1))
        for date in ("", "2025-02-30", "2025-13-01", "30.12.2025", "2025-12-31T00:00:00Z", "90",
                     "\x1b[2J"):
            with self.subTest(date=date):
                self.expect_refused("' is not a date; --forget-before takes one such as 2025-12-31",
                                    "--forget-before", date)
        self.assertEqual(len(self.lines()), 1)

    def test_refuses_a_day_that_lies_ahead(self):
        self.take_over(kept_test(1))
        tomorrow = (datetime.now(timezone.utc) + timedelta(days=1)).strftime("%Y-%m-%d")
        for date in (tomorrow, "2925-03-02"):
            self.expect_refused(f"'{date}' lies ahead", "--forget-before", date)
        self.assertEqual(len(self.lines()), 1)

    def test_help_shows_that_options_take_one_word(self):
        self.run_command("history", "--help")
        self.assertNotRegex(self.output, r"(FILE|DATE) *\.\.\.")
        self.assertRegex(self.output, r"--import FILE +Take over")
        self.assertRegex(self.output, r"\[DEVICE\.\.\.\]|DEVICE .*\.\.\.", "drives may be many")

    def test_is_not_about_single_drives(self):
        self.take_over(kept_test(1))
        for change in ("--forget-before=2026-01-01", "--import=lines"):
            self.expect_refused("leave out --limit", "--limit", "3", change)
        one_file = "--import takes one FILE, and no DEVICE: name other files in calls of their own"
        one_date = "--forget-before takes one DATE, and no DEVICE: leave out the others"
        file = self.file_of(kept_test(2))
        for second in ("EX0002", file, "--import=lines"):
            self.expect_refused(one_file, "--import", file, second)
        for second in ("EX0002", "2026-01-02", "--forget-before=2026-01-01"):
            self.expect_refused(one_date, "--forget-before", "2025-01-01", second)
        # A wrong date is told before a file is taken over.
        self.expect_refused("is not a date", "--forget-before=x", "--import",
                            self.file_of(kept_test(2)))
        self.assertEqual(len(self.lines()), 1)


class StateFolder(HistoryCase):
    def test_link_is_refused(self):
        (self.folder / "elsewhere").mkdir(mode=0o700)
        self.state.symlink_to(self.folder / "elsewhere")
        self.expect_refused("state is a link: move it away, or set HVX_STATE_DIR")
        self.assertEqual(list((self.folder / "elsewhere").iterdir()), [])

    def test_file_that_is_a_link_is_refused(self):
        self.state.mkdir(mode=0o700)
        self.database.symlink_to(self.folder / "elsewhere")
        self.expect_refused("history.sqlite is a link")
        self.assertFalse((self.folder / "elsewhere").exists())

    def test_others_may_not_reach_it(self):
        self.run_command("history")
        self.state.chmod(0o755)
        self.expect_refused(f"{self.state} is open to other users: chmod 700 {self.state}$")
        self.state.chmod(0o700)
        self.database.chmod(0o640)
        self.expect_refused(f"{self.database} is open to other users: chmod 600 {self.database}$")
        self.database.chmod(0o600)
        self.assertEqual(self.run_command("history"), NO_TEST)

    @unittest.skipUnless(os.geteuid() == 0, "only root gives files away")
    def test_somebody_elses_is_refused(self):
        self.run_command("history")
        for place in (self.state, self.database):
            os.chown(place, 65534, -1)
            self.expect_refused(f"{place} belongs to the user with the number 65534, who could "
                                f"change the history: chown 0 {place}")
            os.chown(place, 0, -1)

    def test_missing_parent_and_no_folder(self):
        self.environment["HVX_STATE_DIR"] = str(self.folder / "none/state")
        self.expect_refused("none, where the history's folder belongs: No such file or directory")
        self.environment["HVX_STATE_DIR"] = str(self.log)
        self.log.write_text("")
        self.expect_refused("log is no folder: move it away")
        error = json.loads(self.run_command("history", "--json"))
        self.assertEqual(self.status, 3)
        self.assertEqual(self.errors, f"hddtest: {error['reason']}\n")

    def test_damaged_file_is_kept_aside_and_told_once(self):
        self.take_over(kept_test(1))
        damage = b"This is no database. " * 500
        self.database.write_bytes(damage)
        self.assertEqual(self.run_command("history"), NO_TEST)
        self.assertEqual(self.status, 0)
        self.assertRegex(self.errors, r"\Ahddtest: .*history\.sqlite\.damaged-.*\n\Z")
        (aside,) = self.state.glob("history.sqlite.damaged-*")
        self.assertEqual(aside.read_bytes(), damage)
        self.assertEqual(self.run_command("history"), NO_TEST)
        self.expect(0)
        self.take_over(kept_test(1))
        self.assertEqual(aside.read_bytes(), damage)


class NarrowTerminal(HistoryCase):
    def test_no_word_of_a_result_is_cut(self):
        self.take_over(kept_test(1, outcome="failed", cause="read failure", first_bad_block=4711))
        for columns, words in ((140, "failed: read failure, first bad block 4711"),
                               (60, "failed"), (50, "failed")):
            written, _ = self.on_terminal("history", columns=columns, NO_COLOR="1")
            title, row = written.replace("\r\n", "\n").splitlines()
            self.assertEqual(row[title.index("RESULT"):], words, written)


class HostileTexts(HistoryCase):
    TEXT = "\x1b[2J\x07\r\n\t\u202eX\x9b1m\x7f\x01"

    def setUp(self):
        super().setUp()
        self.take_over(kept_test(1, {"identity": "x" + self.TEXT, "model": "M" + self.TEXT,
                                     "serial_number": "S" + self.TEXT, "firmware": self.TEXT},
                                 host_name=self.TEXT, device="/dev/" + self.TEXT,
                                 device_type=self.TEXT, outcome="failed", cause=self.TEXT))

    def test_reach_no_terminal(self):
        for arguments in (["history"], ["history", "--json"], ["history", "S" + self.TEXT]):
            written, status = self.on_terminal(*arguments, columns=300, NO_COLOR="1")
            self.assertEqual(status, 0)
            self.assertIn(r"\u001b[2J" if "--json" in arguments else r"\x1b[2J", written)
            self.assertIsNone(CONTROL.search(written.replace("\r\n", "\n")), ascii(written))
            self.assertLessEqual(written.count("\n"), 2)

    def test_reach_no_file(self):
        for arguments in (["history"], ["history", "--json"]):
            self.run_command(*arguments)
            self.expect(0)
            self.assertIsNone(CONTROL.search(self.output), ascii(self.output))

    def test_are_quoted_where_a_line_is_refused(self):
        file = self.file_of(kept_test(2, outcome=self.TEXT), json.dumps({self.TEXT: 1}))
        self.expect_refused("line 1: ", "--import", file)
        self.assertIsNone(CONTROL.search(self.errors), ascii(self.errors))
        self.expect_refused("line 1: ", "--import", self.file_of(json.dumps({self.TEXT: 1})))
        self.assertIsNone(CONTROL.search(self.errors), ascii(self.errors))

    def test_stay_what_they_are(self):
        (line,) = self.lines()
        self.assertEqual(json.loads(line)["drive"]["model"], "M" + self.TEXT)


class WrongCommandLines(HistoryCase):
    def test_are_told(self):
        for arguments, words in [
            (["start", "--test", "captive"],
             "there is no test 'captive'; --test takes short, long or conveyance"),
            (["start", "-t", "captive"], "there is no test 'captive'; --test takes"),
            (["start", "--test", ""], "there is no test ''; --test takes"),
            (["start", "--type", "sat"], "--type needs a DEVICE: "),
            (["start", "--wait"], "'hddtest start' has no option '--wait'"),
            (["status", "--type", "sat"], "--type needs a DEVICE: "),
            (["stop"], "DEVICE is required; see hddtest stop --help"),
            (["stop", "--type", "sat"], "DEVICE is required; see hddtest stop --help"),
            (["history", "--limit", "-1"], "--limit: '-1' is not a number from 0 to 1000000000"),
            (["history", "--limit", "ten"], "--limit: 'ten' is not a number from 0"),
        ]:
            with self.subTest(arguments=arguments):
                self.run_command(*arguments)
                self.expect_one_line(3, words)
                self.expect_failure_as_json(words, *arguments)

    def expect_failure_as_json(self, words, command, *arguments):
        told = json.loads(self.run_command(command, *arguments, "--json"))
        error = told if command == "history" else told[0]
        self.assertEqual(self.status, 3)
        self.assertEqual(self.errors, f"hddtest: {error['reason']}\n")
        self.assertIn(words, error["reason"])
        # The members of an answer, of which a program may read any.
        if command != "history":
            (answer,) = json.loads(self.run_command(command, "--json", "NONE"))
            self.assertEqual(error, dict(answer, name=None, reason=error["reason"]))

    def test_drive_that_is_not_there(self):
        for command, words in (("start", "not started"), ("status", "not looked at"),
                               ("stop", "not stopped")):
            with self.subTest(command=command):
                self.run_command(command, "EX\x1b[2J")
                self.expect_one_line(3, rf"EX\\x1b\[2J: {words}: there is no such drive; 'hddtest status' shows all")
                (told,) = json.loads(self.run_command(command, "--json", "NONE"))
                self.assertEqual((self.status, told["name"]), (3, "NONE"))
                self.assertIn("there is no such drive", told["reason"])
        self.assertEqual(self.lines(), [])


if __name__ == "__main__":
    main()

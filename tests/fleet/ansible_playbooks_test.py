"""The playbooks over 50 machines that are played on this one, some of which cannot be tested.

    ansible_playbooks_test.py PROGRAMS STANDIN
"""

import os
import shutil
import sys
import unittest

from ansible_case import AnsibleCase, COLLECTION, disk

sys.path.append(str(COLLECTION / "plugins/filter"))
# pylint: disable=wrong-import-position
from fleet import broken, gathered, has_ended, has_started, installed, reported, tested, waves

PROGRAMS, STANDIN = sys.argv[1:3]
NEEDED = ("ansible-playbook", "smartctl")
REFUSES = """#!/bin/sh
echo '[{"device": null, "reason": "no memory", "cause": "module-error"}]'
echo 'no memory' >&2
exit 3
"""


class Waves(unittest.TestCase):
    def test_have_one_machine_of_each_rack_and_no_more_than_the_cap(self):
        racks = {"all": list("abcdef"), "rack_1": ["a", "b", "c"], "rack_2": ["d"]}
        for prefix, cap, found in [("", 0, ["abcdef"]), ("", 2, ["ab", "cd", "ef"]),
                                   ("rack_", 0, ["adef", "b", "c"]), ("rack_", 2, ["ad", "be", "cf"]),
                                   ("rack_", 1, list("abcdef"))]:
            with self.subTest(prefix=prefix, cap=cap):
                self.assertEqual(waves("abcdef", racks, prefix, cap), [list(wave) for wave in found])
        self.assertEqual(waves([], racks), [])

    def test_machine_in_two_racks_waits_for_both(self):
        racks = {"rack_1": ["a", "b"], "rack_2": ["b", "c"]}
        self.assertEqual(waves("abc", racks, "rack_"), [["a", "c"], ["b"]])


class Words(unittest.TestCase):
    def test_of_machines_that_could_not_be_asked(self):
        for result, text in [
                ({"unreachable": True, "msg": "Failed\nno route"}, "unreachable: no route"),
                ({"msg": "MODULE FAILURE", "rc": 1, "module_stderr": "sudo: no\n"}, "sudo: no"),
                ({"msg": "MODULE FAILURE", "rc": 127, "module_stderr": "/bin/sh: 1: sudo: not found\n"},
                 "/bin/sh: 1: sudo: not found"),
                ({"failed": True, "rc": 2, "msg": "[Errno 2] No such file or directory: b'hddtest'"},
                 "hddtest is not installed"),
                ({"rc": 127, "stderr": "sh: 1: hddtest: not found"}, "hddtest is not installed")]:
            # In check mode a machine may have no hddtest yet, but it has to be there.
            if result.get("unreachable"):
                self.assertFalse(installed(result, True)["is_good"], result)
            for told in (tested(result), gathered(result), installed(result, False)):
                self.assertEqual(told, {"is_good": False, "text": text})

    def test_of_tasks_that_failed(self):
        for result in ({}, None, {"failed": True, "rc": 0, "stdout": "[]"}):
            self.assertEqual(broken(result)["text"], "a task has failed; its output above says how")
        self.assertEqual(broken({"failed": True, "msg": "no space left"}), {"is_good": False, "text": "no space left"})

    def test_of_reports(self):
        old, new = {"stat": {"isreg": True, "mtime": 1.5, "inode": 4}}, {"stat": {"isreg": True, "mtime": 2.5, "inode": 4}}
        folder, absent = {"stat": {"isreg": False, "mtime": 2.5, "inode": 5}}, {"stat": {"exists": False}}
        for result, before, after, text in [
                ({"skipped": True}, old, old, "PAGE would be written"),
                ({"rc": 0}, old, new, "PAGE"),
                ({"failed": True, "rc": 2, "msg": "[Errno 2] No such file or directory: b'hddtest'"}, old, old,
                 "hddtest is not installed"),
                ({"rc": 3, "stderr": "a is no JSON\nb is no JSON\n"}, old, new,
                 "a is no JSON\nb is no JSON\nPAGE was written without that"),
                ({"rc": 3, "stderr": "a is no JSON"}, absent, new, "a is no JSON\nPAGE was written without that"),
                ({"rc": 3, "stderr": "cannot write"}, old, old, "cannot write"),
                ({"rc": 3, "stderr": "cannot write"}, absent, absent, "cannot write"),
                ({"rc": 3, "stderr": "cannot write"}, absent, folder, "cannot write"),
                ({"rc": -9, "stderr": ""}, old, old, "exit status -9")]:
            with self.subTest(text):
                self.assertEqual(reported(result, "PAGE", before, after), text)

    def test_of_patrols(self):
        one = '{"name": "/dev/sda", "result": "%s", "reason": %s}'
        for drives, status, is_good, text in [
                ("[]", 0, True, "no drive to test"),
                (f'[{one % ("passed", "null")}, {one % ("passed", "null")}]', 0, True, "2 passed"),
                (f'[{one % ("failed", chr(34) + "servo" + chr(34))}]', 1, False, "1 failed; /dev/sda: servo"),
                ('[{"name": "/dev/sda", "result": "failed", "reason": "servo", "advice": "replace it: EX0001"}]', 1,
                 False, "1 failed; /dev/sda: servo; replace it: EX0001"),
                (f'[{one % ("unknown", "null")}]', 0, False, "1 unknown; /dev/sda: unknown"),
                (f'[{one % ("unable", "null")}]', 0, True, "1 unable"),
                (f'[{one % ("not-asked", chr(34) + "no answer" + chr(34))}]', 0, False,
                 "1 not-asked; /dev/sda: no answer"),
                (f'[{one % ("not-started", "null")}]', 0, False, "1 not-started; /dev/sda: not-started"),
                ('[{"device": null, "reason": "no memory", "cause": "module-error"}]', 3, False, "no memory"),
                ('[{"device": null, "reason": null}]', 3, False, "exit status 3"),
                ("[1]", 0, False, "exit status 0"),
                ("{}", 0, False, "exit status 0"),
                ("", 3, False, "exit status 3")]:
            with self.subTest(drives):
                self.assertEqual(tested({"rc": status, "stdout": drives}),
                                 {"is_good": is_good, "text": text})
        self.assertEqual(tested({"rc": 3, "stdout": '[{"device": null}]', "stderr": "usage\nno such option\n"}),
                         {"is_good": False, "text": "no such option"})

    def test_of_patrols_that_somebody_waits_for(self):
        gone, lost = {"msg": "could not find job", "finished": 1}, {"unreachable": True, "msg": "no route"}
        for looked, is_ended in [({"started": 1, "finished": 0, "attempts": 1}, False),
                                 ({"finished": 1, "rc": 1, "stdout": "[]", "attempts": 1}, True),
                                 ({**gone, "attempts": 1}, False), ({**gone, "attempts": 2}, True), (lost, True),
                                 ({"finished": 0, "msg": "MODULE FAILURE", "module_stderr": "sudo: no"}, True)]:
            self.assertEqual(has_ended(looked), is_ended, looked)
        begun, skipped = {"ansible_job_id": "1"}, {"skipped": True}
        for first, looked, is_good, text in [
                (begun, {"rc": 0, "stdout": "[]"}, True, "no drive to test"),
                (begun, lost, False, "became unreachable while its drives tested: no route; they go on, "),
                (begun, gone, False, "nobody knows how its patrol ended, "),
                (begun, {"finished": 0, "msg": "MODULE FAILURE", "module_stderr": "sudo: no"}, False,
                 "could not be asked any more while its drives tested: sudo: no; they go on, "),
                (lost, skipped, False, "unreachable: no route"), (skipped, skipped, True, "would be tested")]:
            ended = tested(first, looked)
            self.assertEqual((ended["is_good"], ended["text"][:len(text)]), (is_good, text))

    def test_of_patrols_that_have_started_nothing(self):
        one = '[{"name": "/dev/sda", "result": "%s", "test": {"started": "2026-01-01T00:00:00Z"}}]'
        for word in ("running", "in-array", "in-standby", "unable", "not-asked", "not-started"):
            self.assertFalse(has_started({"rc": 0, "stdout": one % word}), word)
        for word in ("passed", "failed", "aborted", "unknown"):
            self.assertTrue(has_started({"rc": 0, "stdout": one % word}), word)
        self.assertFalse(has_started({"skipped": True}))
        for output in ("", "null", "[]", "[1]", "{}", '[{"device": null, "reason": "no memory"}]'):
            self.assertFalse(has_started({"rc": 3, "stdout": output}), output)


class Playbooks(AnsibleCase):
    programs = PROGRAMS

    def play(self, numbers):
        """These machines, m00 to m49, and in self.wanted what is to be told of a test of each."""
        lines = ["[all:vars]", "ansible_connection=local", f"ansible_python_interpreter={sys.executable}",
                 "hddtest_poll=1", "", "[all]"]
        self.wanted = {}
        nowhere = self.folder / "nowhere"
        nowhere.mkdir()
        temporary = self.folder / "temporary"
        temporary.mkdir()
        refusing = self.folder / "refuses"
        refusing.write_text("#!/bin/sh\necho 'sudo: a password is required' >&2\nexit 1\n")
        refusing.chmod(0o755)
        for number in numbers:
            name, more, place, drives = f"m{number:02}", "", nowhere, {"disk": disk(number)}
            tools, events = {}, []
            if number in range(3, 9):
                drives["disk"] += ["result 7", "result_lba 4711"]
                self.wanted[name] = (False, "1 failed; /dev/sda: ")
            elif number in (14, 15):
                tools["smartctl"] = "echo broken >&2\nexit 1\n"
                self.wanted[name] = (False, "1 not-asked; /dev/sda: ")
            elif number == 16:
                events.append(("start", "disk", "long"))  # by another program
                self.wanted[name] = (True, "1 running")
            elif number == 17:
                drives = None
                place = self.folder / name
                place.mkdir()
                (place / "hddtest").write_text(REFUSES)
                (place / "hddtest").chmod(0o755)
                self.wanted[name] = (False, "no memory")
            elif number in range(10, 14):
                drives = {}
                self.wanted[name] = (True, "no drive to test")
            elif number in (20, 30):
                drives = None
                self.wanted[name] = (False, "hddtest is not installed")
            elif number in (21, 22, 40):
                more = " ansible_connection=ssh ansible_host=127.0.0.1 ansible_port=1"
                drives = None
                self.wanted[name] = (False, "unreachable: ")
            elif number in (23, 49):
                # What was copied for a user whom nobody became stays where it is.
                more = (f" ansible_become_user=nobody ansible_become_exe={refusing}"
                        f" ansible_system_tmpdirs=\"['{temporary}']\"")
                drives = None
                self.wanted[name] = (False, "sudo: a password is required")
            else:
                self.wanted[name] = (True, "1 passed")
            if drives is not None:
                place = self.play_machine(name, drives, PROGRAMS, STANDIN, tools, events)
            lines.append(f"{name}{more} hddtest_async_dir={self.folder}/async-{name} "
                         f"hddtest_environment=\"{{'PATH': '{place}:/usr/bin:/bin', 'TMPDIR': '{temporary}'}}\"")
        for rack in range(10):
            lines += [f"[rack_{rack}]", *(f"m{number:02}" for number in numbers if number // 5 == rack)]
        self.inventory.write_text("\n".join(lines) + "\n")

    def expect_told(self, output, wanted):
        told = self.told(output)
        self.assertEqual(told.keys(), wanted.keys(), output)
        for name, (is_good, text) in wanted.items():
            self.assertEqual(told[name][0], is_good, f"{name}: {told[name]}")
            self.assertTrue(told[name][1].startswith(text), f"{name}: {told[name]}")

    def most_at_once(self, rack_of):
        """Of all that tests ran at, and of one rack."""
        running, most, in_rack = set(), 0, 0
        for line in self.log.read_text().splitlines():
            word, name, _ = line.split()
            (running.add if word == "begin" else running.remove)(name)
            most = max(most, len(running))
            in_rack = max([in_rack, *(sum(rack_of(other) == rack_of(name) for other in running)
                                      for name in running)])
        return most, in_rack

    def test_of_all_tell_of_each(self):
        self.play(range(50))
        status, output = self.ansible("-f", "10", "-e", "hddtest_cap=8", "hddtest.fleet.test")
        self.expect_told(output, self.wanted)
        self.assertEqual(status, 2, output)
        most, in_rack = self.most_at_once(lambda name: int(name[1:]) // 5)
        self.assertEqual(in_rack, 1)
        self.assertEqual({name for name, counts in self.recap(output).items() if counts["changed"]},
                         {name for name, (_, text) in self.wanted.items() if text.startswith(("1 passed", "1 failed"))})
        self.assertIn(most, range(2, 9))

        status, output = self.ansible("-f", "10", "hddtest.fleet.gather")
        tests = {name: (True, "tests: 1") if text in ("1 passed", "1 running", "1 failed; /dev/sda: ") else
                 (True, "no tests are kept") if is_good or text.startswith("1 not-asked") else (is_good, text)
                 for name, (is_good, text) in self.wanted.items()}
        self.expect_told(output, tests)
        self.assertEqual((self.folder / "hddtest-histories").stat().st_mode & 0o777, 0o700)
        kept = {path.stem for path in (self.folder / "hddtest-histories").glob("*.jsonl") if path.stat().st_size}
        self.assertEqual(kept, {name for name, (_, text) in tests.items() if text == "tests: 1"})
        self.assertIn('"outcome":"failed"', (self.folder / "hddtest-histories/m03.jsonl").read_text())

        page = (self.folder / "hddtest-histories/fleet.html").read_text()
        self.assertEqual([name for name in self.wanted if name not in page], sorted(
            name for name, (_, text) in tests.items() if text not in ("tests: 1", "no tests are kept")))

        # What has not changed is not changed again; these racks have machines of each kind.
        (self.folder / "hddtest-histories/fleet.html").unlink()
        _, output = self.ansible("-f", "10", "--limit", "rack_0,rack_2,rack_4", "hddtest.fleet.gather")
        changed = {name: counts["changed"] for name, counts in self.recap(output).items()}
        self.assertEqual({name for name, count in changed.items() if count}, set())
        self.assertEqual(len(changed), 15, output)
        # The report is of all that were gathered, those that were not meant now too.
        self.assertIn("m09", (self.folder / "hddtest-histories/fleet.html").read_text())

    def test_history_that_cannot_be_fetched_leaves_nothing_behind(self):
        self.play(range(2))
        # What it finds of earlier runs: files whose removal failed, or that are still written; and files of others.
        names = ["hddtest-gather.old", "hddtest-gather.young", "hddtest-other.old"]
        for name in names:
            (self.folder / "temporary" / name).write_text("")
            if name.endswith("old"):
                os.utime(self.folder / "temporary" / name, (0, 0))
        in_the_way = self.folder / "hddtest-histories/m01.jsonl"
        in_the_way.mkdir(parents=True)
        status, output = self.ansible("hddtest.fleet.gather")
        told = self.told(output)
        self.assertEqual(status, 2, output)
        self.assertEqual(told["m00"], (True, "no tests are kept"))
        self.assertFalse(told.get("m01", (True,))[0], output)
        self.assertIn("dest is an existing directory", told["m01"][1])
        self.assertEqual(sorted(path.name for path in (self.folder / "temporary").iterdir()), names[1:])

    def gather_one(self, *words):
        """Exit status, and what is told of the report. The machine itself ends well each time."""
        status, output = self.ansible(*words, "hddtest.fleet.gather")
        self.assertTrue(self.told(output)["m00"][0], output)
        return status, output.partition("TASK [Tell of the report]")[2].partition("PLAY ")[0]

    def test_what_became_of_the_report_is_told(self):
        self.play(range(1))
        histories = self.folder / "hddtest-histories"
        page = histories / "fleet.html"
        status, told = self.gather_one("--check")
        self.assertEqual(status, 0, told)
        self.assertIn("fleet.html would be written", told)

        page.mkdir(parents=True)
        histories.chmod(0o750)
        status, told = self.gather_one()
        self.assertEqual(status, 2, told)
        self.assertEqual(histories.stat().st_mode & 0o777, 0o750)
        self.assertIn("fleet.html", told)
        self.assertNotIn("was written", told)

        page.rmdir()
        (histories / "broken.jsonl").write_text("no history\n")
        status, told = self.gather_one()
        self.assertEqual(status, 2, told)
        self.assertIn("broken.jsonl: line 1", told)
        self.assertIn("fleet.html was written without that", told)
        self.assertTrue(page.is_file())

    def test_upgrade_tells_why_it_did_nothing(self):
        self.play([0, 21, 23])
        bad = {name: self.wanted[name] for name in ("m21", "m23")}
        status, output = self.ansible("-e", '{"hddtest_packages": []}', "hddtest.fleet.upgrade")
        self.expect_told(output, {"m00": (True, "hddtest "), **bad})
        self.assertEqual(status, 2, output)
        # In check mode, since the machine is this one.
        status, output = self.ansible("--check", "-e", '{"hddtest_packages": ["absent.deb"]}', "hddtest.fleet.upgrade")
        self.expect_told(output, {"m00": (False, "Could not find or access 'absent.deb'"), **bad})
        self.assertEqual(status, 2, output)

    def test_check_mode_tests_nothing(self):
        self.play(range(5))
        status, output = self.ansible("--check", "hddtest.fleet.test")
        self.assertEqual(status, 0, output)
        self.assertEqual(set(self.told(output).values()), {(True, "would be tested")})
        self.assertFalse(self.log.exists())

    def test_limit_leaves_the_waves_whole(self):
        self.play([0, 1, 2, 45, 46, 47, 48, 49])
        status, output = self.ansible("--limit", "m00,m01,rack_9", "-e", "hddtest_hosts=all,!m49",
                                      "hddtest.fleet.test")
        names = {"m00", "m01", "m45", "m46", "m47", "m48"}
        self.expect_told(output, {name: self.wanted[name] for name in names})
        self.assertEqual(status, 0, output)
        self.assertEqual(self.most_at_once(lambda name: int(name[1:]) // 5)[1], 1)

    def test_limit_may_name_files_of_machines(self):
        self.play(range(5))
        (self.folder / "some").write_text("m01\n\n  m02  \nm03\n")
        status, output = self.ansible("--check", "--limit", "@some,m04,!m03", "hddtest.fleet.test")
        self.assertEqual((status, self.told(output)),
                         (0, dict.fromkeys(["m01", "m02", "m04"], (True, "would be tested"))), output)

    def test_machine_that_nothing_was_done_on_is_told_so(self):
        self.play(range(1))
        status, output = self.ansible("hddtest.fleet.tell")
        self.assertEqual((status, self.told(output)), (2, {"m00": (False, "nothing was done there")}), output)
        for playbook in ("setup", "test", "gather", "upgrade"):
            status, output = self.ansible("-e", "hddtest_hosts=nobody", f"hddtest.fleet.{playbook}")
            self.assertEqual((status, self.told(output)), (0, {}), output)
            self.assertIn("no hosts matched", output)


if __name__ == "__main__":
    missing = [name for name in NEEDED if not shutil.which(name)]
    if missing:
        print(f"skipped: not installed: {', '.join(missing)}")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])

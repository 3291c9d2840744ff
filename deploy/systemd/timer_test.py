"""The units of the regular tests and of the metrics are such that systemd understands, are due when
they are meant to be, and take as much away from root as the server's unit does.

    timer_test.py FOLDER PROGRAM
"""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

FOLDER = pathlib.Path(sys.argv[1])
PROGRAM = sys.argv[2]
EXPOSURE = 20  # in tenths, as systemd-analyze rates it: 100 for a service that may do everything
SERVICES = ("hddtest-run@.service", "hddtest-metrics.service")
# Settings of the server that belong to its work, and not to what is taken away from it.
OF_THE_SERVER = {"Type", "ExecStart", "ExecReload", "Restart", "RestartPreventExitStatus",
                 "SendSIGKILL", "TimeoutStopSec", "LimitNOFILE", "MemoryMax", "TasksMax",
                 "RestrictAddressFamilies"}


def settings(name):
    """The pairs of the section [Service]."""
    text = (FOLDER / name).read_text()
    section = re.search(r"^\[Service\]\n(.*?)(?=^\[|\Z)", text, re.MULTILINE | re.DOTALL)[1]
    return [tuple(line.split("=", 1)) for line in section.splitlines()
            if line and not line.startswith("#")]


class Units(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="hddtest_timers."))
        self.addCleanup(shutil.rmtree, self.folder)
        for path in [*FOLDER.glob("hddtest*.service"), *FOLDER.glob("hddtest*.timer")]:
            # systemd looks for the program, and there may be no manual page yet.
            text = re.sub(r"^Documentation=.*\n", "", path.read_text(), flags=re.MULTILINE)
            (self.folder / path.name).write_text(text.replace("/usr/bin/hddtest", PROGRAM))
        for path in FOLDER.glob("*.timer.d"):
            shutil.copytree(path, self.folder / path.name)

    def analyze(self, *arguments):
        return subprocess.run(["systemd-analyze", *arguments], capture_output=True, text=True,
                              env={"SYSTEMD_UNIT_PATH": f"{self.folder}:", "PATH": "/usr/bin:/bin",
                                   "LC_ALL": "C"})

    def faults(self, name):
        done = self.analyze("verify", self.folder / name)
        lines = [line for line in done.stderr.splitlines() if "hddtest" in line]
        return lines or ([done.stderr] if done.returncode else [])

    def test_systemd_understands_them(self):
        for name in ("hddtest-run@short.timer", "hddtest-run@long.timer", "hddtest-run@short.service",
                     "hddtest-metrics.timer", "hddtest-metrics.service"):
            with self.subTest(name):
                self.assertEqual(self.faults(name), [])

    def test_the_page_shows_units_that_send_a_mail(self):
        page = (FOLDER.parent.parent / "docs/fleet.md").read_text()
        extension, service = re.findall(r"^```ini\n(.*?)^```", page, re.MULTILINE | re.DOTALL)
        folder = self.folder / "hddtest-run@.service.d"
        folder.mkdir()
        (folder / "override.conf").write_text(extension)
        (self.folder / "hddtest-mail@.service").write_text(service)
        for name in ("hddtest-run@short.service", "hddtest-mail@short.service"):
            self.assertEqual(self.faults(name), [])
        self.assertIn("OnFailure=hddtest-mail@%i.service", extension)

    def test_the_mail_has_the_log_of_the_run_that_failed(self):
        page = (FOLDER.parent.parent / "docs/fleet.md").read_text()
        command = re.search(r'^ExecStart=/bin/sh -c "(.*)"$', page, re.MULTILINE)[1]
        for name, script in (("journalctl", 'echo "asked for $*"'), ("mail", 'echo "$*"; cat')):
            program = self.folder / name
            program.write_text(f"#!/bin/sh\n{script}\n")
            program.chmod(0o755)
        done = subprocess.run(
            ["/bin/sh", "-c", command.replace("%i", "long").replace("%H", "host")], capture_output=True,
            text=True, env={"PATH": f"{self.folder}:/usr/bin:/bin", "MONITOR_INVOCATION_ID": "0123abcd"})
        self.assertEqual((done.stdout, done.stderr), (
            "-s hddtest-run@long of host has failed root\n"
            "asked for --no-pager _SYSTEMD_INVOCATION_ID=0123abcd\n", ""))

    def test_whatever_came_out_the_metrics_are_written_where_their_folder_is_there(self):
        run = (FOLDER / "hddtest-run@.service").read_text()
        for name in ("OnSuccess", "OnFailure"):
            self.assertIn(f"\n{name}=hddtest-metrics.service\n", run)
        metrics = (FOLDER / "hddtest-metrics.service").read_text()
        folder, = re.findall(r"^ConditionPathIsDirectory=(.*)$", metrics, re.MULTILINE)
        self.assertIn(("ExecStart", f"/usr/bin/hddtest metrics --output {folder}/hddtest.prom"),
                      settings("hddtest-metrics.service"))

    def test_timers_of_other_names_are_refused(self):
        self.assertRegex("\n".join(self.faults("hddtest-run@conveyance.timer")), "Refusing")

    def test_services_of_other_names_are_refused(self):
        command, = [value for name, value in settings("hddtest-run@.service") if name == "ExecStart"]
        self.assertEqual(command, "/usr/bin/hddtest patrol --test=%i $PATROL_OPTIONS")
        for name in ("conveyance", "Short", "--wake", ""):
            done = subprocess.run([PROGRAM, "patrol", f"--test={name}"], capture_output=True, text=True)
            self.assertEqual(done.returncode, 3)
            self.assertRegex(done.stderr, "the patrols are short and long|--test needs a value")

    def test_short_is_weekly_and_long_monthly(self):
        for name, days in (("short", 7), ("long", 28)):
            text = (FOLDER / f"hddtest-run@{name}.timer.d/schedule.conf").read_text()
            calendar = re.search(r"^OnCalendar=(.*)$", text, re.MULTILINE)[1]
            done = self.analyze("calendar", "--iterations=13", "--base-time=2027-01-01", calendar)
            dates = re.findall(r"(?:Next elapse|Iter\. #\d+): \w+ (\d{4}-\d\d-\d\d)", done.stdout)
            self.assertEqual(len(dates), 13, done.stdout + done.stderr)
            months = [date[:7] for date in dates]
            self.assertEqual(len(set(months)), 13 if days == 28 else 3, dates)
        text = (FOLDER / "hddtest-run@.timer").read_text()
        for line in ("Persistent=yes", "RandomizedDelaySec=4h"):
            self.assertIn(f"\n{line}\n", text)

    def test_they_take_as_much_from_root_as_the_server_does_but_for_a_node(self):
        server = {pair for pair in settings("hddtest.service") if pair[0] not in OF_THE_SERVER}
        # The server tests no drive behind a MegaRAID controller, whose node smartctl makes.
        kept = {("CapabilityBoundingSet", "CAP_SYS_RAWIO CAP_SYS_ADMIN"),
                ("DeviceAllow", "char-megaraid_sas_ioctl rw")}
        given = {("CapabilityBoundingSet", "CAP_SYS_RAWIO CAP_SYS_ADMIN CAP_MKNOD"),
                 ("DeviceAllow", "char-megaraid_sas_ioctl rwm")}
        for name in SERVICES:
            self.assertEqual(server - set(settings(name)), kept, name)
            self.assertLessEqual(given, set(settings(name)), name)
            done = self.analyze("security", "--no-pager", "--offline=true",
                                f"--threshold={EXPOSURE}",
                                self.folder / name.replace("@", "@short"))
            self.assertEqual(done.returncode, 0, done.stdout[-3000:] + done.stderr)

    def test_only_the_folder_of_the_metrics_can_be_written_besides(self):
        writable = [value for name in SERVICES for key, value in settings(name)
                    if key == "ReadWritePaths"]
        self.assertEqual(writable, ["-/var/lib/prometheus/node-exporter"])


if __name__ == "__main__":
    if not shutil.which("systemd-analyze"):
        print("there is no systemd-analyze")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])

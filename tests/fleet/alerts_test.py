"""The alerts of fleet/prometheus, as promtool and amtool find them.

    alerts_test.py
"""

import pathlib
import re
import shutil
import subprocess
import sys
import unittest

TREE = pathlib.Path(__file__).resolve().parent.parent.parent
FOLDER = TREE / "fleet/prometheus"
PROGRAMS = ("promtool", "amtool")


class Alerts(unittest.TestCase):
    def run_in_folder(self, *words):
        done = subprocess.run(words, cwd=FOLDER, capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return done.stdout

    def test_promtool_finds_no_fault_in_the_rules(self):
        self.assertNotIn("FAILED", self.run_in_folder("promtool", "check", "rules", "hddtest.rules.yml"))

    def test_alerts_come_and_go_at_their_edges(self):
        tests = sorted(path.name for path in FOLDER.glob("*.test.yml"))
        self.assertEqual(tests, ["hddtest.rules.test.yml", "hddtest.weeks.test.yml"])
        self.run_in_folder("promtool", "test", "rules", *tests)

    def test_examples_of_configurations_are_right(self):
        self.run_in_folder("promtool", "check", "config", "prometheus.yml")
        self.run_in_folder("amtool", "check-config", "alertmanager.yml")

    def test_route_tells_at_once_what_wants_somebody_today(self):
        alerts = set(re.findall(r"- alert: (\w+)", (FOLDER / "hddtest.rules.yml").read_text()))
        now = {name for name in alerts if "drives-now" in self.run_in_folder(
            "amtool", "config", "routes", "test", "--config.file=alertmanager.yml", f"alertname={name}")}
        self.assertEqual(now, {"DriveSelfTestFailed", "DriveGone"})

    def test_the_page_tells_of_each_alert(self):
        page = (TREE / "docs/fleet.md").read_text()
        alerts = re.findall(r"- alert: (\w+)", (FOLDER / "hddtest.rules.yml").read_text())
        told = re.findall(r"^\| `(\w+)` \|", page, re.MULTILINE)
        self.assertEqual([name for name in told if name[0].isupper()], list(dict.fromkeys(alerts)))


if __name__ == "__main__":
    missing = [name for name in PROGRAMS if not shutil.which(name)]
    if missing:
        print(f"skipped: not installed: {', '.join(missing)}")
        sys.exit(77)
    unittest.main()

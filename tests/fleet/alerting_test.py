"""From a drive to somebody who is told: a stand-in drive below the real hddtest, smartctl and nvme, and
the real node_exporter, Prometheus and Alertmanager, with the rules and examples of fleet/prometheus. What
takes minutes there takes a second here, and days are a clock that is moved.

    alerting_test.py PROGRAMS STANDIN
"""

import http.server
import json
import os
import pathlib
import re
import shutil
import sys
import tempfile
import threading
import time
import unittest
import urllib.parse
import urllib.request

TREE = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path += [str(TREE / "cli"), str(TREE / "tests/drivetest")]
# pylint: disable=wrong-import-position
from life import Life
from metrics_test import machine_id
from service import Service
from stage import Stage

PROGRAMS, STANDIN = sys.argv[1:3]
NEEDED = ("prometheus", "prometheus-alertmanager", "prometheus-node-exporter", "smartctl", "nvme")

DISK = ["protocol ata", "nodes /dev/sda", "model Example Disk 500", "serial EX0001", "firmware 1.0",
        "wwn 5000c500a1b2c3d4"]
SOLID = ["protocol nvme", "nodes /dev/nvme0 /dev/nvme0n1", "model Example NVMe 512", "serial EXNVME1",
         "firmware 2.0", "wwn 0025385b71b0a7c1", "tests short long", "long_minutes 30"]
DISK_NAME, SOLID_NAME = "wwn-0x5000c500a1b2c3d4", "eui-0025385b71b0a7c1"
DAY = 86400
PATIENCE = 60  # seconds


class Webhook:
    """Keeps of each alert the last that it was told: where, in what state, with which annotations."""

    def __init__(self, test):
        self.changed = threading.Condition()
        self.alerts = {}
        self.sequence = []
        outer = self

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_POST(self):  # pylint: disable=invalid-name
                message = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
                with outer.changed:
                    outer.take(self.path, message)
                    outer.changed.notify_all()
                self.send_response(200)
                self.end_headers()

            def log_message(self, *_words):  # pylint: disable=arguments-differ
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.port = self.server.server_address[1]
        thread = threading.Thread(target=self.server.serve_forever, args=(0.05,))
        thread.start()
        test.addCleanup(thread.join)
        test.addCleanup(self.server.server_close)
        test.addCleanup(self.server.shutdown)

    def take(self, path, message):
        for alert in message["alerts"]:
            labels = alert["labels"]
            key = (labels["alertname"], labels.get("drive"), labels.get("test"))
            told = (path, alert["status"])
            if key not in self.alerts or self.alerts[key][:2] != told:
                self.sequence.append((*key, *told))
            self.alerts[key] = (*told, alert["annotations"])

    def wait(self, key, path, state):
        """Its annotations, as soon as the alert is in this state."""
        def is_told():
            return self.alerts.get(key, ())[:2] == (path, state)
        with self.changed:
            if not self.changed.wait_for(is_told, timeout=PATIENCE):
                raise AssertionError(f"{key} is not {state} at {path}: {self.sequence}")
            return self.alerts[key][2]


def ask(address, path, **words):
    """The answer of a service to a question."""
    with urllib.request.urlopen(f"http://{address}{path}?{urllib.parse.urlencode(words)}", timeout=PATIENCE) as answer:
        return json.load(answer)


def wait_until(holds, what):
    end = time.monotonic() + PATIENCE
    while not holds():
        if time.monotonic() > end:
            raise AssertionError(f"for {PATIENCE} seconds not: {what}")
        time.sleep(0.2)


def replaced(name, *changes):
    """An example with what a test must have otherwise; each change has its place there."""
    text = (TREE / "fleet/prometheus" / name).read_text()
    for pattern, new in changes:
        text, count = re.subn(pattern, new, text)
        if count == 0:
            raise AssertionError(f"{name} has no {pattern}")
    return text


class Alerting(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="hddtest_alerting."))
        self.addCleanup(shutil.rmtree, self.folder)
        self.stage = Stage(Life(None, {"disk": DISK, "solid": SOLID}, {}), PROGRAMS, STANDIN)
        self.addCleanup(self.stage.close)
        self.collected = self.folder / "collected"
        self.collected.mkdir()

    def start_services(self):
        self.webhook = Webhook(self)
        (self.folder / "alertmanager.yml").write_text(replaced(
            "alertmanager.yml", ("localhost:9095", f"127.0.0.1:{self.webhook.port}"),
            (r"group_wait: \w+", "group_wait: 100ms"), (r"group_interval: \w+", "group_interval: 1s")))
        self.manager = manager = Service(self.addCleanup, ["prometheus-alertmanager", "--config.file=alertmanager.yml",
                                 "--storage.path=alertmanager", "--cluster.listen-address=",
                                 "--web.listen-address=127.0.0.1:0"], self.folder)
        exporter = Service(self.addCleanup, ["prometheus-node-exporter", "--collector.disable-defaults",
                                  "--collector.textfile", "--web.disable-exporter-metrics",
                                  f"--collector.textfile.directory={self.collected}",
                                  "--web.listen-address=127.0.0.1:0"], self.folder)
        (self.folder / "hosts").mkdir()
        (self.folder / "hosts/machine.yml").write_text(f"- targets: ['{exporter.address}']\n")
        (self.folder / "hddtest.rules.yml").write_text(replaced(
            "hddtest.rules.yml", ("interval: 5m", "interval: 1s"), (r" for: \w+", " for: 1s")))
        (self.folder / "prometheus.yml").write_text(replaced(
            "prometheus.yml", ("scrape_interval: 1m", "scrape_interval: 1s"),
            ("localhost:9093", manager.address)))
        self.server = Service(self.addCleanup, ["prometheus", "--config.file=prometheus.yml", "--storage.tsdb.path=samples",
                       "--web.listen-address=127.0.0.1:0"], self.folder)

    def hddtest(self, status, *words):
        found, output, errors = self.stage.run(["hddtest", *words])
        self.assertEqual(found, status, output + errors)

    def publish(self, age=0):
        """The file of metrics, as if it had been written so many seconds ago."""
        written = self.folder / "hddtest.prom"
        self.hddtest(0, "metrics", "--output", str(written))
        os.utime(written, (time.time() - age,) * 2)
        written.replace(self.collected / written.name)

    def query(self, expression):
        """How many series there are of it now."""
        return len(ask(self.server.address, "/api/v1/query", query=expression)["data"]["result"])

    def inhibited(self):
        """Name, drive and test of the alerts that the manager keeps to itself."""
        alerts = ask(self.manager.address, "/api/v2/alerts", active="false")
        return {tuple(alert["labels"].get(name) for name in ("alertname", "drive", "test"))
                for alert in alerts if alert["status"]["inhibitedBy"]}

    def try_drive(self, kind, device="/dev/sda"):
        self.hddtest(0, "start", "--test", kind, device)
        self.stage.clock(7200)
        self.publish()

    def test_alerts_reach_somebody_and_are_taken_back(self):
        self.publish()
        self.start_services()

        failed = ("DriveSelfTestFailed", DISK_NAME, "short")
        self.stage.event("set", "disk", "result", "7")
        self.try_drive("short")
        told = self.webhook.wait(failed, "/now", "firing")
        self.assertEqual(told["drive"], "Example Disk 500, serial number EX0001, /dev/sda")
        self.assertIn("replace it", told["description"])
        # An aborted test takes nothing back, for as long as a look at it takes, and longer.
        self.hddtest(0, "start", "--test", "short", "/dev/sda")
        self.stage.event("abort", "disk")
        self.publish()
        aborted = 'hddtest_last_test_outcome{test="short", outcome="aborted"} == 1'
        wait_until(lambda: self.query(f"count_over_time(({aborted})[5s:1s]) == 5"), "aborted")
        self.assertEqual(self.query('ALERTS{alertname="DriveSelfTestFailed", alertstate="firing"}'), 1)
        self.webhook.wait(failed, "/now", "firing")
        self.stage.event("set", "disk", "result", "0")
        self.try_drive("short")
        self.webhook.wait(failed, "/now", "resolved")

        cannot_look = ("HddtestCannotLook", None, None)
        smartctl = self.stage.folder / "bin/smartctl"
        smartctl.rename(smartctl.with_name("mended"))
        smartctl.write_text("#!/bin/sh\necho broken >&2\nexit 1\n")
        smartctl.chmod(0o755)
        self.publish()
        told = self.webhook.wait(cannot_look, "/daily", "firing")
        self.assertIn("a drive does not answer", told["description"])
        smartctl.with_name("mended").replace(smartctl)
        self.publish()
        self.webhook.wait(cannot_look, "/daily", "resolved")

        overdue = ("DriveSelfTestOverdue", DISK_NAME, "long")
        overdue_short = (*overdue[:2], "short")
        stale = ("HddtestMetricsStale", None, None)
        self.try_drive("long")
        self.publish(age=3 * 3600)
        self.webhook.wait(stale, "/daily", "firing")
        # What is old may be wrong, and is told when it is looked at anew.
        self.stage.clock(40 * DAY + 1)
        self.publish(age=3 * 3600)
        wait_until(lambda: self.inhibited() == {overdue, overdue_short}, "inhibited")
        self.assertFalse({overdue, overdue_short} & self.webhook.alerts.keys(), self.webhook.sequence)
        self.publish()
        self.webhook.wait(stale, "/daily", "resolved")
        told = self.webhook.wait(overdue, "/daily", "firing")
        self.assertIn("hddtest-run@long.timer", told["description"])
        self.webhook.wait(overdue_short, "/daily", "firing")
        self.try_drive("long")
        self.webhook.wait(overdue, "/daily", "resolved")
        self.webhook.wait(overdue_short, "/daily", "resolved")

        self.try_drive("short", "/dev/nvme0")
        gone = ("DriveGone", SOLID_NAME, None)
        self.stage.event("set", "solid", "nodes")
        self.publish()
        told = self.webhook.wait(gone, "/now", "firing")
        self.assertEqual(told["drive"], "Example NVMe 512, serial number EXNVME1, gone")
        self.stage.event("set", "solid", "nodes", "/dev/nvme0 /dev/nvme0n1")
        self.publish()
        self.webhook.wait(gone, "/now", "resolved")

        self.assertEqual({key for key, *_ in self.webhook.alerts.items()},
                         {failed, cannot_look, overdue, overdue_short, stale, gone}, self.webhook.sequence)


if __name__ == "__main__":
    missing = [name for name in NEEDED if not shutil.which(name)]
    if missing or not machine_id():
        print(f"skipped: not installed: {', '.join(missing) or '/etc/machine-id'}")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])

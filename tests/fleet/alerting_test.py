"""From a drive to somebody who is told: a stand-in drive below the real hddtest, smartctl and nvme, and
the real node_exporter, Prometheus and Alertmanager, with the rules and examples of fleet/prometheus. What
takes minutes there takes a second here, and days are a clock that is moved.

    alerting_test.py PROGRAMS STANDIN
"""

import http.server
import json
import pathlib
import re
import shutil
import sys
import tempfile
import threading
import unittest

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
            if not self.changed.wait_for(is_told, timeout=60):
                raise AssertionError(f"{key} is not {state} at {path}: {self.sequence}")
            return self.alerts[key][2]


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
        manager = Service(self.addCleanup, ["prometheus-alertmanager", "--config.file=alertmanager.yml",
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
        Service(self.addCleanup, ["prometheus", "--config.file=prometheus.yml", "--storage.tsdb.path=samples",
                       "--web.listen-address=127.0.0.1:0"], self.folder)

    def hddtest(self, status, *words):
        found, output, errors = self.stage.run(["hddtest", *words])
        self.assertEqual(found, status, output + errors)

    def publish(self):
        self.hddtest(0, "metrics", "--output", str(self.collected / "hddtest.prom"))

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
        self.stage.event("set", "disk", "result", "0")
        self.try_drive("short")
        self.webhook.wait(failed, "/now", "resolved")

        overdue = ("DriveSelfTestOverdue", DISK_NAME, "long")
        self.try_drive("long")
        self.stage.clock(40 * DAY + 1)
        self.publish()
        told = self.webhook.wait(overdue, "/daily", "firing")
        self.assertIn("hddtest-run@long.timer", told["description"])
        self.webhook.wait((*overdue[:2], "short"), "/daily", "firing")
        self.try_drive("long")
        self.webhook.wait(overdue, "/daily", "resolved")
        self.webhook.wait((*overdue[:2], "short"), "/daily", "resolved")

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
                         {failed, overdue, (*overdue[:2], "short"), gone}, self.webhook.sequence)


if __name__ == "__main__":
    missing = [name for name in NEEDED if not shutil.which(name)]
    if missing or not machine_id():
        print(f"skipped: not installed: {', '.join(missing) or '/etc/machine-id'}")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])

"""The real promtool and node_exporter read what 'hddtest metrics' writes, and lose nothing of it.

    node_exporter_test.py PROGRAM
"""

import pathlib
import shutil
import subprocess
import sys
import unittest
import urllib.request

sys.path.append(str(pathlib.Path(__file__).parent.parent.parent / "cli"))
# pylint: disable=wrong-import-position
from exposition import Exposition
from metrics_test import HOSTILE, MetricsCase, kept_test, machine_id
from service import Service

PROGRAMS = ("promtool", "prometheus-node-exporter")


class NodeExporter(MetricsCase):
    def setUp(self):
        super().setUp()
        self.collected = self.folder / "node-exporter"
        self.collected.mkdir()
        self.file = self.collected / "hddtest.prom"
        texts = {"identity": HOSTILE, "model": HOSTILE, "serial_number": HOSTILE, "firmware": HOSTILE,
                 "world_wide_name": ""}
        here = {"machine_id": machine_id()}
        self.keep(kept_test(1, **here), kept_test(2, texts, kind="long", outcome="failed", **here),
                  kept_test(3, texts, outcome=None, ended=None, remaining_percent=40, **here))
        self.machine("sda")
        self.run_command("metrics", "--output", self.file)
        self.assertEqual(self.status, 0, self.errors)

    def test_promtool_finds_no_fault(self):
        done = subprocess.run(["promtool", "check", "metrics"], input=self.file.read_bytes(),
                              capture_output=True)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"", b""))

    def test_every_sample_arrives(self):
        exporter = Service(self.addCleanup, ["prometheus-node-exporter", "--collector.disable-defaults",
                                  "--collector.textfile", "--web.disable-exporter-metrics",
                                  f"--collector.textfile.directory={self.collected}",
                                  "--web.listen-address=127.0.0.1:0"], self.folder)
        with urllib.request.urlopen(f"http://{exporter.address}/metrics", timeout=60) as answer:
            collected = Exposition(answer.read())
        written = Exposition(self.file.read_bytes())
        self.assertGreater(len(written.samples), 20)
        self.assertEqual({key: value for key, value in collected.samples.items()
                          if key[0].startswith("hddtest_")}, written.samples)
        self.assertEqual(collected.value("node_textfile_scrape_error"), 0)


if __name__ == "__main__":
    missing = [name for name in PROGRAMS if not shutil.which(name)]
    if missing or not machine_id():
        print(f"skipped: not installed: {', '.join(missing) or '/etc/machine-id'}")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])

#!/usr/bin/env python3
"""What the metrics and alerts of a fleet cost Prometheus, by hand: prints series, memory, and the time that
the rules take. One program serves the metrics of all machines, which the real hddtest has made of drives
that the stand-in plays.

    bench/fleet_scale.py [--node] MACHINES PROGRAMS STANDIN

24 drives in each machine, asked each minute for six minutes. --node: serves what the real node_exporter
tells of 24 disks instead, for comparison. The time of a rule that looks back stands for the minutes that
it has seen; --day asks the one that looks back farthest of MACHINES with a day of samples behind them, and
with one of each hour of the thirteen days before.
"""

import argparse
import contextlib
import http.server
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import threading
import time
import urllib.error
import urllib.parse
import urllib.request

TREE = pathlib.Path(__file__).resolve().parent.parent
sys.path += [str(TREE / "tests/drivetest"), str(TREE / "tests/fleet")]
# pylint: disable=wrong-import-position
from life import Life
from service import Service
from stage import Stage

DRIVES = 24
NUMBER = "77777777"  # in serial numbers and world wide names, in the place of the machine's


def metrics_of_hddtest(programs, standin):
    """Of a machine whose drives have passed a short and a long test."""
    drives = {f"d{number}": ["protocol ata", f"nodes /dev/sd{chr(97 + number)}", "model Example Disk 500",
                             f"serial EX{NUMBER}{number:02}", "firmware 1.0",
                             f"wwn 5000c5{NUMBER}{number:02}"] for number in range(DRIVES)}
    stage = Stage(Life(None, drives, {}, pace=60), programs, standin)
    try:
        for kind in ("short", "long"):
            stage.run(["hddtest", "patrol", "--test", kind])
        return stage.run(["hddtest", "metrics"])[1]
    finally:
        stage.close()


def metrics_of_node_exporter(ends, folder):
    exporter = Service(ends.callback, ["prometheus-node-exporter", "--collector.disable-defaults",
                                     "--collector.diskstats", "--web.disable-exporter-metrics",
                                     "--web.listen-address=127.0.0.1:0"], folder)
    with urllib.request.urlopen(f"http://{exporter.address}/metrics", timeout=60) as answer:
        lines = answer.read().decode().splitlines()
    devices = re.findall(r'node_disk_reads_completed_total\{device="([^"]+)"', "\n".join(lines))
    one = [line for line in lines if f'device="{devices[0]}"' in line]
    return "".join(line.replace(f'"{devices[0]}"', f'"sd{number}"') + "\n" for number in range(DRIVES)
                   for line in one)


def serve(ends, text):
    class Handler(http.server.BaseHTTPRequestHandler):
        protocol_version = "HTTP/1.1"

        def do_GET(self):  # pylint: disable=invalid-name
            body = text.replace(NUMBER, f"{int(self.path.rpartition('/')[2]):08}").encode()
            self.send_response(200)
            self.send_header("Content-Type", "text/plain; version=0.0.4")
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)

        def log_message(self, *_words):  # pylint: disable=arguments-differ
            pass

    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    server.daemon_threads = True
    threading.Thread(target=server.serve_forever, daemon=True).start()
    ends.callback(server.shutdown)
    return server.server_address[1]


def start_prometheus(ends, folder, targets):
    (folder / "targets.json").write_text(json.dumps(targets))
    (folder / "prometheus.yml").write_text(
        "global: {scrape_interval: 1m}\n"
        f"rule_files: ['{TREE}/fleet/prometheus/hddtest.rules.yml']\n"
        "scrape_configs: [{job_name: node, file_sd_configs: [{files: [targets.json]}]}]\n")
    prometheus = Service(ends.callback, ["prometheus", "--config.file=prometheus.yml",
                                         "--storage.tsdb.path=samples",
                                         "--web.listen-address=127.0.0.1:0"], folder)
    while True:  # it listens before it has read its samples
        with contextlib.suppress(urllib.error.HTTPError):
            urllib.request.urlopen(f"http://{prometheus.address}/-/ready", timeout=60).close()
            return prometheus
        time.sleep(0.1)


def ask(prometheus, path):
    with urllib.request.urlopen(f"http://{prometheus.address}{path}", timeout=300) as answer:
        return json.load(answer)["data"]


def query(prometheus, expression, when):
    """How many series it finds, and how long the answer took."""
    began = time.monotonic()
    words = urllib.parse.urlencode({"query": expression, "time": when})
    found = ask(prometheus, "/api/v1/query?" + words)["result"]
    return len(found), time.monotonic() - began


def print_costs(prometheus):
    memory = pathlib.Path(f"/proc/{prometheus.process.pid}/status").read_text()
    print("series:", ask(prometheus, "/api/v1/status/tsdb")["headStats"]["numSeries"])
    print("memory:", re.search(r"VmRSS:\s+(\d+)", memory)[1], "kB, at most",
          re.search(r"VmHWM:\s+(\d+)", memory)[1], "kB")
    print("processor time:", sum(map(int, pathlib.Path(
        f"/proc/{prometheus.process.pid}/stat").read_text().split()[13:15])) / 100, "s")
    for group in ask(prometheus, "/api/v1/rules")["groups"]:
        print(f"rules: {group['evaluationTime']:.3f} s")
        for rule in group["rules"]:
            print(f"  {rule['name']}: {rule['evaluationTime']:.3f} s")


def measure_day(ends, folder, machines, text):
    """What the rule needs that looks back farthest. One drive of each machine has gone at the end."""
    now = int(time.time()) // 60 * 60
    times = [now - 3600 * hour for hour in range(14 * 24, 24, -1)]
    times += [now - 60 * minute for minute in range(1440, -1, -1)]
    with open(folder / "day", "w", encoding="utf-8") as file:
        for metric in ("hddtest_drive_present", "hddtest_drive_testable"):
            series = [line.rpartition(" ")[0] for line in text.splitlines() if line.startswith(metric + "{")]
            file.write(f"# TYPE {metric} gauge\n")
            for machine in range(machines):
                for number, one in enumerate(series):
                    labels = one.replace(NUMBER, f"{machine:08}").replace("{", f'{{job="node",instance="m{machine}",')
                    file.writelines(f"{labels} {int(number > 0 or when < now)} {when}\n" for when in times)
        file.write("# EOF\n")
    subprocess.run(["promtool", "tsdb", "create-blocks-from", "--max-block-duration=720h", "openmetrics",
                    "day", "samples"], cwd=folder,
                   stdout=subprocess.DEVNULL, check=True)
    prometheus = start_prometheus(ends, folder, [])
    rules = [rule for group in ask(prometheus, "/api/v1/rules")["groups"] for rule in group["rules"]]
    gone = next(rule["query"] for rule in rules if rule["name"] == "DriveGone")
    for _ in range(3):
        print("drives gone, and seconds:", *query(prometheus, gone, now))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--node", action="store_true")
    parser.add_argument("--day", action="store_true")
    parser.add_argument("machines", type=int)
    parser.add_argument("programs", type=pathlib.Path)
    parser.add_argument("standin", type=pathlib.Path)
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="hddtest_scale.") as place, contextlib.ExitStack() as ends:
        folder = pathlib.Path(place)
        text = (metrics_of_node_exporter(ends, folder) if options.node else
                metrics_of_hddtest(options.programs.resolve(), options.standin.resolve()))
        print("of one machine:", sum(not line.startswith("#") for line in text.splitlines()), "series,",
              len(text), "bytes", flush=True)
        if options.day:
            measure_day(ends, folder, options.machines, text)
            return
        port = serve(ends, text)
        prometheus = start_prometheus(ends, folder, [
            {"targets": [f"127.0.0.1:{port}"],
             "labels": {"instance": f"m{machine}", "__metrics_path__": f"/{machine}"}}
            for machine in range(options.machines)])
        time.sleep(370)
        print_costs(prometheus)


if __name__ == "__main__":
    main()

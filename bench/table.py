#!/usr/bin/env python3
"""Runs the programs that measure and prints one table of what they found.

    table.py --tree TREE [ROW...]       TREE is the build tree; a ROW is any part of a row's title
                                        or of its program's name
    table.py --targets [ROW...]         prints what has to be built for them

Measured and floor come from the same run of one program, in turns (but for the cost of logging,
which takes two), and each is the least of its repetitions, which disturbs least.
Exit status: 0, 1 when a goal was missed, 3 when a program could not measure.
"""

import argparse
import json
import pathlib
import platform
import os
import subprocess
import sys
import tempfile
from dataclasses import dataclass, field

FOLDER = pathlib.Path(__file__).resolve().parent

# What a figure is: the measured to the floor, how much more than the floor, or as it stands.
RATIO, MORE, PLAIN = "ratio", "more", "plain"


@dataclass
class Row:
    what: str
    program: str          # of this folder
    measured: str         # the benchmark's name
    compared: str = ""    # with what
    floor: str = ""       # that benchmark's name
    goal: float = None    # the figure's upper limit; None: reported only
    figure: str = RATIO
    quantity: str = "seconds"  # seconds (wall), or a counter: its name ends with its unit
    times: float = 1           # the floor is taken so many times
    environment: dict = field(default_factory=dict)  # of the program
    floor_environment: dict = None  # of another run of the program, which the floor comes from


NO_LOG = {"HVX_LOG_LEVEL": "-1"}

ROWS = [
    Row("10,000 completion records, no log", "records", "module/10000",
        "a provider in plain C", "plain/10000", 1.5, environment=NO_LOG),
    Row("10,000 completion records with the log", "records", "module/10000",
        "the same without the log", "module/10000", 2.5, floor_environment=NO_LOG),
    Row("100,000 records: time", "records", "growth/100000",
        "ten times that of 10,000", "growth/10000", 1.2, environment=NO_LOG, times=10),
    Row("10,000 records: time", "records", "growth/10000",
        "ten times that of 1,000", "growth/1000", 1.2, environment=NO_LOG, times=10),
    Row("1,000 records: time", "records", "growth/1000",
        "ten times that of 100", "growth/100", 1.2, environment=NO_LOG, times=10),
    Row("100 records: time", "records", "growth/100",
        "ten times that of 10", "growth/10", 1.2, environment=NO_LOG, times=10),
    Row("100,000 records: memory of an enumeration", "records", "growth/100000",
        "that of 10,000", "growth/10000", 1 << 20, MORE, "enumeration_bytes", environment=NO_LOG),
    Row("CIM-XML over HTTP: 10,000 records, properties with values", "http", "http/threads:1",
        "a socket that takes as many bytes", "socket/threads:1", environment=NO_LOG),
    Row("the same, as it stands", "http", "http/threads:1", goal=0.030, figure=PLAIN,
        environment=NO_LOG),
    Row("the same on each of 8 connections at once, per reply", "http", "http/threads:8",
        "8 such sockets", "socket/threads:8", environment=NO_LOG),
    Row("CIM-XML over HTTP: 10,000 records, all properties", "http", "http_all/threads:1",
        "a socket that takes as many bytes", "socket_all/threads:1", environment=NO_LOG),
    Row("the same with the log", "http", "http_all/threads:1",
        "the same without the log", "http_all/threads:1", figure=MORE, floor_environment=NO_LOG),
    Row("a client beside 500 that ask, 500 half heads, 300 slow readers: 99 of 100 waits", "crowd",
        "wait/crowd", goal=2.0, figure=PLAIN, quantity="worst_wait_seconds", environment=NO_LOG),
    # Each smartctl is started by a helper process of its own, which costs 0.4 ms: much beside a smartctl
    # that answers at once, as here, and nothing beside a drive's two minutes.
    Row("a run: RunDiagnostic through CMPI", "self_test", "module",
        "a shell loop of the same smartctl calls", "shell_loop", 2),
    Row("a run: processor time of everybody", "self_test", "module",
        "the same", "shell_loop", quantity="all_seconds"),
    Row("a run: processor time of the module itself", "self_test", "module",
        goal=0.002, figure=PLAIN, quantity="own_seconds"),
    Row("loading and creating all interfaces: time", "loading", "module",
        "an empty library of the same symbols", "empty", 0.005, MORE),
    Row("loading and creating all interfaces: memory", "loading", "module",
        "the same", "empty", 3 << 20, MORE, "memory_bytes"),
    Row("a self-test log: outcome, count", "self_test_log", "all",
        "memmem over the same bytes, once for each", "memmem", 4, times=2),
    Row("its outcome alone", "self_test_log", "outcome", "memmem", "memmem", 4),
    Row("its count alone", "self_test_log", "count", "memmem", "memmem", 4),
    Row("discovery of 24 ATA drives", "discovery", "enumeration/24",
        "hwinfo alone, as slow as in the disk lab", "hwinfo/24", 1.05,
        environment={"HDDTEST_HWINFO_SECONDS": "1.1 0.4"}),
    Row("the same", "discovery", "enumeration/24",
        "hwinfo alone, as fast as on this machine", "hwinfo/24", figure=MORE),
    Row("enumeration 10 of one server", "discovery", "later/10",
        "enumeration 1", "later/1", 1.2),
    Row("enumeration 100 of one server", "discovery", "later/100",
        "enumeration 1", "later/1", 1.2),
    Row("the process runner: /bin/true", "process_runner", "runner/0",
        "posix_spawn and waitpid", "spawn/0", 2.5),
    Row("the same in a host of 4 GiB", "process_runner", "runner/4096",
        "posix_spawn and waitpid", "spawn/4096", 2.5),
    Row("the last test of each of 24 drives among 1,000,000", "history", "last/1000000",
        "among 100", "last/100", 0.050, MORE),
    Row("ten tests of one drive among 1,000,000", "history", "of_drive/1000000",
        "among 100", "of_drive/100", 0.050, MORE),
    Row("keeping a test among 1,000,000, from beginning to end", "history", "test/1000000",
        "among 100", "test/100", 0.050, MORE),
    Row("hddtest status of 24 drives among 1,000,000 tests", "commands", "status/1000000",
        "among 100", "status/100", 0.050, MORE),
    Row("hddtest history DEVICE, four tests, among 1,000,000", "commands", "history/1000000",
        "among 100", "history/100", 0.050, MORE),
    Row("the same of a drive without tests", "commands", "untested/1000000",
        "among 100", "untested/100", 0.050, MORE),
    Row("the same of a device that is gone, with its one test", "commands", "gone/1000000",
        "among 100", "gone/100", figure=MORE),
    Row("the first line of hddtest drives with 24 drives", "commands", "first_line/0",
        goal=1.0, figure=PLAIN),
    Row("the same where one is slow", "commands", "first_line/1", goal=1.0, figure=PLAIN),
    Row("the same where all are slow", "commands", "first_line/24", goal=1.0, figure=PLAIN),
    Row("hddtest status of 12 ATA and 12 NVMe drives, 100 ms for an answer", "commands", "look/12",
        "the longest smartctl call of it, alone", "longest_call/12", 1.3),
    Row("the first drive in hddtest drives", "commands", "first_drive/0", figure=PLAIN),
    Row("the same where that drive is slow", "commands", "first_drive/1", figure=PLAIN),
    # A page of 1,000 such machines is to take 30 seconds at most, and 5 MB.
    Row("a machine of 24 drives with two years of tests on the page of a fleet", "report", "machine",
        goal=0.030, figure=PLAIN),
    Row("the same", "report", "machine", "reading the lines of its file", "lines"),
    Row("the page of 1,000 machines whose drives have all failed", "report", "page",
        goal=5e6, figure=PLAIN, quantity="page_bytes"),
    Row("reading SMBIOS structures", "readers", "smbios_table",
        figure=PLAIN, quantity="bytes_per_second"),
    Row("reading the message file", "readers", "message_file",
        figure=PLAIN, quantity="bytes_per_second"),
    Row("reading date-times (framework)", "readers", "date_time",
        figure=PLAIN, quantity="bytes_per_second"),
    Row("reading date-times (object manager)", "readers", "manager_date_time",
        figure=PLAIN, quantity="bytes_per_second"),
    Row("reading object paths", "readers", "object_path",
        figure=PLAIN, quantity="bytes_per_second"),
]

REPETITIONS = 20
SECONDS_PER_UNIT = {"s": 1, "ms": 1e-3, "us": 1e-6, "ns": 1e-9}


def run(program, environment, names, tree):
    """The results of one run of a program: benchmark -> field -> the least value, or the greatest
    of what is better the greater it is and of what is called the worst."""
    with tempfile.NamedTemporaryFile() as out:
        wanted = "|".join(sorted(names)).replace("/threads:", "(/real_time)?/threads:")
        command = [tree / "bench" / program, f"--benchmark_out={out.name}",
                   "--benchmark_out_format=json",
                   f"--benchmark_filter=^({wanted})(/iterations|/real|/manual|$)",
                   f"--benchmark_repetitions={REPETITIONS}", "--benchmark_min_time=0.05",
                   "--benchmark_enable_random_interleaving=true"]
        print(f"Measuring: {program}", file=sys.stderr)
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                       env={**os.environ, **environment})
        benchmarks = json.load(out)["benchmarks"]
    results = {}
    for one in benchmarks:
        if one.get("run_type", "iteration") != "iteration":
            continue
        if one.get("error_occurred"):
            raise ValueError(f"{one['name']}: {one['error_message']}")
        name = one["name"].split("/iterations:")[0]
        for part in ("/real_time", "/manual_time"):
            name = name.replace(part, "")
        fields = {key: value for key, value in one.items() if isinstance(value, (int, float))}
        fields["seconds"] = one["real_time"] * SECONDS_PER_UNIT[one["time_unit"]]
        best = results.setdefault(name, fields)
        for key, value in fields.items():
            best[key] = (max if key.endswith("per_second") or key.startswith("worst") else min)(best.get(key, value), value)
    return results


def text_of(value, unit):
    if unit.endswith("per_second"):
        return f"{value / 1e6:.0f} MB/s"
    if unit.endswith("bytes"):
        return f"{value / (1 << 20):.2f} MiB"
    for name, size in (("s", 1), ("ms", 1e-3), ("µs", 1e-6)):
        if value >= size:
            return f"{value / size:.2f} {name}"
    return f"{value / 1e-9:.0f} ns"


def cells(row, results, floors):
    """The row of the table, and whether its goal is met (None: it has none)."""
    measured = results[row.measured][row.quantity]
    floor = floors[row.floor][row.quantity] * row.times if row.floor else None
    figure = {RATIO: lambda: measured / floor, MORE: lambda: measured - floor,
              PLAIN: lambda: measured}[row.figure]()
    show = {RATIO: lambda value: f"{value:.2f}",
            MORE: lambda value: "+-"[value < 0] + text_of(abs(value), row.quantity),
            PLAIN: lambda value: text_of(value, row.quantity)}[row.figure]
    met = None if row.goal is None else figure <= row.goal
    return [row.what, text_of(measured, row.quantity), row.compared,
            "" if floor is None else text_of(floor, row.quantity),
            "" if row.figure == PLAIN else show(figure),
            "" if row.goal is None else show(row.goal),
            {None: "reported", True: "met", False: "missed"}[met]], met


def key_of(row):
    """The run that the row's measure comes from; the same for all rows that can share it."""
    return row.program, tuple(row.environment.items())


def floor_key_of(row):
    other = row.floor_environment
    return key_of(row) if other is None else (row.program, tuple(other.items()))


def machine():
    models = [line.split(":", 1)[1].strip() for line in open("/proc/cpuinfo", encoding="utf-8")
              if line.startswith("model name")]
    return (f"{len(models)} processors ({models[0] if models else 'unknown'}), "
            f"{platform.system()} {platform.release()}, load {os.getloadavg()[0]:.2f}")


def print_table(rows):
    rows = [["what", "measured", "compared with", "floor", "figure", "goal", ""], *rows]
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    for row in rows:
        print("  ".join(cell.rjust(width) if column in (1, 3, 4, 5) else cell.ljust(width)
                        for column, (cell, width) in enumerate(zip(row, widths))).rstrip())


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tree", type=pathlib.Path)
    parser.add_argument("--targets", action="store_true")
    parser.add_argument("rows", nargs="*")
    arguments = parser.parse_args()
    chosen = [row for row in ROWS if not arguments.rows or
              any(part in row.what or part in row.program for part in arguments.rows)]
    if not chosen:
        print("there is no such row; the rows are:", file=sys.stderr)
        for row in ROWS:
            print(f"  {row.what} ({row.program})", file=sys.stderr)
        return 3
    if arguments.targets:
        print("\n".join(dict.fromkeys(f"bench_{row.program}_program" for row in chosen)))
        return 0
    header, found, table, status = machine(), {}, [], 0
    names = {}  # of the benchmarks of a run
    for row in chosen:
        names.setdefault(key_of(row), set()).add(row.measured)
        if row.floor:
            names.setdefault(floor_key_of(row), set()).add(row.floor)
    for key in names:
        program, environment = key
        try:
            found[key] = run(program, dict(environment), names[key], arguments.tree.resolve())
        except (subprocess.CalledProcessError, OSError, ValueError) as error:
            print(error, file=sys.stderr)
            found[key] = {}
    for row in chosen:
        try:
            line, met = cells(row, found[key_of(row)],
                              found[floor_key_of(row)] if row.floor else None)
        except KeyError:
            line, met = [row.what, "", row.compared, "", "", "", "not measured"], None
            status = 3
        if met is False:
            status = max(status, 1)
        table.append(line)
    print(header)
    print_table(table)
    return status


if __name__ == "__main__":
    sys.exit(main())

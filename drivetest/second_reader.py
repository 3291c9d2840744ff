"""Reads recorded output of drive tools a second time and compares.

    second_reader.py PRINT_READINGS CORPUS

CORPUS is a folder of recorded outputs of smartctl and nvme. Every file is read by the program
PRINT_READINGS, which is the reader of the library, and by the code here and in second_rows.py and
second_smartctl.py, which shares nothing with it: it goes by the documents of the tools and of the
standards. The readings are texts with a line for each fact that was told. The library's own words,
as those of its reasons, are left to other tests.
"""

import collections
import json
import os
import pathlib
import re
import subprocess
import sys

from second_rows import NVME_NAMES, get, nvme_lines, nvme_rows, words
from second_smartctl import Smartctl

OWN_WORDS = re.compile(r"^(inability) .*$|^(fault [^:]*): .*$", re.MULTILINE)


def first_line(text):
    return next((line.strip() for line in text.splitlines() if line.strip()), "")


def read_smartctl(case):
    try:
        root = json.loads(case["text"])
    except ValueError:
        return "fault cannot be reached"
    return "\n".join(Smartctl(root, case["status"]).text())


def refusal(case, error=""):
    line = error or first_line(case["errors"]) or first_line(case["text"])
    if re.search(r"(Permission denied|Operation not permitted)$", line):
        return "fault not permitted"
    if re.search(r"No such (device|device or address|file or directory)$", line):
        return "fault no such drive"
    return "note " + (line or f"nvme ended with status {case['status']}")


def read_id_ctrl(case):
    try:
        root = json.loads(case["text"])
    except ValueError:
        return refusal(case)
    if "error" in root:
        return refusal(case, root["error"])
    lines = ["protocol NVMe"] + [f"{word} {words(root[key])}" for word, key in
                                 (("model", "mn"), ("serial", "sn"), ("firmware", "fr"))
                                 if words(root.get(key))]
    if "oacs" in root and not root["oacs"] & 16:
        lines.append("inability")
    elif "oacs" in root:
        lines += ["can short yes",
                  "can long yes" + (f" {root['edstt']} min" if root.get("edstt") else "")]
    return "\n".join(lines)


def read_self_test_log(case):
    try:
        root = json.loads(case["text"])
    except ValueError:
        return refusal(case)
    if "error" in root:
        return refusal(case, root["error"])
    rows = list(nvme_rows(root.get("List of Valid Reports"), NVME_NAMES))
    return "\n".join(nvme_lines(root["Current Device Self-Test Operation"],
                                root["Current Device Self-Test Completion"], rows))


REPLIES = [
    ("accepted", r"has begun|Successful|aborted!|returned without error|test started|^Aborting"),
    ("busy", "without aborting current test|Self-test In Progress"),
    ("not supported", r"^(Conveyance |Selective )?Self-tests? (functions )?not supp"
                      r"|Invalid Command Opcode|unsupported scsi opc"),
    ("not asked", r"^(Smartctl open device|Read NVMe Ident|Device self-test: .*(denied|permitted)$)"),
    ("nothing done", r"successfully opened$|mode, exit\(")]


def read_reply(case):
    try:
        root = json.loads(case["text"])
        lines = [one["string"] for one in get(root, "smartctl", "messages") or []]
        lines += get(root, "smartctl", "output") or []
    except ValueError:
        lines = case["text"].splitlines()
    lines = [line.strip() for line in lines + case["errors"].splitlines()]
    for answer, pattern in REPLIES:
        if any(re.search(pattern, line) for line in lines if "abort test failed" not in line):
            return answer
    failed = case["status"] == 4 or any(
        re.search(r"failed|^NVMe status|^Device self-test: ", line) for line in lines)
    if failed and case["status"] not in (1, 2) or any(
            re.match("NVMe status|Device self-test: ", line) for line in lines):
        return "refused"
    return "not asked" if case["status"] else "nothing done"


def read_scan(case):
    root = json.loads(case["text"])
    return "\n".join(sorted(f"{one['name']} {one['type']}" for one in root.get("devices", [])))


READERS = {"scan": read_scan, "smartctl": read_smartctl, "id-ctrl": read_id_ctrl,
           "self-test-log": read_self_test_log, "reply": read_reply}


def is_start(path):
    return re.search(r"start|abort|-X-|captive|conv|select|-t-|smartctl75?-t|conservative|nospec"
                     r"|nosupport-(7|c|s)", path.name) is not None


def cases_of(path):
    """What the file holds, and in which ways it is read."""
    text = path.read_bytes().decode(errors="replace")
    case = {"text": text, "errors": "", "status": 0}
    if path.parent.name == "scan" or "-scan-" in path.name:
        return case, ["scan"]
    if path.parent.name == "smartctl-json" or (
            path.suffix == ".json" and '"smartctl"' in text):
        try:
            case["status"] = get(json.loads(text), "smartctl", "exit_status") or 0
        except ValueError:
            pass
        case["status"] &= 255
        return case, ["smartctl", "reply"] if is_start(path) else ["smartctl"]
    command = text.split("\n", 1)[0]
    if path.suffix == ".json":
        names = {"oacs": "id-ctrl", "List of Valid Reports": "self-test-log"}
        return case, [way for name, way in names.items() if f'"{name}"' in text]
    ended = re.search(r"^\[exit (\d+)\]\s*\Z", text, re.MULTILINE)
    if not command.startswith("$ nvme ") or not ended:
        return case, []
    out, _, errors = text[len(command) + 1:ended.start()].partition("[stderr]\n")
    case.update(text=out, errors=errors, status=int(ended[1]))
    if re.search(r"device-self-test \S+ (-n 0 )?-s ", command):
        return case, ["reply"]
    for way in ("id-ctrl", "self-test-log"):
        if f" {way} " in command and "json" in command:
            return case, [way]
    return case, []


def without_own_words(text):
    return OWN_WORDS.sub(lambda found: found[1] or found[2], text.strip())


def without_passes(value, name=""):
    """The same report with a code without meaning for each that says that a test has passed. What
    says so beside the codes is left: texts, and "passed"."""
    if isinstance(value, list):
        return [without_passes(one, name) for one in value]
    if not isinstance(value, dict):
        return value
    changed = {key: without_passes(one, key) for key, one in value.items()}
    if name == "status" and changed.get("value") == 0:
        changed["value"] = 0x90
    if name in {"result", "self_test_result"} and changed.get("value") == 0:
        changed["value"] = 10
    if changed.get("Self test result") == 0:
        changed["Self test result"] = 10
    return changed


def readings(program, questions):
    asked = subprocess.run([program], input="\n".join(map(json.dumps, questions)),
                           capture_output=True, text=True, check=True,
                           env={**os.environ, "HVX_SYSFS_ROOT": "/nonexistent"})
    answers = [json.loads(line) for line in asked.stdout.splitlines()]
    assert len(answers) == len(questions), "the reader has given up"
    return answers


def unfounded_passes(program, questions):
    """Reports that are read as passed although none of their codes says so."""
    asked = []
    for path, question in questions:
        try:
            if question["way"] not in {"reply", "scan"}:
                text = json.dumps(without_passes(json.loads(question["text"])))
                asked.append((path, {**question, "text": text}))
        except ValueError:
            pass
    answers = readings(program, [question for _, question in asked])
    return [path.name for (path, _), answer in zip(asked, answers)
            if re.search(r"^status 0$|result 0\b", answer, re.MULTILINE)]


def main():
    program, corpus = sys.argv[1], pathlib.Path(sys.argv[2])
    questions, counts = [], collections.Counter()
    for path in sorted(corpus.rglob("*")):
        if path.suffix not in {".json", ".txt"} or path.name == "expected.txt":
            continue
        case, ways = cases_of(path)
        counts["files"] += 1
        if not ways:
            counts["files of other commands"] += 1
        questions += [(path, {**case, "way": way}) for way in ways]
    answers = readings(program, [question for _, question in questions])
    for (path, question), ours in zip(questions, answers):
        way = question["way"]
        second = READERS[way](question)
        if way == "reply":
            ours = ours.split(":")[0].strip()
        elif way == "scan":
            ours = "\n".join(sorted(ours.splitlines()))
        else:
            ours = without_own_words(ours)
        kind = re.search("^fault .*", ours, re.MULTILINE) or re.search("^protocol .*", ours)
        counts[f"{way}: {ours if way == 'reply' else kind[0] if kind else 'read'}"] += 1
        if ours != second.strip():
            counts["differences"] += 1
            print(f"{path.name} as {way}", "--- the reader", ours, "--- the second reader", second, "",
                  sep="\n")
    for name in unfounded_passes(program, questions):
        counts["passed without a code"] += 1
        print(f"{name}: passed without a code that says so")
    for name, count in sorted(counts.items()):
        print(f"{count:5} {name}")
    is_well = counts["files"] and not counts["differences"] and not counts["passed without a code"]
    return 0 if is_well else 1


if __name__ == "__main__":
    sys.exit(main())

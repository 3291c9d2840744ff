"""Reads recorded output of drive tools a second time and compares.

    second_reader.py PRINT_READINGS CORPUS

CORPUS is a folder of recorded outputs of smartctl and nvme. Every file is read by the program
PRINT_READINGS, which is the reader of the library, and by the code below, which shares nothing with
it: it goes by the documents of the tools and of the standards. The readings are texts with a line for
each fact that was told. The library's own words, as those of its reasons, are left to other tests.
"""

import collections
import json
import os
import pathlib
import re
import subprocess
import sys

KINDS = {"ATA": {1: "short", 2: "long", 3: "conveyance"}, "SCSI": {1: "short", 2: "long"},
         "NVMe": {1: "short", 2: "long"}}
RUNNING = 15
OWN_WORDS = re.compile(r"^(inability) .*$|^(fault [^:]*): .*$", re.MULTILINE)


def number(value, most=2**64 - 1):
    return value if type(value) is int and 0 <= value <= most else None


def get(value, *names):
    for name in names:
        if isinstance(name, int):
            value = value[name] if isinstance(value, list) and len(value) > name else None
        else:
            value = value.get(name) if isinstance(value, dict) else None
    return value


def words(value):
    return value.strip() if isinstance(value, str) else ""


def row_text(protocol, test, result, *, left=None, hours=None, block=None, segment=None, space=None,
             codes=()):
    text = f"  {test} {KINDS[protocol].get(test, 'other')} result {result}"
    for value, before, after in ((left, "", " %"), (hours, "", " h"), (block, "block ", ""),
                                 (segment, "segment ", ""), (space, "namespace ", "")):
        if value is not None:
            text += f" {before}{value}{after}"
    if codes and None not in codes:
        text += " codes " + " ".join(map(str, codes))
    return text


def ata_rows(log):
    for row in get(log, "table") or []:
        status = get(row, "status", "value")
        yield row_text("ATA", get(row, "type", "value"), status >> 4,
                       left=get(row, "status", "remaining_percent"), hours=get(row, "lifetime_hours"),
                       block=get(row, "lba"))


def scsi_rows(root):
    for place in range(20):
        row = root.get(f"scsi_self_test_{place}")
        if row is None:
            continue
        result = row["result"]["value"]
        yield row_text("SCSI", row["code"]["value"], result, hours=get(row, "power_on_time", "hours"),
                       block=get(row, "lba_first_failure", "value"),
                       segment=get(row, "failed_segment", "value") if 3 <= result <= 7 else None,
                       codes=(get(row, "sense_key", "value"), get(row, "asc"), get(row, "ascq")))


def nvme_rows(table, names):
    for row in table or []:
        test, result = (get(row, names[0]), get(row, names[1]))
        test = get(test, "value") if isinstance(test, dict) else test
        result = get(result, "value") if isinstance(result, dict) else result
        if not test or result in (None, RUNNING):
            continue
        space = get(row, names[4])
        yield row_text("NVMe", test, result, hours=get(row, names[2]), block=get(row, names[5]),
                       segment=get(row, names[3]) if result == 7 else None,
                       space=-1 if space == 0xFFFFFFFF else space,
                       codes=(get(row, names[6]), get(row, names[7])))


SMARTCTL_NAMES = ["self_test_code", "self_test_result", "power_on_hours", "segment", "nsid", "lba",
                  "status_code_type", "status_code"]
NVME_NAMES = ["Self test code", "Self test result", "Power on hours", "Segment number",
              "Namespace Identifier", "Failing LBA", "Status Code Type", "Status Code"]


def running_text(kind, left):
    return f"running {kind or 'other'}" + (f" {left} %" if left is not None else "")


def nvme_lines(operation, completion, rows):
    if operation & 15:
        left = 100 - (completion & 127) if completion is not None else None
        yield running_text(KINDS["NVMe"].get(operation & 15), left)
    yield f"log {len(rows)}"
    yield from rows


class Smartctl:
    """One output of smartctl."""

    def __init__(self, root, status):
        self.root, self.status = root, status
        self.lines = get(root, "smartctl", "output") or []
        self.messages = [one for one in get(root, "smartctl", "messages") or []
                         if not one["string"].strip().startswith("=======> VALID")]
        self.protocol = get(root, "device", "protocol")
        self.reason = None  # what is quoted of a fault is no note

    def fault(self):
        version = tuple(get(self.root, "smartctl", "version") or ())
        if not version:
            return "cannot be reached"
        if version < (7, 3):
            return "tool too old"
        for one in self.messages:
            if re.fullmatch(r"Device is in \S.* mode, exit\(\d+\)", one["string"]):
                self.messages.remove(one)
                self.reason = one["string"]
                return "standby"
        if not self.status & 3 or self.status == 255:
            return None
        texts = [one for one in self.messages if one["severity"] != "information"]
        if not texts:
            self.reason = next((words(line) for line in self.lines if "failed" in line), None)
            return "cannot be reached"
        self.messages.remove(texts[0])
        text = self.reason = texts[0]["string"]
        if re.search(r"(Permission denied|Operation not permitted)$", text):
            return "not permitted"
        if re.search(r"No such (device|device or address|file or directory)$", text):
            return "no such drive"
        return "cannot be reached"

    def name(self):
        root = self.root
        if self.protocol == "NVMe":
            name = get(root, "nvme_namespaces", 0, "eui64")
            if root.get("nvme_number_of_namespaces") == 1 and name and name["oui"] | name["ext_id"]:
                return f"eui-{name['oui'] << 40 | name['ext_id']:016x}"
        elif self.protocol == "SCSI":
            unit = root.get("logical_unit_id", "")
            if re.fullmatch("0x([0-9a-f]{16}){1,2}", unit) and int(unit, 16):
                return "wwn-" + unit
        elif "wwn" in root and any(root["wwn"].values()):
            wwn = root["wwn"]
            if wwn["naa"] >> 4 or wwn["oui"] >> 24 or wwn["id"] >> 36:
                return ""
            return f"wwn-0x{wwn['naa'] << 60 | wwn['oui'] << 36 | wwn['id']:016x}"
        return ""

    def identity(self):
        root = self.root
        if self.protocol in KINDS:
            yield f"protocol {self.protocol}"
        firmware = root.get("firmware_version") or root.get("scsi_revision") or root.get("revision")
        for word, text in (("model", root.get("model_name") or root.get("scsi_model_name")),
                           ("serial", root.get("serial_number")), ("firmware", firmware),
                           ("name", self.name())):
            if words(text):
                yield f"{word} {words(text)}"
        size = get(root, "user_capacity", "bytes")
        if self.protocol == "NVMe" and root.get("nvme_total_capacity"):
            size = root["nvme_total_capacity"]
        if size is not None:
            yield f"size {size}"
        if "rotation_rate" in root:
            yield "rotates " + ("yes" if root["rotation_rate"] else "no")

    def abilities(self):
        """Minutes by kind; None where they are not told."""
        root, able = self.root, {}
        if self.is_refused():
            return {}
        if self.protocol == "ATA":
            support = root.get("smart_support", {})
            capable = get(root, "ata_smart_data", "capabilities") or {}
            minutes = get(root, "ata_smart_data", "self_test", "polling_minutes") or {}
            if False in support.values() or not capable.get("self_tests_supported"):
                return {}
            extended = minutes.get("extended")
            able = {"short": minutes.get("short"), "long": None if extended == 255 else extended}
            if capable.get("conveyance_self_test_supported"):
                able["conveyance"] = minutes.get("conveyance")
        elif self.protocol == "SCSI" and self.has_scsi_log():
            seconds = root.get("scsi_extended_self_test_seconds")
            able = {"short": None,
                    "long": None if seconds in (None, 65535) else -(-seconds // 60)}
        elif self.protocol == "NVMe":
            told = get(root, "nvme_optional_admin_commands", "self_test")
            for line in self.lines:
                listed = re.match(r"Optional Admin Commands \(0x([0-9a-f]{4})\)", line)
                if listed and told is None:
                    told = bool(int(listed[1], 16) & 16)
            if told or ("nvme_self_test_log" in root and told is not False):
                able = {"short": None, "long": None}
        return able

    def is_refused(self):
        kind = get(self.root, "device", "type") or ""
        return bool(re.match("jmb39x|jms56x|sntasmedia|sntrealtek", kind))

    def is_unable(self):
        said = {"ATA": [False in self.root.get("smart_support", {}).values(),
                        get(self.root, "ata_smart_data", "capabilities", "self_tests_supported") is False],
                "SCSI": ["Device does not support Self Test logging" in self.lines],
                "NVMe": [get(self.root, "nvme_optional_admin_commands", "self_test") is False,
                         "Self-tests not supported" in self.lines]}
        return self.is_refused() or any(said.get(self.protocol, []))

    def has_scsi_log(self):
        return "scsi_self_test_0" in self.root or bool(
            {"SMART Self-test log", "No Self-tests have been logged"} & set(self.lines))

    def ata_lines(self):
        status = get(self.root, "ata_smart_data", "self_test", "status", "value")
        logs = self.root.get("ata_smart_self_test_log", {})
        tables = [get(logs, name, "table") or [] for name in ("extended", "standard")]
        rows = tables[0] if len(tables[0]) >= len(tables[1]) else tables[1]
        state = []
        if status is not None:
            if status >> 4 == RUNNING:
                first = rows[0] if rows and rows[0]["status"]["value"] >> 4 == RUNNING else None
                kind = KINDS["ATA"].get(first["type"]["value"]) if first else None
                state.append(running_text(kind, 10 * (status & 15)))
            state.append(f"status {status >> 4}")
        log = [f"log {len(rows)}", *ata_rows({"table": rows})] if logs else []
        return state, log

    def scsi_lines(self):
        rows, state = list(scsi_rows(self.root)), []
        left = re.search(r"^Self-test execution status:\s*(\d+)% of test remaining",
                         "\n".join(self.lines), re.MULTILINE)
        is_first = get(self.root, "scsi_self_test_0", "result", "value") == RUNNING
        if is_first or left:
            code = get(self.root, "scsi_self_test_0", "code", "value") if is_first else None
            state.append(running_text(KINDS["SCSI"].get(code), left and left[1]))
        return state, [f"log {len(rows)}", *rows] if self.has_scsi_log() else []

    def nvme_lines(self):
        log = self.root.get("nvme_self_test_log")
        if not log:
            return [], []
        operation = log["current_self_test_operation"]["value"]
        lines = list(nvme_lines(operation, log.get("current_self_test_completion_percent"),
                                list(nvme_rows(log.get("table"), SMARTCTL_NAMES))))
        split = 1 if lines[0].startswith("running") else 0
        return lines[:split], lines[split:]

    def text(self):
        fault = self.fault()
        yield from self.identity()
        if fault:
            yield f"fault {fault}"
        able = self.abilities()
        for kind in ("short", "long", "conveyance"):
            if kind in able:
                yield f"can {kind} yes" + (f" {able[kind]} min" if able[kind] else "")
        if self.is_unable():
            yield "inability"
        state, log = {"ATA": self.ata_lines, "SCSI": self.scsi_lines,
                      "NVMe": self.nvme_lines}.get(self.protocol, lambda: ([], []))()
        yield from state
        if number(get(self.root, "power_on_time", "hours"), 10**7) is not None:
            yield f"hours {self.root['power_on_time']['hours']}"
        yield from log
        notes = [words(one["string"]) for one in self.messages]
        has_log = any(line.startswith("log") for line in log)
        has_state = get(self.root, "ata_smart_data", "self_test", "status", "value") is not None
        for line in [] if (has_state if self.protocol == "ATA" else has_log) else self.lines:
            line = words(line)
            if re.search(r" failed|^Self-test Log Sense length is", line) and line not in notes:
                if line != self.reason:
                    notes.append(line)
        for note in notes:
            yield f"note {note}"


def first_line(text):
    return next((line.strip() for line in text.splitlines() if line.strip()), "")


def read_smartctl(case):
    try:
        root = json.loads(case["text"])
    except ValueError:
        return "fault cannot be reached"
    return "\n".join(Smartctl(root, case["status"]).text())


def refusal(case):
    line = first_line(case["errors"]) or first_line(case["text"])
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

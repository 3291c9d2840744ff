"""What the second reader makes of smartctl's output (second_reader.py)."""

import re

from second_rows import (KINDS, RUNNING, SMARTCTL_NAMES, ata_rows, get, number, nvme_lines, nvme_rows,
                         running_text, scsi_rows, words)


def are_one(extended, standard):
    """Both rows are of one test. The standard log has no room for a block of more than 32 bits."""
    told = [(get(row, "type", "value"), get(row, "status", "value"), get(row, "lifetime_hours"))
            for row in (extended, standard)]
    block, other = get(extended, "lba"), get(standard, "lba")
    is_long = block is not None and block >= 2**32 - 1
    return told[0] == told[1] and (other == block or is_long and other in (None, block % 2**32))


def rows_of_both(extended, standard):
    """The standard log has no block of 48 bits, and the extended one ends sooner. The one may have a test that
    runs, or that has just ended, and the other not yet. Logs that tell of different tests are no two views of
    one: the one of the later hour, or with more rows."""
    running = [rows[:1] if rows and get(rows[0], "status", "value") >> 4 == RUNNING else []
               for rows in (extended, standard)]
    ended = [extended[len(running[0]):], standard[len(running[1]):]]
    for ahead in ((0, 0), (0, 1), (1, 0)):
        both = list(zip(ended[0][ahead[0]:], ended[1][ahead[1]:]))
        if (both or ahead == (0, 0)) and all(are_one(*pair) for pair in both):
            first = standard[:len(running[1]) + 1] if ahead[1] else running[0]
            if ahead == (0, 0):
                first = running[0] or running[1]
            return first + ended[0] + ended[1][len(ended[0]) - ahead[0] + ahead[1]:]
    hours = [get(rows, 0, "lifetime_hours") for rows in ended]
    if None not in hours and (hours[0] - hours[1]) % 2**16 not in (0, 2**15):
        return extended if (hours[0] - hours[1]) % 2**16 < 2**15 else standard
    return max(extended, standard, key=len)


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
            mode = re.fullmatch(r"Device is in (\S.*) mode, exit\(\d+\)", one["string"])
            if mode:
                self.messages.remove(one)
                if re.fullmatch(r"(STANDBY|IDLE).*", mode[1]):
                    self.reason = one["string"]
                    return "standby"
                self.reason = "it does not say whether it rests: it sleeps, or does not answer"
                return "cannot be reached"
        if not self.status & 3 or self.status == 255:
            return None
        texts = [one for one in self.messages if one["severity"] != "information"]
        if not texts:
            self.reason = self.failure()
            return "cannot be reached"
        self.messages.remove(texts[0])
        text = self.reason = texts[0]["string"]
        if re.search(r"(Permission denied|Operation not permitted)$", text):
            return "not permitted"
        if re.search(r"No such (device|device or address|file or directory)$", text):
            return "no such drive"
        return "cannot be reached"

    def failure(self):
        """The first line of a failure, or the one before it where it only says that smartctl gave up."""
        places = [place for place, line in enumerate(self.lines) if "failed" in line]
        if not places:
            return None
        line = self.lines[places[0]]
        if line.startswith("A mandatory SMART command failed") and places[0] > 0:
            line = self.lines[places[0] - 1] or line
        return words(line)

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
        rows = rows_of_both(*tables)
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
        if number(self.root.get("power_cycle_count"), 2**32 - 1) is not None:
            yield f"power cycles {self.root['power_cycle_count']}"
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

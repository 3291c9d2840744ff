"""Rows of self-test logs as the second reader reads them (second_reader.py)."""

KINDS = {"ATA": {1: "short", 2: "long", 3: "conveyance"}, "SCSI": {1: "short", 2: "long"},
         "NVMe": {1: "short", 2: "long"}}
RUNNING = 15


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

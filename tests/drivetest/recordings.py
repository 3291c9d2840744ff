"""The drives behind recordings of the real tools, as fields of the stand-in's: recording, fields.

Rows of logs are newest first.
"""

ATA = ["protocol ata", "nodes /dev/sda", "model LAB ATA DISK 500G", "serial LAB00001",
       "firmware FW01", "power_on_minutes 740700"]
SCSI = ["protocol scsi", "nodes /dev/sda", "vendor LABCO", "model SAS900G", "firmware 0001",
        "serial LABSAS01", "wwn 5000c50001020304", "size 900600955392", "long_minutes 90"]
NVME = ["protocol nvme", "nodes /dev/nvme0 /dev/nvme0n1", "model LAB NVME 512G",
        "serial LAB0000000000001", "firmware FW1.0", "size 512110190592", "long_minutes 10",
        "power_on_minutes 259260"]


def rows(*texts):
    return [f"row {text}" for text in texts]


def passed(code, *hours):
    return rows(*(f"type={code} hours={hour}" for hour in hours))


def running(code, seconds, done):
    """A test of this many seconds, of which so many have gone."""
    return ["is_testing 1", f"test {code}", f"seconds {seconds}", f"test_started {-done}"]


ATA_FAILURES = rows(
    "type=1 hours=12345", "type=2 result=7 remaining=9 hours=12344 lba=123456789",
    "type=2 result=1 remaining=5 hours=12300", "type=1 result=2 remaining=3 hours=12200",
    "type=2 result=3 remaining=3 hours=12100", "type=1 result=4 remaining=5 hours=12000 lba=0",
    "type=1 result=5 remaining=1 hours=11900", "type=1 result=6 remaining=2 hours=11800 lba=5",
    "type=3 result=8 hours=11700 lba=77", "type=4 result=7 remaining=4 hours=11600 lba=4294967294",
    "type=129 hours=11500", "type=130 result=7 remaining=2 hours=11400 lba=9",
    "type=64 hours=11300", "type=5 result=9 hours=11200", "type=0 hours=11100",
    "type=2 hours=11000", "type=2 result=7 remaining=6 hours=10900 lba=42")
ATA_PASSED = passed(1, 12345) + passed(2, 12300)
# 90 % remain, and the log has a row for it.
ATA_RUNNING = running(2, 1000, 60) + passed(1, 12300)
# The recordings whose drive shows no row of the running test.
ATA_RUNS = running(2, 1000, 60) + ["running_row no"]

SCSI_PASSED = passed(1, 49108) + passed(2, 49000)
SCSI_ALL = rows(*(
    f"type={1 + result % 2} result={result} hours={49100 - result}"
    f" segment={3 if result == 7 else 1 if result == 4 else 0}"
    f" lba={109273 if result in (4, 5, 6, 7) else -1}"
    f" sense={0x031100 if result in (5, 7) else 0x001100}" for result in range(8)),
    "type=5 hours=48000", "type=6 result=1 hours=47000", "type=4 hours=46000",
    "type=0 hours=45000", "type=1 result=8 hours=44000")
SCSI_RUNNING = running(2, 4, 1) + passed(1, 49108)

NVME_IDLE = passed(1, 4300)

SMARTCTL = {
    "ata-log-none": ATA, "ata-log-fail": ATA + ATA_FAILURES,
    "ata-a-fail": ATA + ATA_FAILURES + ["status 0x79"],
    "ata-log-run": ATA + ATA_RUNNING,
    "ata-log-wrap": ATA + passed(1, 3, 65535),
    "ata-log-full": ATA + passed(1, *range(12345, 12324, -1)),
    "ata-log-outdated": ATA + passed(2, 12345) + rows(
        "type=2 result=7 remaining=4 hours=12000 lba=4242"),
    "ata-start-short": ATA + ATA_PASSED, "ata-start-long": ATA + ATA_PASSED,
    "ata-start-conveyance": ATA + ATA_PASSED, "ata-start-offline": ATA + ATA_PASSED,
    "ata-start-select": ATA + ATA_PASSED, "ata-start-short-j": ATA, "ata-start-captive": ATA,
    "ata-start-refused": ATA + ATA_RUNS, "ata-start-refused-j": ATA + ATA_RUNS,
    "ata-start-force": ATA + ATA_RUNS, "ata-abort": ATA + ATA_RUNS,
    "ata-nosupport": ATA + ["tests ", "takes short"], "ata-nosupport-conv": ATA + [
        "tests short long selective", "takes conveyance"],
    "ata-nosupport-sel": ATA + ["tests short long"], "ata-conservative": ATA + ["tests "],
    "ata-startfail1": ATA + ["start aborted"], "ata-startfail2": ATA + ["start unsupported"],
    "ata-captive-fail": ATA + ["start aborted"], "ata-nospec": ATA + ["power_mode 0"],
    "ata-bad": ATA + ["health 1"], "ata-noret": ATA + ["bridge no_registers"],
    "ata-extmin": ATA + ["long_minutes 1804"],
    "ata-execf0": ATA + running(2, 1000, 950) + ["running_row no"],
    "ata-stuck-f1": ATA + ATA_PASSED + running(2, 1000, 850) + ["running_row no"],
    "ata-nstandby-pm00": ATA + ["power_mode 0x00"], "ata-nstandby-pm01": ATA + ["power_mode 0x01"],
    "ata-nstandby-pm40": ATA + ["power_mode 0x40"], "ata-nstandby-pm80": ATA + ["power_mode 0x80"],
    "ata-nstandby-pmff": ATA + ["power_mode 0xff"],
    "scsi-log-none": SCSI, "scsi-log-ok": SCSI + SCSI_PASSED, "scsi-log-all": SCSI + SCSI_ALL,
    "scsi-log-run": SCSI + SCSI_RUNNING, "scsi-a-run": SCSI + SCSI_RUNNING,
    "scsi-log-poh0": SCSI + passed(1, 0), "scsi-log-poh0b": SCSI + passed(0, 0) + passed(1, 5),
    "scsi-log-wrap": SCSI + passed(1, 65535, 65535),
    "scsi-log-full": SCSI + passed(1, *range(49108, 49088, -1)),
    "scsi-log-runpoh": SCSI + running(2, 4, 1) + passed(1, 49108) + [
        "running_row hours", "log_hours 49110"],
    "scsi-log-nopage": SCSI + ["has_log 0"],
    "scsi-start-short": SCSI + SCSI_PASSED, "scsi-start-long": SCSI + SCSI_PASSED,
    "scsi-start-short-j": SCSI + SCSI_PASSED, "scsi-start-captive": SCSI,
    "scsi-start-offline": SCSI, "scsi-start-conv": SCSI, "scsi-abort": SCSI,
    "scsi-start-refused": SCSI + SCSI_RUNNING, "scsi-start-force": SCSI + SCSI_RUNNING,
    "scsi-startfail1": SCSI + ["start 0x052400"], "scsi-startfail2": SCSI + ["start unsupported"],
    "scsi-startfail3": SCSI + ["start 0x043e03"], "scsi-startfail4": SCSI + ["start busy"],
    "scsi-ie5d": SCSI + SCSI_PASSED + ["health 1"], "scsi-nstandby-04": SCSI + ["power_mode 0"],
    "nvme-start-short": NVME + NVME_IDLE, "nvme-start-short-j": NVME + NVME_IDLE,
    "nvme-abort": NVME + NVME_IDLE, "nvme-xall": NVME + NVME_IDLE + running(1, 100, 42),
    "nvme-crit": NVME + NVME_IDLE + ["health 4"], "nvme-nstandby-nvme": NVME + NVME_IDLE,
    **{f"{protocol}-open-errno{code}": drive + [f"open_errno {code}"]
       for protocol, drive in (("ata", ATA), ("scsi", SCSI), ("nvme", NVME))
       for code in (1, 2, 6, 13, 16, 19)},
    "scsi-ioctl-errno5": SCSI + ["fail_in 1", "fail_for 1000000"],
    # What smartctl 7.4 can do besides.
    "nvme-log-idle": NVME + NVME_IDLE, "nvme-log-short42": NVME + NVME_IDLE + running(1, 100, 42),
    "nvme-nosupport-log": NVME + ["tests "], "nvme-nosupport-start": NVME + ["tests "],
    "nvme-start-refused": NVME + NVME_IDLE + running(1, 100, 42),
    "nvme-start-status11d": NVME + NVME_IDLE + ["start busy"],
    "nvme-start-status4002": NVME + NVME_IDLE + ["start 0x4002"],
    "nvme-ns-log-invalid": NVME + NVME_IDLE + ["log_nsid_all_only 1"],
    "nvme-ns-log-invalid-bcast": NVME + NVME_IDLE + ["log_nsid_all_only 1"],
    "nvme-start-short-n1": NVME + NVME_IDLE,
}

NVME_CLI = {
    "selftestlog-idle": NVME + NVME_IDLE,
    "selftestlog-short0": NVME + NVME_IDLE + running(1, 100, 0),
    "selftestlog-short42": NVME + NVME_IDLE + running(1, 100, 42),
    "selftestlog-ext99": NVME + NVME_IDLE + running(2, 100, 99),
    "selftestlog-vend": NVME + running(14, 100, 5),
    "selftestlog-stale100": NVME + passed(2, 4320) + ["stale_completion 100"],
    "selftestlog-full": NVME + rows(
        *(f"type={1 + row % 2} hours={4320 - 24 * row}" for row in range(20))),
    "selftestlog-text-idle": NVME + NVME_IDLE,
    "selftestlog-text-short42": NVME + NVME_IDLE + running(1, 100, 42),
    "selftestlog-fail": NVME + ["has_log 0"],
    "idctrl-dst": NVME + ["long_minutes 30"],
    "dst-short": NVME, "dst-extended": NVME, "dst-vendor": NVME, "dst-abort": NVME,
    "dst-abort-none": NVME, "dst-status11d": NVME + ["start busy"],
    "dst-status4001": NVME + ["start unsupported"], "dst-status4002": NVME + ["start 0x4002"],
    "dst-status400b": NVME + ["start 0x400b"], "dst-status6002": NVME + ["start 0x6002"],
    "dst-state-idle": NVME + NVME_IDLE, "dst-state-short42": NVME + running(1, 100, 42),
    "dst-state-stale100": NVME + ["stale_completion 100"],
    **{f"open-errno{code}": NVME + [f"open_errno {code}"] for code in (1, 2, 13)},
    "idctrl-open13": NVME + ["open_errno 13"],
    **{f"ioctl-errno{code}": NVME + [f"fail_errno {code}", "fail_in 1", "fail_for 1000000"]
       for code in (4, 5, 13, 25)},
}

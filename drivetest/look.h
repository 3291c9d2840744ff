// What one look at a drive has told. Plain data, filled by the readers of smartctl's and of nvme's
// output (smartctl_report.h, nvme_report.h) and by nobody else.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/drive.h"

namespace drivetest {

// An entry of a drive's self-test log. Two entries are equal only if all that they say is; whether
// they are of one test is told by is_same_test (ata_logs.h).
struct LogEntry {
  int test_code = 0;  // the drive's own: ATA 1, 2, 3, 81h ...; SCSI 1, 2, 5 ...; NVMe 1, 2, Eh
  std::optional<TestKind> kind;  // not set for a test that we cannot start
  int result_code = 0;           // 0 to 15; kRunningCode is no result
  std::optional<unsigned> remaining_percent;
  std::optional<std::uint64_t> hours;  // power-on hours; 16 bits, but for NVMe
  std::optional<std::uint64_t> first_bad_block;
  std::optional<unsigned> segment;           // of a failed test
  std::optional<std::int64_t> namespace_id;  // NVMe; -1: all
  // SCSI sense key, code and qualifier, or NVMe status code type and status code.
  std::vector<unsigned> error_codes;

  bool operator==(const LogEntry&) const = default;
};

// A test that the drive does now, no matter who has started it.
struct RunningTest {
  std::optional<TestKind> kind;               // ATA's status does not tell it
  std::optional<unsigned> remaining_percent;  // in the drive's own steps: ATA 10 %, others 1 %
  // Some drives go on saying that a test is at its end when it has ended. Such a word alone makes
  // no test: see progress.h.
  bool is_doubtful = false;

  bool operator==(const RunningTest&) const = default;
};

// Why a look told less than it might.
enum class LookFault {
  None,
  Standby,          // the drive rests and was not to be woken
  ToolMissing,      // `reason` names the package
  ToolTooOld,       // and the version that is needed
  NotPermitted,     // root sees it
  NoSuchDrive,      // there is no such device, or not any more
  CannotBeReached,  // all else, such as an unknown bridge; `reason` quotes the tool
};

struct Look {
  Drive drive;
  LookFault fault = LookFault::None;
  std::string reason;  // of the fault, in words, with the tool's own text

  Abilities abilities{};
  std::string inability;  // why no test can be started at all, in words; empty: some test can

  std::optional<RunningTest> running;
  // ATA: the upper half of the self-test status byte, which keeps the last result for ever and is 0
  // in a drive that has never been tested.
  std::optional<int> status_code;
  bool has_log = false;       // whether the drive keeps a log that could be read
  bool is_log_lost = false;   // ATA: it keeps one that could not be read this time
  std::vector<LogEntry> log;  // newest first, rows without a test left out
  std::optional<std::uint64_t> power_on_hours;
  std::optional<std::uint64_t> power_cycles;  // how often it was switched on
  // What the tool printed besides, such as its warnings. From outside: escape before showing.
  std::vector<std::string> notes;
};

}  // namespace drivetest

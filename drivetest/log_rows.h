// Entries of self-test logs, as the tools' JSON has them. Both tools' rows of one NVMe log give the
// same entries, so that a log read with one can be compared with a log read with the other.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "drivetest/look.h"
#include "drivetest/tool_json.h"

namespace drivetest {

// What we could start, by the drive's own code. Captive and foreground tests are none of it.
std::optional<TestKind> kind_of(Protocol protocol, std::uint64_t test_code);

// Rows that are no entries (unused, without a result) are left out.
std::vector<LogEntry> ata_log(JsonPart table);
std::vector<LogEntry> scsi_log(JsonPart root);  // of its members scsi_self_test_0 and so on

// How a tool names what an NVMe log holds.
struct NvmeLogNames {
  const char* operation;
  const char* completion;  // in percent
  const char* table;
  const char* test;
  const char* result;
  const char* hours;
  const char* segment;
  const char* name_space;
  const char* block;
  const char* code_type;
  const char* code;
};

struct NvmeLog {
  std::optional<RunningTest> running;
  std::vector<LogEntry> entries;
};
// At most that many rows are looked at. Not set: what was printed is no such log.
std::optional<NvmeLog> nvme_log(JsonPart log, const NvmeLogNames& names, std::size_t most_rows);

}  // namespace drivetest

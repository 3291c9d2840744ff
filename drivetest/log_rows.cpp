#include "drivetest/log_rows.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string>

#include "drivetest/outcome.h"

namespace drivetest {

namespace {

// Hours of ATA and SCSI logs have 16 bits.
constexpr std::uint64_t kMostHours = 0xFFFF;
constexpr std::uint64_t kByte = 0xFF;
constexpr std::size_t kMostRows = 64;  // more than any log has
constexpr std::size_t kScsiRows = 20;
constexpr std::uint64_t kAllNamespaces = 0xFFFFFFFF;

struct KindRow {
  Protocol protocol;
  std::uint64_t test_code;
  TestKind kind;
};
constexpr std::array kKinds = {
    KindRow{Protocol::Ata, 1, TestKind::Short},      KindRow{Protocol::Ata, 2, TestKind::Long},
    KindRow{Protocol::Ata, 3, TestKind::Conveyance}, KindRow{Protocol::Scsi, 1, TestKind::Short},
    KindRow{Protocol::Scsi, 2, TestKind::Long},      KindRow{Protocol::Nvme, 1, TestKind::Short},
    KindRow{Protocol::Nvme, 2, TestKind::Long}};

std::optional<unsigned> small(std::optional<std::uint64_t> value) {
  if (!value) return std::nullopt;
  return static_cast<unsigned>(*value);
}

// The codes together, or none: one of them alone says nothing.
std::vector<unsigned> all_or_none(std::initializer_list<std::optional<std::uint64_t>> codes) {
  std::vector<unsigned> all;
  for (const auto& code : codes) {
    if (!code) return {};
    all.push_back(static_cast<unsigned>(*code));
  }
  return all;
}

LogEntry entry_of(Protocol protocol, std::uint64_t test_code, std::uint64_t result_code) {
  LogEntry entry;
  entry.test_code = static_cast<int>(test_code);
  entry.kind = kind_of(protocol, test_code);
  entry.result_code = static_cast<int>(result_code);
  return entry;
}

bool has_failed(Protocol protocol, int result_code) {
  const auto verdict = result_meaning(protocol, result_code);
  return verdict && verdict->outcome == Outcome::Failed;
}

// -1 or FFFFFFFFh: all of them.
std::optional<std::int64_t> namespace_of(JsonPart part) {
  const auto number = part.whole();
  if (!number || *number < -1 || *number > static_cast<std::int64_t>(kAllNamespaces))
    return std::nullopt;
  return *number == static_cast<std::int64_t>(kAllNamespaces) ? -1 : *number;
}

// The row of an unused place is null, or has neither test nor result.
std::optional<LogEntry> nvme_entry(JsonPart row, const NvmeLogNames& names) {
  const auto test = row[names.test].code(15);
  const auto result = row[names.result].code(15);
  if (!test || *test == 0 || !result || *result == kRunningCode) return std::nullopt;
  LogEntry entry = entry_of(Protocol::Nvme, *test, *result);
  entry.hours = row[names.hours].number();
  entry.first_bad_block = row[names.block].number();
  constexpr int kSegmentFailed = 7;  // the only result whose segment means something
  if (entry.result_code == kSegmentFailed) entry.segment = small(row[names.segment].number(kByte));
  entry.namespace_id = namespace_of(row[names.name_space]);
  entry.error_codes = all_or_none({row[names.code_type].number(7), row[names.code].number(kByte)});
  return entry;
}

}  // namespace

std::optional<TestKind> kind_of(Protocol protocol, std::uint64_t test_code) {
  for (const KindRow& row : kKinds)
    if (row.protocol == protocol && row.test_code == test_code) return row.kind;
  return std::nullopt;
}

std::vector<LogEntry> ata_log(JsonPart table) {
  std::vector<LogEntry> entries;
  for (std::size_t place = 0; place < std::min(table.size(), kMostRows); ++place) {
    const JsonPart row = table.at(place);
    const auto test = row["type"].code(kByte);
    const auto status = row["status"].code(kByte);
    if (!test || !status) continue;
    LogEntry entry = entry_of(Protocol::Ata, *test, *status >> 4);
    entry.remaining_percent = small(row["status"]["remaining_percent"].number(100));
    entry.hours = row["lifetime_hours"].number(kMostHours);
    entry.first_bad_block = row["lba"].number();
    entries.push_back(std::move(entry));
  }
  return entries;
}

std::vector<LogEntry> scsi_log(JsonPart root) {
  std::vector<LogEntry> entries;
  for (std::size_t place = 0; place < kScsiRows; ++place) {
    const JsonPart row = root[("scsi_self_test_" + std::to_string(place)).c_str()];
    const auto test = row["code"].code(7);
    const auto result = row["result"].code(15);
    if (!test || !result) continue;
    LogEntry entry = entry_of(Protocol::Scsi, *test, *result);
    entry.hours = row["power_on_time"]["hours"].number(kMostHours);
    entry.first_bad_block = row["lba_first_failure"].code(~std::uint64_t{0});
    // Makers fill it in for tests that passed, too.
    if (has_failed(Protocol::Scsi, entry.result_code))
      entry.segment = small(row["failed_segment"].code(kByte));
    entry.error_codes = all_or_none(
        {row["sense_key"].code(15), row["asc"].number(kByte), row["ascq"].number(kByte)});
    entries.push_back(std::move(entry));
  }
  return entries;
}

std::optional<NvmeLog> nvme_log(JsonPart log, const NvmeLogNames& names, std::size_t most_rows) {
  const auto operation = log[names.operation].code(kByte);
  if (!operation) return std::nullopt;
  NvmeLog read;
  // The upper bits are reserved. The completion is valid only while a test runs.
  if (const auto test = *operation & 0xF) {
    read.running = RunningTest{kind_of(Protocol::Nvme, test), std::nullopt};
    if (const auto completion = log[names.completion].number(kByte))
      if (const auto percent = static_cast<unsigned>(*completion & 0x7F); percent <= 100)
        read.running->remaining_percent = 100 - percent;
  }
  const JsonPart table = log[names.table];
  for (std::size_t place = 0; place < std::min(table.size(), most_rows); ++place)
    if (auto entry = nvme_entry(table.at(place), names)) read.entries.push_back(std::move(*entry));
  return read;
}

}  // namespace drivetest

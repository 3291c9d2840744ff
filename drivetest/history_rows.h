// Tests and log entries as rows of the history's tables. Internal to the history.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "drivetest/database.h"
#include "drivetest/drive_change.h"
#include "drivetest/test_row.h"

namespace drivetest {

// The number of the drive's row.
std::optional<std::int64_t> find_drive(Database& database, std::string_view machine_id,
                                       std::string_view identity);
// The same, where a drive that is not known gets a row. What the drive does not say now stays as it
// was.
std::int64_t keep_drive(Database& database, const KeptTest& test);

// As it stands; returns its number.
std::int64_t insert_test(Database& database, std::int64_t drive, const TestRow& row);
// What a running row is to be, found by its number; returns whether there was one.
bool update_test(Database& database, const TestRow& row);
// The drive's running row.
std::optional<std::int64_t> running_number(Database& database, std::int64_t drive);
// When the newest row of the drive was recorded.
std::optional<Time> last_recorded(Database& database, std::int64_t drive);

std::optional<KeptTest> read_test(Database& database, std::int64_t number);
// The same of a number that the history has just given, in the same transaction: it is damaged if
// there is no such row.
KeptTest read_known_test(Database& database, std::int64_t number);

// The drives of a machine, in the order in which they became known.
std::vector<KnownDrive> read_drives(Database& database, std::string_view machine_id);

DriveState read_state(Database& database, std::int64_t drive);
void keep_log_seen(Database& database, std::int64_t drive, const std::vector<LogEntry>& log,
                   Time looked);

}  // namespace drivetest

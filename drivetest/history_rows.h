// Tests and log entries as rows of the history's tables. Internal to the history.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "drivetest/database.h"
#include "drivetest/look.h"
#include "drivetest/test_row.h"

namespace drivetest {

// The number of the drive's row.
std::optional<std::int64_t> find_drive(Database& database, std::string_view machine_id,
                                       std::string_view identity);
// The same, where a drive that is not known gets a row. What the drive does not say now stays as it
// was.
std::int64_t keep_drive(Database& database, const KeptTest& test);

// As it stands, and with its log of before; returns its number.
std::int64_t insert_test(Database& database, std::int64_t drive, const TestRow& row);
// Sets how the test ended where it runs; returns whether it did.
bool end_test(Database& database, const TestRow& row);
// When the newest row of the drive was recorded.
std::optional<Time> last_recorded(Database& database, std::int64_t drive);

// With the log of before, if the test runs.
std::optional<KeptTest> read_test(Database& database, std::int64_t number);

enum class LogTable { Before, Seen };  // of a test, of a drive
std::vector<LogEntry> read_log(Database& database, LogTable table, std::int64_t owner);
void replace_log(Database& database, LogTable table, std::int64_t owner,
                 const std::vector<LogEntry>& log);

}  // namespace drivetest

#include "drivetest/kept_entries.h"

#include <algorithm>

#include "drivetest/ata_logs.h"

namespace drivetest {

namespace {

// A row has not all that an entry says: no name space and no codes.
bool may_be_of(const TestRow& row, const LogEntry& entry) {
  if (!row.result_code || !row.hours) return false;
  LogEntry told = entry;
  told.test_code = row.test_code;
  told.result_code = *row.result_code;
  told.hours = row.hours;
  told.first_bad_block = row.first_bad_block;
  told.segment = row.segment;
  return is_same_test(told, entry);
}

// Of the entries and of the rows, both the oldest first: which entries are rows. They are as many
// as can be in one order, and the oldest ones of those that are equal.
std::vector<bool> entries_of(const std::vector<LogEntry>& entries,
                             const std::vector<TestRow>& rows) {
  // How many can be from that entry and that row on.
  std::vector most(entries.size() + 1, std::vector<std::size_t>(rows.size() + 1));
  for (std::size_t entry = entries.size(); entry-- > 0;)
    for (std::size_t row = rows.size(); row-- > 0;)
      most[entry][row] = may_be_of(rows[row], entries[entry])
                             ? 1 + most[entry + 1][row + 1]
                             : std::max(most[entry + 1][row], most[entry][row + 1]);
  std::vector<bool> are_rows(entries.size());
  for (std::size_t entry = 0, row = 0; entry < entries.size() && row < rows.size();) {
    if (may_be_of(rows[row], entries[entry])) {
      are_rows[entry++] = true;
      ++row;
    } else if (most[entry][row + 1] >= most[entry + 1][row]) {
      ++row;
    } else {
      ++entry;
    }
  }
  return are_rows;
}

}  // namespace

void leave_out_kept(LogGrowth& growth, const std::vector<TestRow>& kept) {
  const std::vector<LogEntry> entries(growth.added.rbegin(), growth.added.rend());
  const std::vector<bool> are_rows = entries_of(entries, kept);
  std::vector<LogEntry> added;
  for (std::size_t number = entries.size(); number-- > 0;)
    if (!are_rows[number]) added.push_back(entries[number]);
  // Where all that is new stands above all that is known, the log goes on from what is known.
  const std::size_t known = entries.size() - added.size();
  growth.is_before_known =
      known > 0 &&
      std::all_of(are_rows.begin(), are_rows.begin() + static_cast<std::ptrdiff_t>(known),
                  [](bool is_row) { return is_row; });
  growth.added = std::move(added);
}

}  // namespace drivetest

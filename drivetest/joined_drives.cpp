#include "drivetest/joined_drives.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "drivetest/ata_logs.h"
#include "drivetest/history_rows.h"

namespace drivetest {

namespace {

// What is known under one of the names.
struct Side {
  std::int64_t number = 0;
  std::vector<TestRow> rows;  // the oldest first
  std::vector<LogEntry> log;
  std::optional<std::string> looked;  // when the log was read

  const TestRow* running() const {
    const auto row =
        std::ranges::find_if(rows, [](const TestRow& one) { return !one.outcome.has_value(); });
    return row == rows.end() ? nullptr : &*row;
  }
};

Side side_of(Database& database, std::int64_t number) {
  Side side;
  side.number = number;
  std::vector<std::int64_t> tests;
  {
    Query query = database.query(
        "SELECT number FROM tests WHERE drive = ? ORDER BY recorded, number", number);
    while (query.step()) tests.push_back(query.next_integer());
  }
  for (const std::int64_t test : tests) side.rows.push_back(read_known_test(database, test).row);
  const DriveState state = read_state(database, number);
  if (state.log) side.log = *state.log;
  Query query = database.query("SELECT looked FROM drives WHERE number = ?", number);
  if (query.step()) side.looked = query.next_optional_text();
  return side;
}

// What a row has of the entry of the drive's log.
using Entry = std::tuple<int, std::optional<int>, std::optional<std::uint64_t>,
                         std::optional<std::uint64_t>, std::optional<unsigned>>;

template <class Holder>
Entry entry_of(const Holder& holder) {
  return {holder.test_code, holder.result_code, holder.hours, holder.first_bad_block,
          holder.segment};
}

constexpr std::size_t kBlock = 3;

// Whether both may be of one test, whichever log of an ATA drive each was read from.
bool is_same(const Entry& one, const Entry& other) {
  Entry same = one;
  std::get<kBlock>(same) = std::get<kBlock>(other);
  return same == other && is_same_block(std::get<kBlock>(one), std::get<kBlock>(other));
}

bool has_entry(const Side& side, const TestRow& row) {
  return std::ranges::any_of(
      side.log, [&](const LogEntry& entry) { return is_same(entry_of(entry), entry_of(row)); });
}

void drop(Database& database, Side& side, std::int64_t number) {
  database.run("DELETE FROM tests WHERE number = ?", number);
  std::erase_if(side.rows, [&](const TestRow& row) { return row.number == number; });
}

void end_unseen(Database& database, Side& side, std::int64_t number, Time now) {
  TestRow& row = *std::ranges::find(side.rows, number, &TestRow::number);
  row.outcome = Outcome::Unknown;
  row.cause = "the drive was known by another name meanwhile, and nobody saw how the test ended";
  row.ended = now;
  row.remaining_percent.reset();
  update_test(database, row);
}

// Whether the second row only says what a look at the drive has shown of the first one's test.
bool is_shown_by(const TestRow& test, const TestRow& shown) {
  return shown.source == Source::Other && shown.kind == test.kind &&
         shown.recorded >= test.recorded;
}

// A test is begun here only where the drive runs none.
bool is_over(const TestRow& row, const Side& other) {
  return std::ranges::any_of(other.rows, [&](const TestRow& one) {
    return one.source != Source::Other && one.recorded > row.recorded;
  });
}

// Leaves one running row at most.
void settle_running(Database& database, Side& before, Side& named, Time now) {
  const TestRow* const old_one = before.running();
  const TestRow* const new_one = named.running();
  if (old_one && new_one) {
    if (is_shown_by(*new_one, *old_one)) return drop(database, before, old_one->number);
    if (is_shown_by(*old_one, *new_one)) return drop(database, named, new_one->number);
    if (old_one->recorded > new_one->recorded)
      end_unseen(database, named, new_one->number, now);
    else
      end_unseen(database, before, old_one->number, now);
    return;
  }
  if (old_one && is_over(*old_one, named)) end_unseen(database, before, old_one->number, now);
  if (new_one && is_over(*new_one, before)) end_unseen(database, named, new_one->number, now);
}

// The next look goes on from the log of that side, and finds again what the other side's log has
// beyond it. One of these entries may be the running test's.
void leave_to_next_look(Database& database, const Side& kept, Side& other) {
  // What the kept log lacks of an earlier one has been pushed out of it, and is not found again.
  if (kept.looked && other.looked && *kept.looked > *other.looked) return;
  for (const TestRow& row : std::vector<TestRow>(other.rows))
    if (row.source == Source::Other && row.outcome && has_entry(other, row) &&
        !has_entry(kept, row))
      drop(database, other, row.number);
}

// Equal rows are of as many tests as one of the sides knows. Those of others go, where there are
// more, and `named` may know an entry of which the row was removed.
void drop_repeated(Database& database, Side& before, Side& named) {
  struct Count {
    std::size_t before = 0, named = 0, own = 0, logged = 0;
    std::ptrdiff_t telling = 0;        // of the others
    std::vector<std::int64_t> others;  // those of `named` first, but for those that tell less
  };
  std::vector<Entry> of_extended_log;
  const auto add = [&](const Entry& entry) {
    const auto& block = std::get<kBlock>(entry);
    if (block && is_same_block(block, std::nullopt)) of_extended_log.push_back(entry);
  };
  for (const Side* const side : {&named, &before}) {
    for (const TestRow& row : side->rows) add(entry_of(row));
    for (const LogEntry& entry : side->log) add(entry_of(entry));
  }
  const auto told = [&](const Entry& entry) {
    const auto found = std::ranges::find_if(
        of_extended_log, [&](const Entry& other) { return is_same(entry, other); });
    return found == of_extended_log.end() ? entry : *found;
  };
  std::map<Entry, Count> counts;
  for (Side* const side : {&named, &before})
    for (const TestRow& row : side->rows) {
      if (!row.result_code) continue;
      const Entry entry = told(entry_of(row));
      Count& count = counts[entry];
      ++(side == &named ? count.named : count.before);
      if (row.source != Source::Other)
        ++count.own;
      else if (entry == entry_of(row))
        count.others.insert(count.others.begin() + count.telling++, row.number);
      else
        count.others.push_back(row.number);
    }
  for (const LogEntry& entry : named.log) ++counts[told(entry_of(entry))].logged;
  for (const auto& [entry, count] : counts) {
    const std::size_t known = std::max(count.named, count.logged);
    const std::size_t tests = std::max({known, count.before, count.own});
    const std::size_t others = tests - std::min(tests, count.own + (known - count.named));
    for (std::size_t i = others; i < count.others.size(); ++i)
      database.run("DELETE FROM tests WHERE number = ?", count.others[i]);
  }
}

}  // namespace

void join_drives(Database& database, std::int64_t before, std::int64_t named, Time now) {
  Side old_side = side_of(database, before);
  Side new_side = side_of(database, named);
  settle_running(database, old_side, new_side, now);
  // The running test is told from what the log was when it began.
  bool is_old_log = old_side.looked && (!new_side.looked || *old_side.looked > *new_side.looked);
  if (old_side.running()) {
    is_old_log = old_side.looked.has_value();
    if (is_old_log) leave_to_next_look(database, old_side, new_side);
  } else if (new_side.running()) {
    is_old_log = false;
    leave_to_next_look(database, new_side, old_side);
  }
  drop_repeated(database, old_side, new_side);
  if (is_old_log) {
    database.run("DELETE FROM log_seen WHERE drive = ?", named);
    database.run("UPDATE log_seen SET drive = ? WHERE drive = ?", named, before);
    database.run("UPDATE drives SET looked = ? WHERE number = ?", old_side.looked, named);
  }
  database.run(
      "UPDATE drives SET changed = max(changed, (SELECT changed FROM drives WHERE number = ?))"
      " WHERE number = ?",
      before, named);
  database.run("UPDATE tests SET drive = ? WHERE drive = ?", named, before);
  database.run("DELETE FROM drives WHERE number = ?", before);
}

}  // namespace drivetest

#include "tests/drivetest/random/judge.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>
#include <set>

namespace random_lives {

using drivetest::KeptTest;
using drivetest::Outcome;
using drivetest::Source;
using drivetest::TestRow;

namespace {

[[noreturn]] void violate(const std::string& words) { throw Violation(words); }

std::string text_of(const TestRow& row) {
  return "row " + std::to_string(row.number) + " (" + std::string(name_of(row.source)) + ", " +
         (row.kind ? std::string(name_of(*row.kind)) : "test") + ", " +
         (row.outcome ? std::string(name_of(*row.outcome)) : "running") + ", " + row.cause + ")";
}

// Or of none, as far as the row says.
bool tells_of_a_test(const TestRow& row) {
  return row.outcome ? row.outcome != Outcome::Unknown || row.result_code : row.looked.has_value();
}

char letter_of(Outcome outcome) {
  constexpr std::string_view kLetters = "PFA?";
  return kLetters.at(static_cast<std::size_t>(outcome));
}

// The standard log of an ATA drive has no block of more than 32 bits.
bool is_row_of(const TestRow& row, const LogEntry& entry) {
  const bool is_without_block = !row.first_bad_block && entry.first_bad_block > 0xFFFFFFFFU;
  return row.kind == entry.kind && row.test_code == entry.test_code &&
         row.result_code == entry.result_code && row.hours == entry.hours &&
         (row.first_bad_block == entry.first_bad_block || is_without_block);
}

// Whether each of the left has another of the right that suits it; which has none, else.
std::optional<std::size_t> unmatched(std::size_t left, std::size_t right,
                                     const std::function<bool(std::size_t, std::size_t)>& suits) {
  std::vector<std::optional<std::size_t>> owner(right);
  std::vector<bool> tried;
  const std::function<bool(std::size_t)> place = [&](std::size_t one) {
    for (std::size_t other = 0; other < right; ++other) {
      if (tried[other] || !suits(one, other)) continue;
      tried[other] = true;
      if (owner[other] && !place(*owner[other])) continue;
      owner[other] = one;
      return true;
    }
    return false;
  };
  for (std::size_t one = 0; one < left; ++one) {
    tried.assign(right, false);
    if (!place(one)) return one;
  }
  return std::nullopt;
}

}  // namespace

void Judge::judge() {
  PlayedMachine::Report& report = machine_.report();
  for (const std::int64_t row : report.started) reported_[row] = true;
  const Rows& rows = machine_.rows();
  judge_changes(rows);
  judge_times(rows);
  for (const KeptTest& kept : rows) {
    judge_outcome(kept);
    if (const std::string why = contradiction_in(kept); !why.empty())
      violate(text_of(kept.row) + " contradicts itself: " + why);
  }
  judge_sources(rows);
  for (const PlayedMachine::Report::Seen& seen : report.seen) judge_look(seen, rows);
  if (!report.lies.empty()) violate(report.lies.front());
}

int Judge::drive_of(const TestRow& row) const {
  for (int drive = 0; drive < machine_.drives(); ++drive)
    if (machine_.drive(drive).drive().identity() == row.drive) return drive;
  violate(text_of(row) + " is of a drive that nobody has");
}

const Call* Judge::call_of(const TestRow& row) const {
  for (const Call& call : machine_.calls())
    if (call.row == row.number) return &call;
  return nullptr;
}

// Ended rows stay as they are, and none goes but on somebody's wish.
void Judge::judge_changes(const Rows& rows) {
  std::map<std::int64_t, KeptTest> now;
  for (const KeptTest& kept : rows) now.emplace(kept.row.number, kept);
  for (const auto& [number, before] : known_) {
    const TestRow& row = before.row;
    const auto found = now.find(number);
    const auto& limit = machine_.report().forgotten_before;
    const drivetest::Time when = row.ended.value_or(row.started.value_or(row.recorded));
    const bool is_to_be_forgotten = limit && row.outcome && when < *limit;
    if (is_to_be_forgotten != (found == now.end()) && (row.outcome || reported_.count(number)))
      violate(text_of(row) + (is_to_be_forgotten ? " was not forgotten" : " was lost"));
    if (is_to_be_forgotten) forgotten_.emplace(number, before);
    if (found != now.end() && row.outcome && !(found->second.row == row))
      violate(text_of(row) + " has become " + text_of(found->second.row));
  }
  for (const auto& [number, is_reported] : reported_)
    if (!now.count(number) && !forgotten_.count(number))
      violate("row " + std::to_string(number) + ", reported as started, is not there");
  known_ = std::move(now);
}

void Judge::judge_times(const Rows& rows) const {
  std::map<std::string, drivetest::Time> recorded;
  std::set<std::string> runs;
  for (const KeptTest& kept : rows) {
    const TestRow& row = kept.row;
    drivetest::Time& last = recorded[row.drive];
    if (row.recorded < last) violate(text_of(row) + " was recorded before the one before it");
    last = row.recorded;
    if (!row.outcome && !runs.insert(row.drive).second)
      violate(text_of(row) + " is the second that runs");
    if (machine_.was_clock_moved()) continue;
    const auto expect_order = [&](const auto& earlier, const auto& later) {
      if (earlier && later && *later < *earlier) violate(text_of(row) + " has times out of order");
    };
    expect_order(row.started, row.progressed);
    expect_order(row.progressed, row.looked);
    expect_order(row.looked, row.ended);
    expect_order(row.started, row.ended);
  }
}

// Whether the history has a row that was made for the test before it began.
bool Judge::has_row(const RealTest& test) const {
  return test.call >= 0 &&
         known_.count(machine_.calls()[static_cast<std::size_t>(test.call)].row) > 0;
}

// A test that has left no entry, as when the power was lost, cannot always be told from one that
// somebody else has begun since. So it is with one that has left an entry of which nothing tells
// that it is new, where the other test has left one that does.
bool Judge::is_excused(const TestRow& row, const Call* call, PlayedDrive& drive) const {
  const std::vector<RealTest>& tests = drive.tests();
  const auto number = call && call->test >= 0 ? static_cast<std::size_t>(call->test) : tests.size();
  if (number < tests.size() && tests[number].entry && !tests[number].is_hidden) return false;
  const bool is_hidden = number < tests.size() && tests[number].is_hidden;
  // What a drive without a log says may be older than the test, which the clock has to tell.
  if (machine_.was_clock_moved() && drive.log().empty()) return true;
  const std::size_t first = number < tests.size() ? number + 1 : 0;
  // The status of an ATA drive does not tell of which kind its test is; only an entry does.
  const auto can_be_of_its_kind = [&](const RealTest& test) {
    return test.kind == row.kind || !drive.traits().log_grows || !drive.traits().has_log ||
           (drive.traits().protocol == Protocol::Ata && !test.entry);
  };
  return std::any_of(
      tests.begin() + static_cast<std::ptrdiff_t>(first), tests.end(), [&](const RealTest& test) {
        return (test.entry || !is_hidden) && !has_row(test) && test.ended && test.begun >= 0 &&
               can_be_of_its_kind(test) &&
               meaning_of(drive.traits().protocol, test.result) == letter_of(*row.outcome);
      });
}

// No outcome is better than the drive's, or worse. In doubt it is unknown.
void Judge::judge_outcome(const KeptTest& kept) const {
  const TestRow& row = kept.row;
  if (!row.outcome || row.source == Source::Other || row.outcome == Outcome::Unknown) return;
  PlayedDrive& drive = machine_.drive(drive_of(row));
  const Call* const call = call_of(row);
  const RealTest* const test =
      call && call->test >= 0 ? &drive.tests()[static_cast<std::size_t>(call->test)] : nullptr;
  if (is_excused(row, call, drive)) return;
  if (!test) violate(text_of(row) + " has an outcome, but no test was begun for it");
  if (!test->ended) violate(text_of(row) + " has an outcome, but its test runs");
  // It showed as running when it was told to end, and the drive has written nothing of it.
  if (row.outcome == Outcome::Aborted && test->was_stopped_at_end && !test->entry) return;
  if (letter_of(*row.outcome) != meaning_of(drive.traits().protocol, test->result))
    violate(text_of(row) + " has another outcome than its test, which ended with code " +
            std::to_string(test->result));
}

// Each row is of a test of its own. Rows of which the outcome is not known may be of any.
void Judge::judge_sources(const Rows& rows) const {
  for (int number = 0; number < machine_.drives(); ++number) {
    PlayedDrive& drive = machine_.drive(number);
    std::vector<const TestRow*> told;
    for (const KeptTest& kept : rows)
      if (drive_of(kept.row) == number && tells_of_a_test(kept.row)) told.push_back(&kept.row);
    for (const auto& [forgotten, kept] : forgotten_)
      if (drive_of(kept.row) == number && tells_of_a_test(kept.row)) told.push_back(&kept.row);
    const std::vector<RealTest>& tests = drive.tests();
    const auto suits = [&](std::size_t which, std::size_t real) {
      const TestRow& row = *told[which];
      const RealTest& test = tests[real];
      const Call* const call = call_of(row);
      // Somebody else's that was taken for it may have an entry that tells the difference.
      if (call && call->test >= 0 && tests[static_cast<std::size_t>(call->test)].call >= 0)
        return std::cmp_equal(call->test, real);
      if (row.outcome && row.result_code && test.entry && is_row_of(row, *test.entry)) return true;
      // It was seen running. Its entry may be missing.
      return !row.outcome || (!test.entry && row.looked);
    };
    if (const auto none = unmatched(told.size(), tests.size(), suits))
      violate(text_of(*told[*none]) +
              " is of a test that there was not, or that has a row already");
  }
}

void Judge::judge_look(const PlayedMachine::Report::Seen& seen, const Rows& rows) const {
  const auto runs = std::find_if(rows.begin(), rows.end(), [&](const KeptTest& kept) {
    return !kept.row.outcome && drive_of(kept.row) == seen.drive;
  });
  // For two minutes a row belongs to the process that is starting its test, if only to die of it.
  constexpr std::chrono::seconds kStarting(120);
  const bool is_starting = runs != rows.end() && !runs->row.looked &&
                           machine_.clock() - *runs->row.started < kStarting + kStarting / 4;
  if (runs != rows.end() && !seen.runs && !is_starting)
    violate(text_of(runs->row) + " runs, its drive does not");
  if (runs == rows.end() && seen.shows_test) violate("a test runs that the history has not");
  // Who has begun a test a moment ago decides first what became of it.
  if (!is_starting) judge_failures(seen.drive, rows);
}

// Every failure that stands in the log has a row.
void Judge::judge_failures(int number, const Rows& rows) const {
  PlayedDrive& drive = machine_.drive(number);
  std::vector<const RealTest*> failures;
  for (const RealTest& test : drive.tests())
    if (test.entry && test.is_shown && !test.is_hidden &&
        meaning_of(drive.traits().protocol, test.result) == 'F')
      failures.push_back(&test);
  std::vector<const TestRow*> told;
  for (const KeptTest& kept : rows)
    if (drive_of(kept.row) == number) told.push_back(&kept.row);
  for (const auto& [forgotten, kept] : forgotten_)
    if (drive_of(kept.row) == number) told.push_back(&kept.row);
  const auto suits = [&](std::size_t failure, std::size_t row) {
    return told[row]->outcome == Outcome::Failed &&
           is_row_of(*told[row], *failures[failure]->entry);
  };
  if (const auto none = unmatched(failures.size(), told.size(), suits))
    violate("a failure of code " + std::to_string(failures[*none]->result) +
            " stood in the log, and has no row");
}

}  // namespace random_lives

#include "drivetest/change_by_look.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "drivetest/drive_access.h"
#include "drivetest/kept_entries.h"
#include "drivetest/log_growth.h"

namespace drivetest {

namespace {

// For so long the command to start may still reach the drive of a process that was killed: its tool
// may outlive it, and wait for the drive as long as for an answer.
constexpr std::chrono::seconds kStarting = 2 * kLongestAnswer;

// Such a test belongs to the process that is starting it: no other ends its row.
bool is_starting(const DriveState& state, Time now) {
  const TestRow& row = *state.running;
  if (!row.started || row.looked) return false;
  return state.is_starting || (now >= *row.started && now - *row.started < kStarting);
}

// Rows of the history, the oldest first.
std::vector<TestRow> rows_of(const Look& look, const std::vector<LogEntry>& entries) {
  std::vector<TestRow> rows;
  std::transform(entries.rbegin(), entries.rend(), std::back_inserter(rows),
                 [&](const LogEntry& entry) { return row_of_entry(look, entry); });
  return rows;
}

}  // namespace

ChangeByLook change_by_look(const DriveState& state, const Look& look, Time now,
                            const Circumstances& circumstances) {
  ChangeByLook found;
  DriveChange& change = found.change;
  LogGrowth growth;
  if (look.has_log) {
    growth = state.log ? growth_of(*state.log, look.log) : growth_from_unknown(look.log);
    if (!state.log) leave_out_kept(growth, state.kept);
  }
  // A look asks for the status first and for the log then: a test that ends between the two shows
  // as running and as ended. Another look tells whether another one runs. At the first look any
  // entry may be of such a test.
  const bool has_news = !growth.added.empty();
  const bool is_testing = look.running && !look.running->is_doubtful;
  found.look_again = is_testing && has_news;
  // A drive that had a log still has one. This look could not read it, perhaps because of a wrong
  // -d type, so it tells nothing.
  if (state.running && state.log && !look.has_log) return {{}, true};
  if (state.running) {
    const ProgressFinding finding = progress_of(*state.running, look, growth, now, circumstances);
    const bool is_without_trace =
        finding.look_again || (finding.row.outcome == Outcome::Unknown && !finding.entry);
    // The process that began it decides whether it came about.
    const bool is_left = circumstances.is_over ? !circumstances.was_seen : is_starting(state, now);
    if (finding.look_again || (is_without_trace && is_left)) return {{}, true};
    if (finding.entry)
      growth.added.erase(std::find(growth.added.begin(), growth.added.end(), *finding.entry));
    change.running = finding.row;
  }
  change.added = rows_of(look, growth.added);
  const bool has_row = change.running && !change.running->outcome;
  if (is_testing && !has_row && !found.look_again)
    change.added.push_back(row_of_running(look, now));
  if (look.has_log) change.log = look.log;
  return found;
}

void apply(DriveState& state, const DriveChange& change) {
  if (change.log) {
    state.log = change.log;
    state.kept.clear();
  }
  if (change.running) state.running = change.running;
  if (state.running && state.running->outcome) state.running.reset();
  for (const TestRow& row : change.added)
    if (!row.outcome) state.running = row;
}

}  // namespace drivetest

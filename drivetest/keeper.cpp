#include "drivetest/keeper.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "drivetest/log_growth.h"
#include "drivetest/progress.h"

namespace drivetest {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// What a drive shows of a test that has just begun or ended may be some seconds old.
constexpr milliseconds kBetweenLooks = seconds(1);
constexpr int kLooksAfterAcceptance = 10;
constexpr int kLooksAfterRefusal = 2;
constexpr milliseconds kBeforeSecondLook = seconds(2);
// For so long a test belongs to the process that is starting it: no other ends its row.
constexpr seconds kStarting = seconds(20);

bool is_starting(const TestRow& row, Time now) {
  return row.started && !row.looked && now >= *row.started && now - *row.started < kStarting;
}

// Rows of the history, the oldest first.
std::vector<TestRow> rows_of(const Look& look, const std::vector<LogEntry>& entries) {
  std::vector<TestRow> rows;
  std::transform(entries.rbegin(), entries.rend(), std::back_inserter(rows),
                 [&](const LogEntry& entry) { return row_of_entry(look, entry); });
  return rows;
}

// Why the drive cannot do such a test, in words; empty: it can.
std::string why_not_able(const Look& look, TestKind kind) {
  if (!look.inability.empty()) return look.inability;
  if (look.abilities[static_cast<std::size_t>(kind)].is_able) return {};
  return "the drive knows no " + std::string(name_of(kind)) + " self-test";
}

struct Decision {
  DriveChange change;
  bool look_again = false;
};

Decision decide(const DriveState& state, const Look& look, Time now,
                const Circumstances& circumstances) {
  Decision decision;
  DriveChange& change = decision.change;
  LogGrowth growth;
  if (look.has_log)
    growth = state.log ? growth_of(*state.log, look.log) : growth_from_unknown(look.log);
  // A look asks for the status first and for the log then: a test that ends between the two shows
  // as running and as ended. Another look tells whether another one runs. At the first look any
  // entry may be of such a test.
  const bool has_news = !growth.added.empty();
  const bool is_testing = look.running && !look.running->is_doubtful;
  decision.look_again = is_testing && has_news;
  if (state.running) {
    const ProgressFinding finding = progress_of(*state.running, look, growth, now, circumstances);
    const bool is_without_trace =
        finding.look_again || (finding.row.outcome == Outcome::Unknown && !finding.entry);
    // The process that began it decides whether it came about.
    const bool is_left =
        circumstances.is_over ? !circumstances.was_seen : is_starting(*state.running, now);
    if (finding.look_again || (is_without_trace && is_left)) return {{}, true};
    if (finding.entry)
      growth.added.erase(std::find(growth.added.begin(), growth.added.end(), *finding.entry));
    change.running = finding.row;
  }
  change.added = rows_of(look, growth.added);
  const bool has_row = change.running && !change.running->outcome;
  if (is_testing && !has_row && !decision.look_again)
    change.added.push_back(row_of_running(look, now));
  if (look.has_log) change.log = look.log;
  return decision;
}

// What is known of the drive after a change.
void apply(DriveState& state, const DriveChange& change) {
  if (change.log) state.log = change.log;
  if (change.running) state.running = change.running;
  if (state.running && state.running->outcome) state.running.reset();
  for (const TestRow& row : change.added)
    if (!row.outcome) state.running = row;
}

}  // namespace

void Keeper::note_fault(const HistoryError& error) {
  if (history_fault_.empty()) history_fault_ = error.what();
  // Each further drive would wait as long.
  if (error.fault() == HistoryFault::Busy) history_ = nullptr;
}

void Keeper::open_history() {
  const std::lock_guard guard(lock_);
  try {
    opened_history();
  } catch (const HistoryError& error) {
    note_fault(error);
  }
}

History* Keeper::opened_history() {
  if (const OpenHistory open = std::exchange(open_, nullptr)) history_ = open();
  return history_;
}

std::optional<TestRow> Keeper::known_running(const Drive& drive) {
  const std::string identity = drive.identity();
  const std::lock_guard guard(lock_);
  const auto remembered = remembered_.find(identity);
  if (remembered != remembered_.end()) return remembered->second.running;
  try {
    if (history_)
      if (const auto kept = history_->running(identity)) return kept->row;
  } catch (const HistoryError& error) {
    note_fault(error);
  }
  return std::nullopt;
}

// What the drive shows goes through the history, so that several processes at once see one truth.
// Where that cannot be written the keeper goes on with what it remembers itself.
std::optional<TestRow> Keeper::change(const Drive& drive,
                                      const std::function<DriveChange(const DriveState&)>& decide) {
  const std::string identity = drive.identity();
  const std::lock_guard guard(lock_);
  const auto remembered = remembered_.find(identity);
  std::optional<DriveState> after;
  const auto decide_on = [&](const DriveState& before) {
    DriveChange change = decide(before);
    after = before;
    apply(*after, change);
    return change;
  };
  if (remembered == remembered_.end()) {
    try {
      if (History* const history = opened_history()) {
        std::optional<TestRow> running;  // believed only when all was written
        history->together([&] {
          const DriveState before = history->state(identity);
          history->change(drive, before, decide_on(before));
          running.reset();
          if (after->running) running = history->running(identity).value().row;
        });
        return running;
      }
    } catch (const HistoryError& error) {
      note_fault(error);
    }
  }
  if (!after) decide_on(remembered == remembered_.end() ? DriveState() : remembered->second);
  after->changed = 0;  // nobody else knows of it
  remembered_[identity] = *after;
  return after->running;
}

struct Keeper::Settled {
  std::optional<TestRow> running;
  std::vector<TestRow> ended;
  bool look_again = false;
};

std::optional<std::int64_t> Keeper::changes() {
  const std::lock_guard guard(lock_);
  try {
    if (history_) return history_->changes();
  } catch (const HistoryError& error) {
    note_fault(error);
  }
  return std::nullopt;
}

SeenLook Keeper::see(const Place& place, bool wake) {
  SeenLook seen;
  seen.changes = changes();
  seen.look = access_.look(place, wake);
  return seen;
}

// Another process may have looked later and been quicker. Its news must not be undone.
Keeper::Settled Keeper::settle_by(SeenLook& seen, bool wake, Circumstances circumstances) {
  Settled settled;
  constexpr int kMostLooks = 5;
  for (int looks = 1;; ++looks) {
    bool is_old = false;
    settled.running = change(seen.look.drive, [&](const DriveState& state) {
      settled.ended.clear();
      is_old = state.changed > seen.changes.value_or(0) && looks < kMostLooks;
      if (is_old) return DriveChange();
      Decision decision = decide(state, seen.look, time_.now(), circumstances);
      settled.look_again = decision.look_again;
      if (decision.change.running && decision.change.running->outcome)
        settled.ended.push_back(*decision.change.running);
      return decision.change;
    });
    if (!is_old) return settled;
    SeenLook later = see(seen.look.drive.place, wake);
    if (later.look.fault != LookFault::None) return settled;
    later.look.drive.shares_identity = seen.look.drive.shares_identity;
    seen = std::move(later);
  }
}

DriveStatus Keeper::settle_by_looks(SeenLook seen, bool wake, Circumstances circumstances) {
  DriveStatus status;
  if (seen.look.fault == LookFault::None) {
    Settled settled = settle_by(seen, wake, circumstances);
    constexpr int kMostLooks = 3;
    for (int looks = 1; settled.look_again && looks < kMostLooks; ++looks) {
      time_.wait(kBeforeSecondLook);
      SeenLook next = see(seen.look.drive.place, wake);
      if (next.look.fault != LookFault::None) break;
      next.look.drive.shares_identity = seen.look.drive.shares_identity;
      seen = std::move(next);
      circumstances.is_second_look = true;
      std::vector<TestRow> ended = std::move(settled.ended);
      settled = settle_by(seen, wake, circumstances);
      settled.ended.insert(settled.ended.begin(), ended.begin(), ended.end());
    }
    status.running = std::move(settled.running);
    status.ended = std::move(settled.ended);
    status.is_stalled =
        status.running && is_stalled(*status.running, seen.look.abilities, time_.now());
  } else {
    status.running = known_running(seen.look.drive);
  }
  status.look = std::move(seen.look);
  return status;
}

DriveStatus Keeper::look(const Place& place, bool wake) { return settle(see(place, wake), wake); }

DriveStatus Keeper::settle(SeenLook seen, bool wake) {
  return settle_by_looks(std::move(seen), wake, {});
}

std::optional<TestRow> Keeper::begin(const Look& look, TestKind kind, Source source) {
  bool runs_already = false;
  const std::optional<TestRow> row = change(look.drive, [&](const DriveState& state) {
    DriveChange change;
    runs_already = state.running.has_value();
    if (runs_already) return change;
    TestRow row;
    row.drive = look.drive.identity();
    row.place = look.drive.place;
    row.source = source;
    row.kind = kind;
    row.started = time_.now();
    row.hours_at_start = look.power_on_hours;
    row.power_cycles_at_start = look.power_cycles;
    change.added.push_back(row);
    return change;
  });
  return runs_already ? std::nullopt : row;
}

StartOutcome Keeper::start(const Place& place, TestKind kind, bool replace, bool wake) {
  return start(see(place, wake), kind, replace, wake);
}

StartOutcome Keeper::start(SeenLook seen, TestKind kind, bool replace, bool wake) {
  const Place place = seen.look.drive.place;
  StartOutcome outcome;
  outcome.status = settle(std::move(seen), wake);
  const auto end = [&](StartResult result, std::string reason) {
    outcome.result = result;
    outcome.reason = std::move(reason);
    return outcome;
  };
  if (outcome.status.look.fault != LookFault::None)
    return end(StartResult::NotStarted, outcome.status.look.reason);
  // Nobody's test is ended for one that cannot be.
  if (std::string why = why_not_able(outcome.status.look, kind); replace && !why.empty())
    return end(StartResult::NotAble, std::move(why));
  if (outcome.status.is_testing() && replace) {
    StopOutcome stopped = stop(place, wake);
    outcome.status = stopped.status;
    outcome.replaced = stopped.row;
    if (stopped.result == StopResult::NotStopped)
      return end(StartResult::NotStarted, "the test that runs does not stop: " + stopped.reason);
  }
  const Look& look = outcome.status.look;
  if (outcome.status.is_testing()) {
    outcome.row = outcome.status.running;
    return end(StartResult::AlreadyRunning, "");
  }
  if (std::string why = why_not_able(look, kind); !why.empty())
    return end(StartResult::NotAble, std::move(why));
  const std::optional<TestRow> row = begin(look, kind, Source::Library);
  if (!row) {
    outcome.row = outcome.status.running;
    return end(StartResult::AlreadyRunning, "");
  }
  const ToolReply reply = tell_to_start(look, kind);
  return await_start(std::move(outcome), reply, *row);
}

// A tool refuses to start over a test that the drive may only say to run. What has begun since the
// look is left alone.
ToolReply Keeper::tell_to_start(const Look& look, TestKind kind) {
  ToolReply reply = access_.start(look.drive, kind);
  if (!look.running || reply.answer != ToolAnswer::Busy) return reply;
  const Look now = access_.look(look.drive.place, true);
  const bool is_as_before = now.fault == LookFault::None && now.running && now.running->is_doubtful;
  return is_as_before ? access_.start_in_doubt(look.drive, kind) : reply;
}

// The tool's word proves nothing: the drive has to show the test, or its entry.
StartOutcome Keeper::await_start(StartOutcome outcome, const ToolReply& reply, const TestRow& row) {
  const Place place = outcome.status.look.drive.place;
  const bool was_accepted = reply.answer == ToolAnswer::Accepted;
  const int looks = was_accepted ? kLooksAfterAcceptance : kLooksAfterRefusal;
  std::string fault;
  bool has_answered = false;
  for (int number = 0; number < looks; ++number) {
    if (number > 0) time_.wait(kBetweenLooks);
    SeenLook seen = see(place, true);
    if (seen.look.fault != LookFault::None) {
      fault = seen.look.reason;
      continue;
    }
    has_answered = true;
    Settled settled = settle_by(seen, true, {});
    outcome.status = {std::move(seen.look), settled.running, settled.ended, false};
    const bool has_ended = !settled.ended.empty();
    if (!has_ended && (!settled.running || settled.look_again || !settled.running->looked))
      continue;
    outcome.row = has_ended ? settled.ended.front() : settled.running;
    if (has_ended && outcome.row->outcome == Outcome::Unknown && !outcome.row->result_code) break;
    outcome.result = StartResult::Started;
    return outcome;
  }
  // The drive may have begun it: the row stays, for a later look to tell.
  if (!has_answered) {
    outcome.reason = (was_accepted ? "the drive took the command" : reply.words) +
                     ", and has not answered since: " + fault;
    return outcome;
  }
  if (!withdraw(row)) {
    if (std::optional<TestRow> other = kept(row.number)) {
      outcome.row = std::move(other);
      outcome.result = StartResult::Started;
      return outcome;
    }
  }
  outcome.row.reset();
  outcome.status.running.reset();
  // Somebody else was quicker, with a test of another kind. The history has no row of it yet.
  if (outcome.status.is_testing()) {
    outcome.status = look(place, true);
    outcome.row = outcome.status.running;
    if (outcome.status.is_testing()) {
      outcome.result = StartResult::AlreadyRunning;
      return outcome;
    }
  }
  outcome.reason = was_accepted ? "the drive took the command, but shows no test" : reply.words;
  return outcome;
}

StopOutcome Keeper::stop(const Place& place, bool wake) { return stop(see(place, wake), wake); }

StopOutcome Keeper::stop(SeenLook seen, bool wake) {
  const Place place = seen.look.drive.place;
  StopOutcome outcome;
  outcome.status = settle(std::move(seen), wake);
  if (outcome.status.look.fault != LookFault::None) {
    outcome.reason = outcome.status.look.reason;
    return outcome;
  }
  if (!outcome.status.look.running) {
    outcome.result = StopResult::NothingRuns;
    return outcome;
  }
  outcome.row = outcome.status.running;
  const ToolReply reply = access_.stop(outcome.status.look.drive);
  const bool was_stopped = reply.answer == ToolAnswer::Accepted;
  for (int number = 0; number < (was_stopped ? kLooksAfterAcceptance : kLooksAfterRefusal);
       ++number) {
    if (number > 0) time_.wait(kBetweenLooks);
    DriveStatus status = settle_by_looks(see(place, true), true, {.was_stopped = was_stopped});
    if (status.look.fault != LookFault::None) continue;
    if (!status.ended.empty()) outcome.row = status.ended.front();
    outcome.status = std::move(status);
    if (outcome.status.is_testing()) continue;
    // A drive that still says the same as before, and of whose test nobody knows, had none.
    const bool had_none = !outcome.row && outcome.status.look.running;
    outcome.result = had_none ? StopResult::NothingRuns : StopResult::Stopped;
    return outcome;
  }
  outcome.reason = was_stopped ? "the drive took the command, but the test goes on" : reply.words;
  return outcome;
}

std::optional<TestRow> Keeper::begin_foreign(const Place& place, TestKind kind, Source source) {
  const DriveStatus status = look(place, true);
  if (status.look.fault != LookFault::None || status.is_testing()) return std::nullopt;
  return begin(status.look, kind, source);
}

std::optional<TestRow> Keeper::end_foreign(const TestRow& row, bool was_seen) {
  const DriveStatus status =
      settle_by_looks(see(row.place, true), true, {.is_over = true, .was_seen = was_seen});
  if (!status.ended.empty()) return status.ended.front();
  if (status.is_testing()) return status.running;
  // What became of it is told by a later look.
  if (was_seen || status.look.fault != LookFault::None) return row;
  if (withdraw(row)) return std::nullopt;
  return row;
}

bool Keeper::withdraw(const TestRow& row) {
  const std::lock_guard guard(lock_);
  if (const auto remembered = remembered_.find(row.drive); remembered != remembered_.end())
    remembered->second.running.reset();
  if (!history_ || row.number == 0) return true;
  try {
    return history_->withdraw(row.number);
  } catch (const HistoryError& error) {
    note_fault(error);
  }
  return true;
}

std::optional<TestRow> Keeper::kept(std::int64_t number) {
  const std::lock_guard guard(lock_);
  if (!history_ || number == 0) return std::nullopt;
  try {
    if (std::optional<KeptTest> test = history_->find(number)) return std::move(test->row);
  } catch (const HistoryError& error) {
    note_fault(error);
  }
  return std::nullopt;
}

bool Keeper::with_history(const std::function<void(History&)>& work) {
  const std::lock_guard guard(lock_);
  History* const history = opened_history();
  if (history) work(*history);
  return history != nullptr;
}

std::string Keeper::history_fault() const {
  const std::lock_guard guard(lock_);
  return history_fault_;
}

}  // namespace drivetest

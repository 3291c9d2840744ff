// What the keeper tells drives to do, and how it sees that they have done it.
#include <utility>

#include "drivetest/keeper.h"

namespace drivetest {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// What a drive shows of a test that has just begun or ended may be some seconds old.
constexpr milliseconds kBetweenLooks = seconds(1);
constexpr int kLooksAfterAcceptance = 10;
constexpr int kLooksAfterRefusal = 2;

// Such a test was not ended by anybody.
bool has_come_to_its_end(const std::optional<TestRow>& row) {
  return row && (row->outcome == Outcome::Passed || row->outcome == Outcome::Failed);
}

// Rows that nobody keeps have no number.
bool is_another(const std::optional<TestRow>& row, const TestRow& known) {
  return row && row->number != 0 && known.number != 0 && row->number != known.number;
}

}  // namespace

std::string why_not_able(const Look& look, TestKind kind) {
  if (!look.inability.empty()) return look.inability;
  if (look.abilities[static_cast<std::size_t>(kind)].is_able) return {};
  std::string others;
  for (const TestKind one : kTestKinds)
    if (look.abilities[static_cast<std::size_t>(one)].is_able)
      others += (others.empty() ? "" : " and ") + std::string(name_of(one));
  return "the drive knows no " + std::string(name_of(kind)) + " self-test" +
         (others.empty() ? "" : ", but " + others + " ones");
}

Keeper::BegunTest Keeper::begin(const Look& look, TestKind kind, Source source) {
  BegunTest begun;
  begun.row = change(look.drive, [&](const DriveState& state) {
    DriveChange change;
    begun.runs_already = state.running.has_value();
    if (begun.runs_already) return change;
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
  return begun;
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
  // A running test is not ended to start one that the drive cannot do.
  if (std::string why = why_not_able(outcome.status.look, kind); replace && !why.empty())
    return end(StartResult::NotAble, std::move(why));
  if (outcome.status.is_testing() && replace) {
    StopOutcome stopped = stop(see(place, wake), wake, true);
    outcome.status = stopped.status;
    // It may have ended before the stop was sent.
    if (!stopped.row && !stopped.status.ended.empty()) stopped.row = stopped.status.ended.front();
    if (has_come_to_its_end(stopped.row))
      outcome.ended_before = stopped.row;
    else if (stopped.result == StopResult::Stopped)
      outcome.replaced = stopped.row;
    if (stopped.result == StopResult::NotStopped)
      return end(StartResult::NotStarted,
                 (stopped.is_untold ? "not known whether the test that runs was ended: "
                                    : "the test that runs does not stop: ") +
                     stopped.reason);
  }
  const Look& look = outcome.status.look;
  if (outcome.status.is_testing()) {
    outcome.row = row_of_testing(outcome.status);
    return end(StartResult::AlreadyRunning, "");
  }
  if (std::string why = why_not_able(look, kind); !why.empty())
    return end(StartResult::NotAble, std::move(why));
  const BegunTest begun = begin(look, kind, Source::Library);
  const TestRow row = begun.row.value();
  if (begun.runs_already) {
    // Another process has made its row, and the drive shows no test that could be replaced.
    if (replace) return end(StartResult::NotStarted, "another process is starting a test");
    outcome.row = row;
    return end(StartResult::AlreadyRunning, "");
  }
  const platform::Descriptor starting = mark_starting(row);
  const ToolReply reply = tell_to_start(look, kind);
  // A test runs and our command was not obeyed, so the test is not ours, even if another process
  // has taken it for our row's.
  if (reply.answer == ToolAnswer::Busy) {
    withdraw(row, true);
    return give_way(std::move(outcome), reply.words);
  }
  return await_start(std::move(outcome), reply, row);
}

StartOutcome Keeper::give_way(StartOutcome outcome, std::string reason) {
  outcome.status = look(outcome.status.look.drive.place, true);
  if (outcome.status.is_testing()) {
    outcome.row = row_of_testing(outcome.status);
    outcome.result = StartResult::AlreadyRunning;
  } else {
    outcome.reason = std::move(reason);
  }
  return outcome;
}

// What the drive shows is told also where no row could be made of it.
TestRow Keeper::row_of_testing(const DriveStatus& status) {
  return status.running ? *status.running : row_of_running(status.look, time_.now());
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
    Settled settled;
    if (seen.look.fault == LookFault::None) settled = settle_by(seen, true, {});
    if (seen.look.fault != LookFault::None) {
      fault = seen.look.reason;
      continue;
    }
    has_answered = true;
    outcome.status = {std::move(seen.look), settled.running, settled.ended, false};
    const bool has_ended = !settled.ended.empty();
    if (!has_ended && (!settled.running || settled.look_again || !settled.running->looked))
      continue;
    outcome.row = has_ended ? settled.ended.front() : settled.running;
    // Somebody else may have seen its end, and have begun the next one.
    if (is_another(outcome.row, row))
      if (std::optional<TestRow> own = kept(row.number)) outcome.row = std::move(own);
    if (has_ended && outcome.row->outcome == Outcome::Unknown && !outcome.row->result_code) break;
    outcome.result = StartResult::Started;
    return outcome;
  }
  // The drive may have begun it: the row stays, for a later look to tell.
  if (!has_answered) {
    outcome.is_untold = true;
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
  std::string reason = was_accepted ? "the drive took the command, but shows no test" : reply.words;
  // Somebody else was quicker, with a test of another kind. The history has no row of it yet.
  if (outcome.status.is_testing()) return give_way(std::move(outcome), std::move(reason));
  outcome.reason = std::move(reason);
  return outcome;
}

StopOutcome Keeper::stop(const Place& place, bool wake) { return stop(see(place, wake), wake); }

StopOutcome Keeper::stop(SeenLook seen, bool wake) { return stop(std::move(seen), wake, false); }

StopOutcome Keeper::stop(SeenLook seen, bool wake, bool is_replaced) {
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
  const Circumstances circumstances{.was_stopped = was_stopped, .was_replaced = is_replaced};
  std::string fault;
  for (int number = 0; number < (was_stopped ? kLooksAfterAcceptance : kLooksAfterRefusal);
       ++number) {
    if (number > 0) time_.wait(kBetweenLooks);
    DriveStatus status = settle_by_looks(see(place, true), true, circumstances);
    outcome.is_untold = status.look.fault != LookFault::None;
    if (outcome.is_untold) {
      fault = status.look.reason;
      continue;
    }
    if (!status.ended.empty()) outcome.row = status.ended.front();
    outcome.status = std::move(status);
    // Somebody else has begun the next one. Where nobody keeps rows, only its end tells that.
    const bool has_next = outcome.row && outcome.row->outcome && outcome.status.running;
    if (has_next || (outcome.row && is_another(outcome.status.running, *outcome.row))) {
      tell_end_seen_by_others(outcome, circumstances);
      outcome.result = StopResult::Stopped;
      return outcome;
    }
    if (outcome.status.is_testing()) continue;
    // Somebody else has seen its end.
    if (outcome.row && !outcome.row->outcome) tell_end_seen_by_others(outcome, circumstances);
    // If no row tells of a test and the drive still says 'running', nothing ran.
    const bool had_none = !outcome.row && outcome.status.look.running;
    outcome.result = had_none ? StopResult::NothingRuns : StopResult::Stopped;
    return outcome;
  }
  outcome.reason = was_stopped ? "the drive took the command, but the test goes on" : reply.words;
  if (outcome.is_untold)
    outcome.reason = (was_stopped ? "the drive took the command" : reply.words) +
                     ", and has not answered since: " + fault;
  return outcome;
}

// Another process cannot know who ended the test.
void Keeper::tell_end_seen_by_others(StopOutcome& outcome, const Circumstances& circumstances) {
  std::optional<TestRow> own = kept(outcome.row->number);
  if (!own) return;
  const auto cause = circumstances.was_stopped ? cause_when_stopped(*own, outcome.status.look.drive,
                                                                    circumstances.was_replaced)
                                               : std::nullopt;
  if (cause && cause != own->cause) {
    own->cause = *cause;
    explain(*own);
  }
  outcome.row = std::move(own);
}

}  // namespace drivetest

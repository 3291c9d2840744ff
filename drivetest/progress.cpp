#include "drivetest/progress.h"

#include <algorithm>
#include <string>

namespace drivetest {

std::optional<unsigned> announced_minutes(const Abilities& abilities,
                                          const std::optional<TestKind>& kind) {
  return kind ? abilities[static_cast<std::size_t>(*kind)].minutes : std::nullopt;
}

namespace {

using std::chrono::hours;
using std::chrono::minutes;

// A busy drive takes a multiple of the time that it announces, and may be switched off meanwhile.
std::uint64_t most_hours(const TestRow& row, const Look& look) {
  constexpr std::uint64_t kLeast = 48;
  const unsigned announced = announced_minutes(look.abilities, row.kind).value_or(0);
  return kLeast + announced / 10;  // six times
}

// Whether the drive was switched off since the test began; not set where it does not count that.
std::optional<bool> lost_power(const TestRow& row, const Look& look) {
  if (!row.power_cycles_at_start || !look.power_cycles) return std::nullopt;
  return row.power_cycles_at_start != look.power_cycles;
}

// Hours of the drive, which do not go on while it is switched off. A test that was seen running for
// long may go on for long. Where the drive was switched off the test may have been lost, so that
// less speaks for an entry of a later hour; an NVMe drive may go on with it.
std::uint64_t usual_hours(const TestRow& row, const Look& look) {
  constexpr std::uint64_t kLeast = 6;
  constexpr unsigned kHour = 60;
  const unsigned announced = announced_minutes(look.abilities, row.kind).value_or(0);
  const bool may_be_lost = look.drive.protocol != Protocol::Nvme && lost_power(row, look) == true;
  const auto seen = row.looked && row.started && *row.looked > *row.started
                        ? std::chrono::ceil<hours>(*row.looked - *row.started)
                        : hours(0);
  const std::uint64_t hours =
      may_be_lost ? 1 + (3 * announced + kHour - 1) / kHour : kLeast + announced / 10;
  return hours + static_cast<std::uint64_t>(seen.count());
}

void end(TestRow& row, ResultMeaning verdict, Time now) {
  row.outcome = verdict.outcome;
  row.cause = std::move(verdict.cause);
  row.ended = now;
  row.remaining_percent.reset();
}

// The drive's own code cannot tell a program that ended the test from a bridge that did.
ResultMeaning explained(ResultMeaning verdict, const Drive& drive, int code,
                        const Circumstances& circumstances) {
  if (verdict.outcome != Outcome::Aborted) return verdict;
  if (circumstances.was_stopped)
    verdict.cause +=
        circumstances.was_replaced ? " (by 'hddtest start --replace')" : " (by 'hddtest stop')";
  else if (drive.is_on_usb && drive.protocol == Protocol::Ata)
    verdict.cause += code == kAbortedByHost ? ", as USB bridges do when they let a drive spin down"
                                            : ", of the drive or of its USB bridge";
  return verdict;
}

void end(TestRow& row, const Drive& drive, const LogEntry& entry, Time now,
         const Circumstances& circumstances) {
  ResultMeaning verdict =
      result_meaning(drive.protocol, entry.result_code).value_or(ResultMeaning{});
  end(row, explained(std::move(verdict), drive, entry.result_code, circumstances), now);
  row.test_code = entry.test_code;
  row.result_code = entry.result_code;
  row.first_bad_block = entry.first_bad_block;
  row.segment = entry.segment;
  row.hours = entry.hours;
  if (!row.kind) row.kind = entry.kind;
}

// Whether the look would tell the kind of the test that runs if it were one that we can start.
bool tells_kind(const Look& look) {
  return look.running->kind || look.drive.protocol == Protocol::Nvme ||
         (!look.log.empty() && look.log.front().result_code == kRunningCode);
}

// Whether what runs now began after the row's test. The percentage that remains never grows but
// for a long test of NVMe, which may go back when the power returns.
bool is_another(const TestRow& row, const Look& look) {
  const RunningTest& running = *look.running;
  if (row.kind && tells_kind(look) && row.kind != running.kind) return true;
  if (look.drive.protocol == Protocol::Nvme) return false;
  constexpr unsigned kStep = 10;
  return row.remaining_percent && running.remaining_percent &&
         *running.remaining_percent > *row.remaining_percent + kStep;
}

void go_on(TestRow& row, const RunningTest& running, Time now) {
  if (!row.looked || row.remaining_percent != running.remaining_percent) row.progressed = now;
  row.looked = now;
  row.remaining_percent = running.remaining_percent;
  if (!row.kind) row.kind = running.kind;
}

// Whether what the drive shows is the row's test. A drive that says "at its end" also when the test
// is over is believed of one that was seen running, until it is stalled.
bool is_shown(const TestRow& row, const Look& look, Time now, const Circumstances& circumstances) {
  if (!look.running) return false;
  if (!look.running->is_doubtful) return !is_another(row, look);
  const bool is_known_to_be_over = circumstances.was_stopped || circumstances.is_over;
  return row.looked && !is_known_to_be_over && !is_stalled(row, look.abilities, now);
}

// Whether the time that the drive announced has passed since the start and, since the last look,
// the part of it that was still left then.
bool had_its_time(const TestRow& row, const Abilities& abilities, Time now) {
  constexpr unsigned kStep = 10;
  const auto announced = announced_minutes(abilities, row.kind);
  if (!announced || !row.started || now - *row.started < minutes(*announced)) return false;
  if (!row.looked || row.remaining_percent.value_or(0) <= kStep) return true;
  return now - *row.looked >= minutes(*announced) * (*row.remaining_percent - kStep) / 100;
}

// What is left to tell the end of a test without an entry: ATA's status byte. It keeps the result
// of the last test for ever, or falls back to an older one when power is lost. So a result counts
// only of a drive that has no log of its tests, after somebody has seen this one run.
std::optional<ResultMeaning> verdict_by_status(const TestRow& row, const Look& look,
                                               const LogGrowth& growth, Time now,
                                               const Circumstances& circumstances) {
  if (look.drive.protocol != Protocol::Ata || !look.status_code) return std::nullopt;
  if (!row.looked && !circumstances.was_seen) return std::nullopt;
  const bool may_have_entry =
      growth.is_result_in_doubt &&
      std::any_of(growth.doubtful.begin(), growth.doubtful.end(), [&](const LogEntry& entry) {
        return entry.kind == row.kind && entry.result_code == *look.status_code;
      });
  if (!growth.added.empty() || (!growth.is_certain && !may_have_entry)) return std::nullopt;
  std::optional<ResultMeaning> verdict = result_meaning(Protocol::Ata, *look.status_code);
  // What says that the test has not come to its end is true in any case.
  const bool is_aborted = verdict && verdict->outcome == Outcome::Aborted;
  if (is_aborted) return verdict;
  if (!verdict || (!look.log.empty() && !may_have_entry)) return std::nullopt;
  // After a loss of power the status may be that of a former test. A drive that has never been
  // tested says "passed" too, so that this needs to be certain.
  const std::optional<bool> is_lost = lost_power(row, look);
  if (is_lost == true) return std::nullopt;
  const bool is_certain = is_lost == false && had_its_time(row, look.abilities, now);
  return verdict->outcome != Outcome::Passed || is_certain ? verdict : std::nullopt;
}

ResultMeaning verdict_without_trace(const TestRow& row, const LogGrowth& growth,
                                    const std::string& reason, const Circumstances& circumstances) {
  const bool has_no_entry = growth.is_certain && growth.added.empty();
  // What was stopped need not be a test that nobody has seen.
  if (circumstances.was_stopped && row.looked && has_no_entry)
    return {Outcome::Aborted, "stopped by hddtest; the drive has written no entry"};
  if (!row.looked && !circumstances.was_seen)
    return {Outcome::Unknown, "no look showed the test running, and " + reason};
  return {Outcome::Unknown, reason};
}

}  // namespace

ProgressFinding progress_of(const TestRow& row, const Look& look, const LogGrowth& growth, Time now,
                            const Circumstances& circumstances) {
  ProgressFinding finding{row, false, std::nullopt};
  const Protocol protocol = look.drive.protocol;
  OwnEntry own{std::nullopt, "the drive's log cannot be read", false};
  if (look.has_log)
    own = own_entry({protocol, row.kind, row.hours_at_start, most_hours(row, look),
                     look.power_on_hours, usual_hours(row, look), lost_power(row, look) != false},
                    growth);
  // Nothing else has ended since the test ran but this one.
  if (!own.entry && circumstances.was_stopped && !look.running && !growth.added.empty() &&
      (!row.kind || growth.added.front().kind == row.kind))
    own.entry = growth.added.front();
  if (lost_power(row, look) == true && look.power_cycles > row.power_cycles_at_start)
    own.reason += "; the drive was switched off meanwhile";
  if (own.entry) {
    end(finding.row, look.drive, *own.entry, now, circumstances);
    finding.entry = own.entry;
  } else if (!own.is_over && is_shown(row, look, now, circumstances)) {
    go_on(finding.row, *look.running, now);
  } else if (look.running && !look.running->is_doubtful) {
    end(finding.row, {Outcome::Unknown, "another test runs in the drive, and " + own.reason}, now);
  } else if (!circumstances.is_second_look) {
    finding.look_again = true;
  } else if (auto verdict = verdict_by_status(row, look, growth, now, circumstances)) {
    end(finding.row, explained(*std::move(verdict), look.drive, *look.status_code, circumstances),
        now);
    if (finding.row.outcome != Outcome::Unknown) finding.row.result_code = look.status_code;
  } else {
    if (look.running)
      own.reason = "the drive goes on saying that the test is at its end; " + own.reason;
    end(finding.row, verdict_without_trace(row, growth, own.reason, circumstances), now);
  }
  return finding;
}

std::optional<std::string> cause_when_stopped(const TestRow& row, const Drive& drive,
                                              bool was_replaced) {
  if (row.outcome != Outcome::Aborted || !row.result_code) return std::nullopt;
  std::optional<ResultMeaning> verdict = result_meaning(drive.protocol, *row.result_code);
  if (!verdict || verdict->outcome != Outcome::Aborted) return std::nullopt;
  return explained(*std::move(verdict), drive, *row.result_code,
                   {.was_stopped = true, .was_replaced = was_replaced})
      .cause;
}

TestRow row_of_running(const Look& look, Time now) {
  TestRow row;
  row.drive = look.drive.identity();
  row.place = look.drive.place;
  row.source = Source::Other;
  row.hours_at_start = look.power_on_hours;
  row.power_cycles_at_start = look.power_cycles;
  go_on(row, *look.running, now);
  return row;
}

TestRow row_of_entry(const Look& look, const LogEntry& entry) {
  TestRow row;
  row.drive = look.drive.identity();
  row.place = look.drive.place;
  row.source = Source::Other;
  row.kind = entry.kind;
  end(row, look.drive, entry, Time{}, {});
  row.ended.reset();  // nobody was there
  return row;
}

namespace {

// What the drive announces. A kind that nobody knows may be the longest, and a drive that does not
// announce the time of a long test may take days for one.
minutes expected_time(const Abilities& abilities, const std::optional<TestKind>& kind) {
  constexpr hours kLong(24);
  if (kind) {
    const auto announced = announced_minutes(abilities, kind);
    if (announced) return minutes(*announced);
    return *kind == TestKind::Long ? kLong : minutes(0);
  }
  minutes longest(0);
  for (const TestKind one : kTestKinds)
    if (abilities[static_cast<std::size_t>(one)].is_able)
      longest = std::max(longest, expected_time(abilities, one));
  return longest;
}

}  // namespace

bool is_stalled(const TestRow& row, const Abilities& abilities, Time now) {
  const std::optional<Time> since = row.progressed ? row.progressed : row.started;
  if (row.outcome || !since) return false;
  return now - *since >= std::max<minutes>(hours(1), 3 * expected_time(abilities, row.kind));
}

}  // namespace drivetest

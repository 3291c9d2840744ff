#include "drivetest/progress.h"

#include <algorithm>
#include <string>

namespace drivetest {

namespace {

using std::chrono::hours;
using std::chrono::minutes;

std::optional<unsigned> announced_minutes(const Abilities& abilities,
                                          const std::optional<TestKind>& kind) {
  return kind ? abilities[static_cast<std::size_t>(*kind)].minutes : std::nullopt;
}

// A busy drive takes a multiple of the time that it announces, and may be switched off meanwhile.
std::uint64_t most_hours(const TestRow& row, const Look& look) {
  constexpr std::uint64_t kLeast = 48;
  const unsigned announced = announced_minutes(look.abilities, row.kind).value_or(0);
  return kLeast + announced / 10;  // six times
}

void end(TestRow& row, Verdict verdict, Time now) {
  row.outcome = verdict.outcome;
  row.cause = std::move(verdict.cause);
  row.ended = now;
  row.remaining_percent.reset();
}

void end(TestRow& row, Protocol protocol, const LogEntry& entry, Time now) {
  end(row, verdict_of(protocol, entry.result_code).value_or(Verdict{}), now);
  row.test_code = entry.test_code;
  row.result_code = entry.result_code;
  row.first_bad_block = entry.first_bad_block;
  row.segment = entry.segment;
  row.hours = entry.hours;
  if (!row.kind) row.kind = entry.kind;
}

// Whether what runs now began after the row's test. The percentage that remains never grows but
// for a long test of NVMe, which may go back when the power returns.
bool is_another(const TestRow& row, const Look& look) {
  const RunningTest& running = *look.running;
  if (row.kind && running.kind && row.kind != running.kind) return true;
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

// Whether the drive has had the time that it announced, and for what was left when it was last seen
// running, that share of it.
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
std::optional<Verdict> verdict_by_status(const TestRow& row, const Look& look,
                                         const LogGrowth& growth, Time now, bool was_seen) {
  if (look.drive.protocol != Protocol::Ata || !look.status_code) return std::nullopt;
  if (!row.looked && !was_seen) return std::nullopt;
  if (!growth.is_certain || !growth.added.empty()) return std::nullopt;
  std::optional<Verdict> verdict = verdict_of(Protocol::Ata, *look.status_code);
  // What says that the test has not come to its end is true in any case.
  const bool is_aborted = verdict && verdict->outcome == Outcome::Aborted;
  if (is_aborted) return verdict;
  // A drive that has never been tested says "passed" too, also where the power went during the
  // test and nothing of it is left.
  const bool is_too_early =
      verdict && verdict->outcome == Outcome::Passed && !had_its_time(row, look.abilities, now);
  return look.log.empty() && !is_too_early ? verdict : std::nullopt;
}

Verdict verdict_without_entry(const TestRow& row, const Look& look, const LogGrowth& growth,
                              const std::string& reason, Time now,
                              const Circumstances& circumstances) {
  const bool was_seen = circumstances.was_seen;
  if (auto verdict = verdict_by_status(row, look, growth, now, was_seen)) return *verdict;
  if (circumstances.was_stopped)
    return {Outcome::Aborted, "stopped by hddtest; the drive has written no entry"};
  if (!row.looked && !was_seen)
    return {Outcome::Unknown, "no look showed the test running, and " + reason};
  return {Outcome::Unknown, reason};
}

}  // namespace

ProgressFinding progress_of(const TestRow& row, const Look& look, const LogGrowth& growth, Time now,
                            const Circumstances& circumstances) {
  ProgressFinding finding{row, false, std::nullopt};
  const Protocol protocol = look.drive.protocol;
  OwnEntry own{std::nullopt, "the drive's log cannot be read"};
  if (look.has_log)
    own = own_entry({protocol, row.kind, row.hours_at_start, most_hours(row, look)}, growth);
  if (own.entry) {
    end(finding.row, protocol, *own.entry, now);
    finding.entry = own.entry;
  } else if (look.running && !is_another(row, look)) {
    go_on(finding.row, *look.running, now);
  } else if (look.running) {
    end(finding.row, {Outcome::Unknown, "another test runs in the drive, and " + own.reason}, now);
  } else if (!circumstances.is_second_look) {
    finding.look_again = true;
  } else {
    end(finding.row, verdict_without_entry(row, look, growth, own.reason, now, circumstances), now);
    if (finding.row.outcome != Outcome::Unknown && look.status_code)
      finding.row.result_code = look.status_code;
  }
  return finding;
}

TestRow row_of_running(const Look& look, Time now) {
  TestRow row;
  row.drive = look.drive.identity();
  row.place = look.drive.place;
  row.source = Source::Other;
  row.hours_at_start = look.power_on_hours;
  go_on(row, *look.running, now);
  return row;
}

TestRow row_of_entry(const Look& look, const LogEntry& entry) {
  TestRow row;
  row.drive = look.drive.identity();
  row.place = look.drive.place;
  row.source = Source::Other;
  row.kind = entry.kind;
  end(row, look.drive.protocol, entry, Time{});
  row.ended.reset();  // nobody was there
  return row;
}

bool is_stalled(const TestRow& row, const Abilities& abilities, Time now) {
  const std::optional<Time> since = row.progressed ? row.progressed : row.started;
  if (row.outcome || !since) return false;
  const unsigned announced = announced_minutes(abilities, row.kind).value_or(0);
  return now - *since >= std::max<minutes>(hours(1), minutes(3 * announced));
}

}  // namespace drivetest

#include "cli/follow.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "cli/test_words.h"
#include "drivetest/progress.h"

namespace cli {

using drivetest::DriveStatus;
using drivetest::Keeper;
using drivetest::LookFault;
using drivetest::TestKind;
using drivetest::TestRow;
using std::chrono::seconds;

namespace {

// A bus that was reset, or a tool that was killed, may make one look or two fail.
constexpr int kMostFaults = 4;

// A drive that says less of itself than before, since one of the commands failed, is no other one.
bool is_another_drive(const drivetest::Drive& drive, const drivetest::Drive& before) {
  const auto differ = [](const std::string& one, const std::string& other) {
    return !one.empty() && !other.empty() && one != other;
  };
  return differ(drive.world_wide_name, before.world_wide_name) ||
         differ(drive.serial_number, before.serial_number) || differ(drive.model, before.model);
}

// The row as it is after a look. Where another process has seen the end first, the history has it.
std::optional<TestRow> row_after(Keeper& keeper, const DriveStatus& status, const TestRow& row) {
  const auto is_ours = [&](const TestRow& other) { return other.number == row.number; };
  const auto ended = std::find_if(status.ended.begin(), status.ended.end(), is_ours);
  if (ended != status.ended.end()) return *ended;
  if (status.running && is_ours(*status.running)) return status.running;
  return keeper.kept(row.number);
}

}  // namespace

std::optional<unsigned> minutes_that_remain(std::optional<unsigned> announced,
                                            std::optional<unsigned> percent) {
  constexpr unsigned kAll = 100;
  if (!announced || !percent) return std::nullopt;
  return (*announced * std::min(*percent, kAll) + kAll - 1) / kAll;
}

TestProgress test_progress(const TestRow& row, const drivetest::Abilities& abilities,
                           bool is_stalled) {
  return {row.kind, row.source, row.remaining_percent,
          minutes_that_remain(announced_minutes(abilities, row.kind), row.remaining_percent),
          is_stalled};
}

std::string remaining_text(const TestProgress& progress) {
  std::string text;
  if (progress.percent) text += fmt::format(", {}% remaining", *progress.percent);
  if (progress.is_stalled) return text + ", stalled: it may still end, and 'hddtest stop' ends it";
  if (progress.minutes && *progress.minutes > 0)
    text += fmt::format(", {} or more", minutes_text(*progress.minutes));
  return text;
}

bool is_worth_a_line(const std::optional<TestProgress>& last, const TestProgress& now) {
  constexpr unsigned kStep = 10;
  const auto step = [](const TestProgress& one) {
    return one.percent.value_or(kStep * kStep) / kStep;
  };
  if (!last) return true;
  return last->is_stalled != now.is_stalled ||
         last->percent.has_value() != now.percent.has_value() || step(*last) != step(now);
}

seconds time_to_next_look(const std::optional<TestKind>& kind,
                          const drivetest::Abilities& abilities) {
  constexpr seconds kLeast(5);
  constexpr seconds kMost(60);
  constexpr seconds kWithoutWord(15);
  if (kind == TestKind::Short) return kLeast;  // two minutes, by all standards
  const auto announced = announced_minutes(abilities, kind);
  if (!announced) return kWithoutWord;
  return std::clamp(seconds(std::chrono::minutes(*announced)) / 100, kLeast, kMost);
}

Followed follow(Keeper& keeper, drivetest::TimeSource& time, const TestRow& row,
                const DriveStatus& first, const FollowOptions& options,
                const std::function<void(const TestProgress&)>& report) {
  using End = Followed::End;
  Followed followed{End::Ended, row, first.look.drive, first.look};
  const drivetest::Abilities abilities = followed.look.abilities;
  const drivetest::Place place = followed.look.drive.place;
  bool is_stalled = first.is_stalled;
  bool may_wake = options.wakes;
  std::optional<TestProgress> reported;
  for (int faults = 0; !followed.row.outcome;) {
    const TestProgress progress = test_progress(followed.row, abilities, is_stalled);
    if (reported != progress) report(progress);
    reported = progress;
    if (is_stalled && options.gives_up_stalled) {
      followed.end = End::Stalled;
      break;
    }
    time.wait(time_to_next_look(followed.row.kind, abilities));
    DriveStatus status = keeper.look(place, false);
    // A drive that rests tests no more.
    if (status.look.fault == LookFault::Standby && std::exchange(may_wake, false))
      status = keeper.look(place, true);
    // The drive may be known by its place since, where another one that claims to be it has come.
    const std::string known_as = keeper.kept(row.number).value_or(followed.row).drive;
    const bool is_silent =
        status.look.fault == LookFault::None && status.look.drive.identity() != known_as;
    const bool is_another = is_silent && is_another_drive(status.look.drive, first.look.drive);
    followed.look = std::move(status.look);
    if (is_silent && !is_another) {
      followed.look.fault = LookFault::CannotBeReached;
      followed.look.reason = "it does not say any more who it is";
    }
    if (is_another || followed.look.fault != LookFault::None) {
      if (++faults < kMostFaults) continue;
      const bool is_gone = is_another || followed.look.fault == LookFault::NoSuchDrive;
      followed.end = is_gone ? End::Gone : End::NotTold;
      break;
    }
    faults = 0;
    is_stalled = status.is_stalled;
    std::optional<TestRow> now = row_after(keeper, status, followed.row);
    if (!now) {
      followed.row.outcome = drivetest::Outcome::Unknown;
      followed.row.cause = keeper.history_fault().empty()
                               ? "somebody has removed the test from the history"
                               : "the history, which knows the test, cannot be read any more";
      break;
    }
    followed.row = std::move(*now);
  }
  return followed;
}

}  // namespace cli

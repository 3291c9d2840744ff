#include "cli/library_run.h"

#include <fmt/format.h>

#include "cli/drive_run.h"
#include "cli/drive_tests.h"
#include "cli/failure.h"
#include "cli/row_verdict.h"
#include "cli/test_advice.h"
#include "cli/test_words.h"

namespace cli {

using drivetest::LookFault;
using drivetest::Place;
using drivetest::StartOutcome;
using drivetest::StartResult;
using drivetest::TestKind;
using drivetest::TestRow;

namespace {

// name: as it stands in commands.
Verdict stalled_verdict(const TestRow& row, const std::string& name) {
  Verdict verdict{.cause = std::string(kCauseNotEnded)};
  verdict.reason = "the test makes no progress any more";
  if (row.remaining_percent) {
    verdict.remaining = static_cast<int>(*row.remaining_percent);
    verdict.reason += fmt::format(", {}% remaining", *row.remaining_percent);
  }
  verdict.reason += "; " + stalled_advice(name);
  return verdict;
}

Verdict gone_verdict(const drivetest::Look& look) {
  const std::string why =
      look.fault == LookFault::None ? "another drive is in its place" : look.reason;
  return {.outcome = RunOutcome::Failed,
          .cause = std::string(kCauseGone),
          .reason = "the drive disappeared during the test: " + why};
}

Verdict verdict_of(const Followed& followed, const std::string& device,
                   const std::string& given_type) {
  const std::string name = name_in_command(device, followed.drive.place, given_type);
  switch (followed.end) {
    case Followed::End::Stalled:
      return stalled_verdict(followed.row, name);
    case Followed::End::Gone:
      return gone_verdict(followed.look);
    case Followed::End::NotTold:
      return verdict_of_untold(fault_text(followed.look), name);
    case Followed::End::Ended:
      break;
  }
  // A controller's drives have one device, and the history takes no type.
  const bool is_member = !drivetest::member_type(followed.drive.place.type).empty();
  return verdict_of_row(followed.row, followed.drive.protocol,
                        is_member ? followed.drive.serial_number : device);
}

// What a passed test is told by: "long test: completed without error, at 4660 power-on hours".
std::optional<std::string> entry_of(const TestRow& row) {
  if (row.outcome != drivetest::Outcome::Passed) return std::nullopt;
  std::string text = kind_text(row) + ": " + row.cause;
  if (row.hours) text += fmt::format(", at {} power-on hours", *row.hours);
  return text;
}

void add_drive(DriveResult& result, const drivetest::Drive& drive) {
  result.model = drive.model;
  result.serial = drive.serial_number;
}

// Of a test that did not come about.
LibraryResult not_started(const StartOutcome& outcome, bool has_history, const Place& place,
                          const std::string& name) {
  LibraryResult result{{.device = place.device}, Hindrance::Other};
  result.result.place = place;
  const drivetest::Look& look = outcome.status.look;
  Verdict& verdict = result.result.verdict;
  add_drive(result.result, look.drive);
  if (outcome.is_untold) {
    verdict = verdict_of_untold(outcome.reason, name);
  } else if (outcome.result == StartResult::AlreadyRunning) {
    verdict = verdict_of_busy(outcome.row.value_or(TestRow()), outcome.status.is_stalled,
                              has_history, name);
  } else if (outcome.result == StartResult::NotAble) {
    verdict = {.outcome = RunOutcome::Aborted,
               .cause = std::string(kCauseNoSelfTest),
               .reason = outcome.reason};
    // The reason says which tests it knows.
    if (look.inability.empty()) result.result.advice = "Choose one of its tests with --test.";
    result.hindrance = Hindrance::Unable;
  } else if (look.fault != LookFault::None) {
    verdict = verdict_of_fault(look);
    if (look.fault == LookFault::CannotBeReached || look.fault == LookFault::NoSuchDrive)
      result.hindrance = Hindrance::Unreachable;
  } else {
    verdict = {.cause = std::string(readiness_cause(Readiness::Refused)),
               .reason = "the test was not started: " + outcome.reason};
  }
  return result;
}

}  // namespace

DriveResult result_of(const Followed& followed, const std::string& device,
                      const std::string& given_type) {
  const TestRow& row = followed.row;
  DriveResult result{.device = device, .verdict = verdict_of(followed, device, given_type)};
  // The row has the place of the start, and another drive may have that name since.
  result.place = followed.drive.place;
  result.kind = row.kind;
  add_drive(result, followed.drive);
  result.entry = entry_of(row);
  // Of a failed drive the report says which one to pull.
  if (row.outcome == drivetest::Outcome::Aborted && followed.end == Followed::End::Ended)
    result.advice = test_advice(followed.drive, row);
  result.begin = row.started;
  if (const auto duration = row.duration()) result.elapsed = *duration;
  return result;
}

LibraryResult test_by_library(DriveTests& tests, const Place& place, const std::string& given_type,
                              TestKind kind,
                              const std::function<void(const TestProgress&)>& report) {
  const std::string name = name_in_command(place.device, place, given_type);
  const drivetest::Time begin = tests.time().now();
  LibraryResult result;
  try {
    const StartOutcome outcome = tests.keeper().start(place, kind, false, true);
    if (outcome.result == StartResult::Started) {
      const Followed followed = follow(tests.keeper(), tests.time(), *outcome.row, outcome.status,
                                       {.gives_up_stalled = true, .wakes = true}, report);
      result.result = result_of(followed, place.device, given_type);
    } else {
      result = not_started(outcome, tests.has_history(), place, name);
    }
  } catch (const std::exception& error) {
    // The drive may have begun the test all the same.
    result.result = {.device = place.device,
                     .place = place,
                     .verdict = verdict_of_untold(reason_of(error), name)};
  }
  result.result.kind = kind;
  result.result.begin = begin;
  result.result.elapsed = tests.time().now() - begin;
  result.result.history_fault = tests.keeper().history_fault();
  return result;
}

}  // namespace cli

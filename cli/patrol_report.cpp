#include "cli/patrol_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "cli/exit_status.h"
#include "cli/pull.h"
#include "cli/test_advice.h"
#include "cli/test_words.h"

namespace cli {

using drivetest::LookFault;
using drivetest::Outcome;
using drivetest::StartOutcome;
using drivetest::StartResult;

namespace {

struct Words {
  std::string_view word;
  std::string_view in_line;    // behind the drive's name
  std::string_view in_counts;  // behind the number of drives
};

// By PatrolResult.
constexpr std::array kWords = {
    Words{"passed", "passed", "passed"},
    Words{"failed", "failed", "failed"},
    Words{"aborted", "aborted", "aborted"},
    Words{"unknown", "result not known", "with a result that is not known"},
    Words{"running", "left alone", "left alone since a test runs already"},
    Words{"in-array", "left alone", "left alone since their arrays work"},
    Words{"in-standby", "left alone", "left alone in standby"},
    Words{"unable", "cannot be tested", "not testable"},
    Words{"not-asked", "could not be asked", "that could not be asked"},
    Words{"not-started", "not started", "not started"},
};

const Words& words_of(PatrolResult result) { return kWords[static_cast<std::size_t>(result)]; }

PatrolResult result_of(Outcome outcome) {
  switch (outcome) {
    case Outcome::Passed:
      return PatrolResult::Passed;
    case Outcome::Failed:
      return PatrolResult::Failed;
    case Outcome::Aborted:
      return PatrolResult::Aborted;
    case Outcome::Unknown:
      break;
  }
  return PatrolResult::Unknown;
}

// Of a test that was there before.
std::string busy_reason(const StartOutcome& outcome) {
  const drivetest::TestRow row = outcome.row.value_or(drivetest::TestRow());
  if (!outcome.status.is_stalled) return kind_text(row) + " runs already";
  const std::string remaining =
      row.remaining_percent ? fmt::format(", {}% remaining", *row.remaining_percent) : "";
  return kind_text(row) + " has stalled" + remaining +
         "; it may still end, and 'hddtest stop' ends it";
}

// What outcome_text says behind the outcome.
std::string cause_of(const drivetest::TestRow& row) {
  const std::string text = outcome_text(row);
  const std::size_t colon = text.find(": ");
  return colon == std::string::npos ? "" : text.substr(colon + 2);
}

}  // namespace

std::string_view word_of(PatrolResult result) { return words_of(result).word; }

PatrolledDrive patrolled(const ChosenDrive& drive, const StartOutcome& outcome) {
  PatrolledDrive one{drive, PatrolResult::NotStarted, outcome.reason, outcome.status.look,
                     outcome.row};
  if (outcome.is_untold) {
    one.result = PatrolResult::Unknown;
    one.reason = "it may have been started: " + outcome.reason;
  } else if (outcome.result == StartResult::AlreadyRunning) {
    one.result = PatrolResult::Running;
    one.reason = busy_reason(outcome);
    one.is_stalled = outcome.status.is_stalled;
  } else if (outcome.result == StartResult::NotAble) {
    one.result = PatrolResult::Unable;
  } else if (one.look.fault != LookFault::None) {
    const bool rests = one.look.fault == LookFault::Standby;
    one.result = rests ? PatrolResult::InStandby : PatrolResult::NotAsked;
    one.reason = fault_text(one.look);
  }
  return one;
}

PatrolledDrive patrolled(const ChosenDrive& drive, const Followed& followed) {
  PatrolledDrive one{drive, PatrolResult::Unknown, "", followed.look, followed.row};
  // A drive that does not answer any more, or another one in its place, does not say which was
  // tested.
  if (followed.end == Followed::End::Gone || followed.end == Followed::End::NotTold)
    one.look.drive = followed.drive;
  switch (followed.end) {
    case Followed::End::Ended:
      one.result = result_of(followed.row.outcome.value_or(Outcome::Unknown));
      one.reason = cause_of(followed.row);
      if (one.result == PatrolResult::Failed) {
        drivetest::Drive told = followed.drive;
        told.place = drive.place;
        one.advice = test_advice(told, followed.row);
      }
      break;
    case Followed::End::Stalled:
      one.reason = "the test makes no progress any more, and may still end";
      one.is_stalled = true;
      break;
    case Followed::End::Gone:
      one.result = PatrolResult::Failed;
      one.reason = "the drive disappeared during the test";
      one.advice = "back up what can still be read, then check cable and power of " +
                   drive_text(followed.drive.model, followed.drive.serial_number);
      break;
    case Followed::End::NotTold:
      one.reason = fault_text(followed.look);
      break;
  }
  return one;
}

std::string line_of(const PatrolledDrive& drive) {
  std::string line = drive.drive.shown_name() + ": " + std::string(words_of(drive.result).in_line);
  if (!drive.reason.empty()) line += ": " + drive.reason;
  if (!drive.advice.empty()) line += "; " + drive.advice;
  return line;
}

std::string counts_of(const std::vector<PatrolledDrive>& drives) {
  if (drives.empty()) return "no drive to test";
  std::string text;
  for (std::size_t result = 0; result < kWords.size(); ++result) {
    const auto count = std::count_if(drives.begin(), drives.end(), [&](const auto& one) {
      return one.result == static_cast<PatrolResult>(result);
    });
    if (count == 0) continue;
    text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count, kWords[result].in_counts);
    if (static_cast<PatrolResult>(result) != PatrolResult::Running) continue;
    const auto stalled = std::count_if(drives.begin(), drives.end(), [&](const auto& one) {
      return one.result == PatrolResult::Running && one.is_stalled;
    });
    if (stalled > 0) text += fmt::format(" ({} stalled)", stalled);
  }
  return fmt::format("{} {}: {}", drives.size(), drives.size() == 1 ? "drive" : "drives", text);
}

int status_of(const std::vector<PatrolledDrive>& drives) {
  const bool has_failed = std::any_of(drives.begin(), drives.end(), [](const auto& one) {
    return one.result == PatrolResult::Failed;
  });
  return has_failed ? kStatusFailed : kStatusOk;
}

}  // namespace cli

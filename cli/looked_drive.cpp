#include "cli/looked_drive.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "cli/pull.h"
#include "cli/terminal_text.h"
#include "cli/test_advice.h"
#include "cli/test_json.h"
#include "cli/test_words.h"

namespace cli {

using drivetest::LookFault;
using drivetest::Outcome;
using drivetest::TestRow;

constexpr const char* kUnable = "cannot be tested";

bool LookedDrive::is_unknown() const {
  const LookFault fault = status.look.fault;
  return !drive.reason.empty() || (fault != LookFault::None && fault != LookFault::Standby);
}

bool LookedDrive::is_in_standby() const { return status.look.fault == LookFault::Standby; }

bool LookedDrive::is_known() const { return DriveTests::is_known(status.look); }

std::string LookedDrive::reason() const {
  return drive.reason.empty() ? fault_text(status.look) : drive.reason;
}

std::string LookedDrive::serial_number() const { return drive.serial_number(status.look); }

// While another test runs nothing can be done about one that was aborted.
std::string LookedDrive::advice() const {
  const std::optional<TestRow>& told_of = failed ? failed : last;
  if (!told_of || is_unknown()) return {};
  drivetest::Drive told = status.look.drive;
  told.place = drive.place;
  told.serial_number = serial_number();
  return test_advice(told, *told_of);
}

namespace {

// The one that runs and the newest that has ended.
constexpr std::size_t kTestsShown = 2;

// Of the newest tests and of those that tell of failures, however old, again the newest first. A
// test may stand in both, and one that could not be kept stands in the first only.
std::vector<TestRow> telling_tests(DriveTests& tests, const LookedDrive& one,
                                   std::vector<TestRow> newest) {
  try {
    tests.keeper().with_history([&](drivetest::History& history) {
      const std::string identity = tests.identity_of(one.drive, one.status.look);
      for (drivetest::KeptTest& test : history.telling_of_failures(identity))
        newest.push_back(std::move(test.row));
    });
  } catch (const drivetest::HistoryError&) {
    // The keeper meets this failure too, and reports it.
  }
  return newest;
}

// The newest that failed and that no later one makes up for.
std::optional<TestRow> open_failure(const std::vector<TestRow>& tests) {
  for (auto test = tests.begin(); test != tests.end(); ++test) {
    const auto answers = [&](const TestRow& later) { return later.answers_failure(test->kind); };
    if (test->outcome == Outcome::Failed && std::none_of(tests.begin(), test, answers))
      return *test;
  }
  return std::nullopt;
}

}  // namespace

LookedDrive looked_drive(DriveTests& tests, ChosenDrive drive, drivetest::DriveStatus status) {
  LookedDrive one{std::move(drive), std::move(status), {}, {}, {}};
  std::vector<TestRow> rows = tests.newest_tests(one.drive, one.status, kTestsShown);
  const auto ended = std::find_if(rows.begin(), rows.end(),
                                  [](const TestRow& row) { return row.outcome.has_value(); });
  if (ended != rows.end()) one.ended = *ended;
  one.last = one.status.running;
  if (!one.last && !rows.empty()) one.last = rows.front();
  one.failed = open_failure(telling_tests(tests, one, std::move(rows)));
  return one;
}

Colour colour_of(const LookedDrive& one) {
  if (one.failed) return colour_of(*one.failed);
  return one.last ? colour_of(*one.last) : Colour::None;
}

namespace {

// "; before it: short test failed 2 hours ago: read failure".
std::string text_of_before(const LookedDrive& one, bool has_history) {
  const bool is_running = one.last && !one.last->outcome;
  const bool is_told = one.ended && one.failed && one.ended->number == one.failed->number;
  if (!one.last || (!is_running && (is_told || !one.failed))) return {};
  const std::optional<TestRow>& before = one.failed ? one.failed : one.ended;
  if (!before) return {};
  return "; before it: " + newest_test_text(before, false, has_history, drivetest::system_time());
}

}  // namespace

std::string test_text(const LookedDrive& one, bool has_history) {
  const std::optional<TestRow>& last = one.last;
  std::string text =
      newest_test_text(last, one.status.is_stalled, has_history, drivetest::system_time());
  // A drive in standby does not test itself.
  if (one.is_in_standby() && last && !last->outcome)
    return text + ", at the last look; in standby now, which ends tests: --wake asks it" +
           text_of_before(one, has_history);
  if (one.is_in_standby()) {
    if (!last && !(has_history && one.is_known())) text = "not known";
    return text + " (in standby, not looked at)" + text_of_before(one, has_history);
  }
  if (!one.is_unknown() && !last && !one.status.look.inability.empty())
    return kUnable + (": " + one.status.look.inability);
  return text + doubt_text(one.status.look) + text_of_before(one, has_history);
}

std::string brief_text(const LookedDrive& one, bool has_history) {
  if (one.is_unknown()) return "not looked at";
  if (one.is_in_standby()) return std::string("in standby") + (one.failed ? ", failed before" : "");
  if (!one.last && !one.status.look.inability.empty()) return kUnable;
  // A test that passed since does not make up for the failure.
  const bool is_running = one.last && !one.last->outcome;
  const std::optional<TestRow>& told = one.failed && !is_running ? one.failed : one.last;
  return brief_test_text(told, one.status.is_stalled, has_history, drivetest::system_time()) +
         (one.failed && is_running ? ", failed before" : "");
}

std::string advice_text(const std::vector<LookedDrive>& drives, bool has_history,
                        const Output& output) {
  std::string text;
  for (const LookedDrive& one : drives) {
    const bool is_unable = brief_text(one, has_history) == kUnable;
    if (is_unable && output.columns() > 0)
      text += "\n" + labelled("", one.drive.shown_name() + ": " + test_text(one, has_history),
                              output.columns());
    if (const std::string what = one.advice(); !what.empty()) {
      const std::string test = output.columns() > 0 ? test_text(one, has_history) + "; " : "";
      text += "\n" + labelled("", fmt::format("{}: {}{}", one.drive.shown_name(), test, what),
                              output.columns());
    }
  }
  return text;
}

Json json_of(const LookedDrive& one, bool has_history) {
  const bool is_running = one.last && !one.last->outcome;
  Json json = drive_json(one.drive, one.status.look);
  json["running"] = row_json(one.status.look, is_running ? one.last : std::nullopt, has_history);
  json["stalled"] = one.status.is_stalled;
  json["doubtful"] = one.status.look.running && one.status.look.running->is_doubtful;
  json["last"] = row_json(one.status.look, one.ended, has_history);
  json["failed"] = row_json(one.status.look, one.failed, has_history);
  json["reason"] = text_or_null(one.reason());
  json["advice"] = text_or_null(one.advice());
  json["bay"] = one.failed && !one.is_unknown() ? bay_json(one.drive.place) : Json();
  return json;
}

}  // namespace cli

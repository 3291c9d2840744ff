// hddtest stop: ends tests that run in drives.
#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/drive_tests.h"
#include "cli/failure.h"
#include "cli/json.h"
#include "cli/output.h"
#include "cli/run_outcome.h"
#include "cli/terminal_text.h"
#include "cli/test_json.h"
#include "cli/test_words.h"

namespace cli {
namespace {

using drivetest::Outcome;
using drivetest::StopOutcome;
using drivetest::StopResult;

struct StopOptions {
  std::vector<std::string> devices;
  std::string type;
  bool wake = false;
};

constexpr const char* kFooter =
    "Ends the test that runs in each DEVICE, no matter who has started it; the drive loses\n"
    "nothing but the test. Where no test runs, that is said and is no failure, nor is a test\n"
    "that has ended by itself meanwhile.\n"
    "Exit status: 3 if a drive could not be asked or its test goes on, else 0.";

// Whether the test that was to be stopped has come to an end, and nobody knows that it was stopped.
bool has_ended(const StopOutcome& outcome) {
  return outcome.row && outcome.row->outcome && *outcome.row->outcome != Outcome::Aborted;
}

std::string_view word_of(const StopOutcome& outcome) {
  switch (outcome.result) {
    case StopResult::Stopped:
      return has_ended(outcome) ? "ended" : "stopped";
    case StopResult::NothingRuns:
      return "nothing-runs";
    case StopResult::NotStopped:
      break;
  }
  return "not-stopped";
}

// A test that another process has begun, and that the drive does not show yet.
bool may_be_starting(const StopOutcome& outcome) {
  return outcome.result == StopResult::NothingRuns && outcome.status.running &&
         !outcome.status.running->looked;
}

StopOutcome stopped(DriveTests& tests, ChosenDrive& drive, bool wake) {
  constexpr std::chrono::seconds kBetweenLooks(1);
  constexpr int kLooksForStart = 10;
  StopOutcome outcome = tests.keeper().stop(tests.look_of(drive, wake), wake);
  for (int looks = 1; looks < kLooksForStart && may_be_starting(outcome); ++looks) {
    tests.time().wait(kBetweenLooks);
    outcome = tests.keeper().stop(tests.look_of(drive, wake), wake);
  }
  return outcome;
}

std::string line(const std::string& name, const StopOutcome& outcome, bool has_history) {
  const bool rests = outcome.status.look.fault == drivetest::LookFault::Standby;
  if (outcome.result == StopResult::NothingRuns)
    return name + (rests ? ": no test runs: it is in standby" : ": no test runs");
  if (!outcome.row) return name + ": test stopped";
  const drivetest::TestRow& row = *outcome.row;
  if (row.outcome == Outcome::Unknown)
    return name + ": " + owned_test_text(row, has_history) + " does not run any more; " +
           outcome_text(row);
  if (row.outcome && *row.outcome != Outcome::Aborted)
    return name + ": " + kind_text(row) + " ended before it could be stopped: " + outcome_text(row);
  return name + ": " + owned_test_text(row, has_history) + " stopped";
}

Json json_of(const ChosenDrive& drive, const StopOutcome& outcome, bool has_history) {
  Json json = drive_json(drive, outcome.status.look);
  json["result"] = word_of(outcome);
  json["reason"] = text_or_null(outcome.reason);
  json["test"] = row_json(outcome.status.look, outcome.row, has_history);
  return json;
}

std::string failure(const std::string&, const std::string& reason) {
  StopOutcome none;
  none.reason = reason;
  return dump(Json::array({json_of({}, none, false)}));
}

int stop(const StopOptions& options, bool json) {
  DriveTests tests;
  std::vector<ChosenDrive> drives =
      each_once(tests.choose(options.devices, options.type, options.wake));
  std::vector<StopOutcome> outcomes(drives.size());
  at_once(drives.size(), [&](std::size_t i) {
    if (drives[i].reason.empty())
      outcomes[i] = stopped(tests, drives[i], options.wake);
    else
      outcomes[i].reason = drives[i].reason;
  });
  int status = kStatusOk;
  Json array = Json::array();
  for (std::size_t i = 0; i < drives.size(); ++i) {
    StopOutcome& outcome = outcomes[i];
    const drivetest::LookFault fault = outcome.status.look.fault;
    // Nobody knows of a test in a drive that rests, and it is not woken for nothing. One that runs
    // as far as is known may go on behind a bridge that rests.
    if (fault == drivetest::LookFault::Standby && !outcome.status.running &&
        !tests.may_be_testing(outcome.status.look))
      outcome.result = StopResult::NothingRuns;
    else if (fault != drivetest::LookFault::None)
      outcome.reason = fault_text(outcome.status.look);
    const bool is_stopped = outcome.result != StopResult::NotStopped;
    if (!is_stopped) status = kStatusCannot;
    if (json) {
      array.push_back(json_of(drives[i], outcome, tests.has_history()));
    } else if (is_stopped) {
      standard_output().write(escape(line(drives[i].shown_name(), outcome, tests.has_history())) +
                              "\n");
    } else {
      complain(drives[i].shown_name() +
               (outcome.is_untold ? ": not known whether it was stopped: " : ": not stopped: ") +
               outcome.reason);
    }
  }
  if (json) standard_output().write(dump(array));
  tests.tell_of_history();
  return status;
}

}  // namespace

Command stop_command(const Invocation& invocation) {
  auto options = std::make_shared<StopOptions>();
  return {"stop",
          "Ends the self-tests that run in drives.",
          kFooter,
          {{.name = "DEVICE",
            .target = &options->devices,
            .help = "Drives: a device, a serial number or a by-id name",
            .needs_one = true},
           {"--type", &options->type, "Device type for smartctl -d, such as sat", "TYPE"},
           {"--wake", &options->wake, "Ask drives in standby too, which wakes them"}},
          [&invocation, options] { return stop(*options, invocation.json); },
          failure};
}

}  // namespace cli

// hddtest start: starts tests and leaves the drives to them.
#include <fmt/format.h>

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

using drivetest::StartOutcome;
using drivetest::StartResult;
using drivetest::TestKind;

struct StartOptions {
  std::vector<std::string> devices;
  std::string kind = "short";
  std::string type;
  bool replace = false;
  bool wake = false;
};

constexpr const char* kFooter =
    "The drive tests itself: nothing has to stay, 'hddtest status' shows how far it is and\n"
    "'hddtest stop' ends it. A test that runs already, no matter who started it, is left\n"
    "alone. Without DEVICE the test is started in every drive that knows it. Tests of single\n"
    "ranges, captive, off-line and vendors' tests are left out; see hddtest(1).\n"
    "Exit status: 3 if a test could not be started, else 1 if one has failed already, else 2\n"
    "if a named drive knows no such test, else 0. Without DEVICE drives that know no such test\n"
    "do not count; where no other is left it is 3.";

struct Started {
  ChosenDrive drive;
  StartOutcome outcome;

  bool is_left_out(bool was_named) const {
    return !was_named && outcome.result == StartResult::NotAble;
  }
};

std::string_view word_of(StartResult result) {
  switch (result) {
    case StartResult::Started:
      return "started";
    case StartResult::AlreadyRunning:
      return "running";
    case StartResult::NotAble:
      return "not-able";
    case StartResult::NotStarted:
      break;
  }
  return "not-started";
}

int status_of(const StartOutcome& outcome) {
  switch (outcome.result) {
    case StartResult::Started:
      return cli::status_of(*outcome.row);
    case StartResult::AlreadyRunning:
      return kStatusOk;
    case StartResult::NotAble:
      return kStatusAborted;
    case StartResult::NotStarted:
      break;
  }
  return kStatusCannot;
}

// Of the started test and of the one that it was to replace.
int gravest_of(const StartOutcome& outcome) {
  const int status = status_of(outcome);
  return outcome.ended_before ? gravest({status, cli::status_of(*outcome.ended_before)}) : status;
}

// Whose test was ended for this one. One that passed or failed first is none.
std::string replaced_text(const StartOutcome& outcome, bool has_history) {
  if (const auto& ended = outcome.ended_before)
    return kind_text(*ended) + " ended before it could be stopped: " + outcome_text(*ended) + "; ";
  if (!outcome.replaced) return {};
  return "the " + owned_test_text(*outcome.replaced, has_history) + " was ended, ";
}

// What can be done about the test that was left alone: it is not replaced by one that the drive
// does not know.
std::string replacing_text(const StartOutcome& outcome, TestKind kind) {
  const std::string why = drivetest::why_not_able(outcome.status.look, kind);
  if (!why.empty()) return "; " + why;
  return std::string("; --replace ends it") +
         (outcome.status.is_stalled ? " and starts the new test" : "");
}

std::string line(const Started& started, TestKind kind, bool has_history) {
  const StartOutcome& outcome = started.outcome;
  const drivetest::TestRow& row = *outcome.row;
  std::string text = started.drive.shown_name() + ": " + replaced_text(outcome, has_history);
  if (outcome.result == StartResult::AlreadyRunning)
    return text + "left alone: " +
           newest_test_text(row, outcome.status.is_stalled, has_history, drivetest::system_time()) +
           doubt_text(outcome.status.look) + replacing_text(outcome, kind);
  text += kind_text(row) + " started";
  if (row.outcome) return text + " and ended: " + outcome_text(row);
  const auto minutes = outcome.status.look.abilities[static_cast<std::size_t>(*row.kind)].minutes;
  if (minutes)
    text += fmt::format(", takes {} or more by the drive's word", minutes_text(*minutes));
  return text;
}

// What stands in the place of a line, on standard error.
std::string complaint(const Started& started, bool has_history) {
  const StartOutcome& outcome = started.outcome;
  std::string text = started.drive.shown_name() + ": " + replaced_text(outcome, has_history);
  if (outcome.result == StartResult::NotAble) return text + "cannot be tested: " + outcome.reason;
  return text + (outcome.is_untold ? "not known whether it was started: " : "not started: ") +
         outcome.reason;
}

void show(const Started& started, TestKind kind, bool was_named, bool has_history) {
  if (started.outcome.row)
    standard_output().write(escape(line(started, kind, has_history)) + "\n");
  else if (started.is_left_out(was_named))
    standard_output().write(escape(complaint(started, has_history)) + "\n");
  else
    complain(complaint(started, has_history));
}

Json json_of(const Started& started, bool has_history) {
  Json json = drive_json(started.drive, started.outcome.status.look);
  json["result"] = word_of(started.outcome.result);
  json["reason"] = text_or_null(started.outcome.reason);
  json["test"] = row_json(started.outcome.status.look, started.outcome.row, has_history);
  json["stalled"] =
      started.outcome.result == StartResult::AlreadyRunning && started.outcome.status.is_stalled;
  json["replaced"] = row_json(started.outcome.status.look, started.outcome.replaced, has_history);
  json["ended_before"] =
      row_json(started.outcome.status.look, started.outcome.ended_before, has_history);
  return json;
}

std::string failure(const std::string&, const std::string& reason) {
  Started none;
  none.outcome.reason = reason;
  return dump(Json::array({json_of(none, false)}));
}

int start(const StartOptions& options, bool json) {
  const TestKind kind = kind_named(options.kind, options.devices);
  const bool was_named = !options.devices.empty();
  DriveTests tests;
  std::vector<Started> all;
  for (ChosenDrive& drive : each_once(tests.choose(options.devices, options.type, options.wake)))
    all.push_back({std::move(drive), {}});
  at_once(all.size(), [&](std::size_t i) {
    Started& one = all[i];
    if (one.drive.reason.empty())
      one.outcome = tests.keeper().start(tests.look_of(one.drive, options.wake), kind,
                                         options.replace, options.wake);
    else
      one.outcome.reason = one.drive.reason;
  });
  Json array = Json::array();
  std::vector<int> statuses;
  for (Started& one : all) {
    if (one.outcome.status.look.fault != drivetest::LookFault::None)
      one.outcome.reason = fault_text(one.outcome.status.look);
    if (json)
      array.push_back(json_of(one, tests.has_history()));
    else
      show(one, kind, was_named, tests.has_history());
    if (!one.is_left_out(was_named)) statuses.push_back(gravest_of(one.outcome));
  }
  if (json) standard_output().write(dump(array));
  tests.tell_of_history();
  if (statuses.empty()) throw CommandFailure("no drive of this machine knows such a test");
  return gravest(statuses);
}

}  // namespace

Command start_command(const Invocation& invocation) {
  auto options = std::make_shared<StartOptions>();
  return {"start",
          "Starts a self-test in drives and returns at once.",
          kFooter,
          {{"DEVICE", &options->devices, "Drives: a device, a serial number or a by-id name"},
           {"-t,--test", &options->kind, "short, long or conveyance (short)", "KIND"},
           {"--type", &options->type, "Device type for smartctl -d, such as sat", "TYPE"},
           {"--replace", &options->replace, "End a test that runs, and say whose it was"},
           {"--wake", &options->wake, "Ask drives in standby too, which wakes them"}},
          [&invocation, options] { return start(*options, invocation.json); },
          failure};
}

}  // namespace cli

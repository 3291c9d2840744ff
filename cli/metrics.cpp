// hddtest metrics: drives and their tests for monitoring systems.
#include "cli/metrics.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <set>
#include <utility>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/metrics_text.h"
#include "cli/output.h"
#include "cli/published_file.h"
#include "cli/test_words.h"
#include "cli/wrong_dates.h"

namespace cli {
namespace {

using drivetest::DriveStatus;
using drivetest::KeptTest;
using drivetest::LookFault;
using drivetest::TestRow;

struct MetricsOptions {
  // One at most; a list, so that an empty text is told from none.
  std::vector<std::string> output;
};

constexpr const char* kFooter =
    "Looks at the drives as 'hddtest status' does, drives in standby left in peace, and prints\n"
    "them and their tests in the text format of Prometheus. With --output the file is replaced\n"
    "at once, in mode 0644, as the textfile collector of node_exporter wants it. Drives that\n"
    "could not be looked at are counted in hddtest_scrape_errors, and told.\n"
    "Exit status: 0, or 3 if the history cannot be read or the metrics could not be written:\n"
    "then nothing is printed, and a file stays as it was.";

std::vector<TestRow> rows_of(drivetest::History& history, const std::string& identity) {
  std::vector<TestRow> rows;
  for (KeptTest& test : history.of_drive(identity, std::numeric_limits<std::size_t>::max()))
    rows.push_back(std::move(test.row));
  return rows;
}

// What this look alone has shown.
std::vector<TestRow> rows_of(const DriveStatus& status) {
  std::vector<TestRow> rows = status.ended;
  if (status.running) rows.insert(rows.begin(), *status.running);
  return rows;
}

MeasuredDrive measured(const ChosenDrive& chosen, DriveStatus status) {
  MeasuredDrive one;
  one.identity = status.look.drive.identity();
  one.drive = chosen.known;
  one.drive.serial_number = chosen.serial_number(status.look);
  one.is_stalled = status.is_stalled;
  one.tests = rows_of(status);
  one.look = std::move(status.look);
  return one;
}

// The history knows more of the drives than they say now, and of drives that are gone.
void add_history(DriveTests& tests, const std::vector<ChosenDrive>& chosen,
                 std::vector<MeasuredDrive>& drives) {
  std::set<std::string> present;
  std::set<std::string> claimed;  // by drives that are known by their places
  for (std::size_t i = 0; i < chosen.size(); ++i) {
    MeasuredDrive& one = drives[i];
    one.identity = tests.identity_of(chosen[i], *one.look);
    present.insert(one.identity);
    if (one.look->drive.shares_identity)
      claimed.insert(one.identity.substr(0, one.identity.rfind("\nat ")));
    one.tests = rows_of(tests.history(), one.identity);
  }
  for (const drivetest::KnownDrive& known : tests.history().drives()) {
    if (present.contains(known.identity)) {
      for (MeasuredDrive& one : drives)
        if (one.identity == known.identity) one.drive = known.drive;
      continue;
    }
    MeasuredDrive gone;
    gone.identity = known.identity;
    gone.drive = known.drive;
    gone.looked = known.looked;
    gone.is_known_by_place = claimed.contains(known.identity);
    gone.tests = rows_of(tests.history(), known.identity);
    drives.push_back(std::move(gone));
  }
}

std::size_t drop_dates_ahead(std::vector<MeasuredDrive>& drives, drivetest::Time now) {
  std::ptrdiff_t count = 0;
  for (MeasuredDrive& one : drives) {
    count += std::count_if(one.tests.begin(), one.tests.end(),
                           [&](TestRow& row) { return cli::drop_dates_ahead(row, now); });
    if (one.looked && lies_ahead(*one.looked, now)) one.looked.reset();
  }
  return static_cast<std::size_t>(count);
}

int metrics(const MetricsOptions& options, bool json) {
  if (json)
    throw WrongCommandLine("metrics have one form only; 'hddtest status --json' tells the same");
  if (options.output.size() > 1) throw WrongCommandLine("--output takes one FILE");
  if (!options.output.empty() && options.output.front().empty())
    throw WrongCommandLine("--output needs the name of a file");
  DriveTests tests;
  const std::string text = measure(tests);
  if (options.output.empty())
    standard_output().write(text);
  else
    publish(options.output.front(), text);
  return kStatusOk;
}

}  // namespace

MeasuredDrives measured_drives(DriveTests& tests) {
  std::vector<ChosenDrive> chosen = tests.choose({}, "", false);
  std::vector<DriveStatus> statuses = tests.look_at(chosen, false);
  MeasuredDrives found;
  auto& [drives, errors, dated_ahead, knows_tests] = found;
  for (std::size_t i = 0; i < chosen.size(); ++i) {
    const drivetest::Look& look = statuses[i].look;
    if (look.fault != LookFault::None && look.fault != LookFault::Standby)
      complain(chosen[i].name + ": not looked at: " + fault_text(look));
    drives.push_back(measured(chosen[i], std::move(statuses[i])));
  }
  try {
    add_history(tests, chosen, drives);
  } catch (const drivetest::HistoryError& error) {
    if (tests.has_history()) complain(error.what());
    ++errors;
    knows_tests = false;
    for (MeasuredDrive& one : drives) one.tests.clear();
  }
  dated_ahead = drop_dates_ahead(drives, tests.time().now());
  if (dated_ahead > 0) complain(dated_ahead_text(dated_ahead));
  if (errors == 0 && !tests.has_history()) ++errors;
  tests.tell_of_history();
  return found;
}

std::string measure(DriveTests& tests) {
  const auto [drives, errors, dated_ahead, knows_tests] = measured_drives(tests);
  if (!knows_tests)
    throw CommandFailure("no metrics: without the history nobody knows which drives have failed");
  const Metrics metrics = metrics_of(drives, errors);
  for (const std::string& clash : metrics.clashes) complain(clash);
  return metrics.text;
}

Command metrics_command(const Invocation& invocation) {
  auto options = std::make_shared<MetricsOptions>();
  return {"metrics",
          "Prints drives and their tests for monitoring systems.",
          kFooter,
          {{"--output", &options->output, "Replace a file by it, for node_exporter", "FILE"}},
          [&invocation, options] { return metrics(*options, invocation.json); },
          failure_as_of_run,
          false};
}

}  // namespace cli

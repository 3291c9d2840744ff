// hddtest report: drives and their tests on a page for people.
#include <algorithm>
#include <memory>
#include <utility>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/metrics.h"
#include "cli/output.h"
#include "cli/published_file.h"
#include "cli/pull.h"
#include "cli/report_fleet.h"
#include "cli/report_page.h"
#include "cli/report_text.h"
#include "cli/test_advice.h"
#include "cli/test_words.h"
#include "cli/wrong_dates.h"

namespace cli {
namespace {

using drivetest::LookFault;
using drivetest::Time;

struct ReportOptions {
  std::vector<std::string> files;
  // One at most; a list, so that an empty text is told from none.
  std::vector<std::string> output;
};

constexpr const char* kFooter =
    "Makes one page of HTML of the drives of this machine and their tests: those first that need\n"
    "somebody, each with a line of its tests over time. Looks at the drives as 'hddtest status'\n"
    "does, drives in standby left in peace. With files it is a page of the machines that these\n"
    "are of: each is what 'hddtest history --json' has printed on a machine, and is called as the\n"
    "machine, with .json or .jsonl behind; of a folder all such files are meant. Drives that need\n"
    "somebody are shown in full, of the others each machine's count; no drive is looked at.\n"
    "The page has no scripts and fetches nothing, so it can be sent by mail. With --output the\n"
    "file is replaced at once, in mode 0644; without it the page goes to standard output, which\n"
    "is to be no terminal.\n"
    "Exit status: 0, or 3 if something could not be read or the page could not be written.";

FoundNow found_now(const MeasuredDrive& one) {
  FoundNow found;
  found.is_here = one.look.has_value();
  found.is_stalled = one.is_stalled;
  found.is_testable = is_testable(one);
  found.is_known_by_place = one.is_known_by_place;
  found.rests = one.look && one.look->fault == LookFault::Standby;
  if (!one.look) return found;
  found.inability = one.look->inability;
  if (one.look->fault != LookFault::None && one.look->fault != LookFault::Standby)
    found.fault = fault_text(*one.look);
  return found;
}

ReportedDrive reported(const MeasuredDrive& one) {
  const bool has_told = one.look && one.look->fault == LookFault::None;
  drivetest::Drive drive = has_told ? one.look->drive : one.drive;
  if (one.look) drive.place = one.look->drive.place;
  ReportedDrive reported;
  // The newest comes first there.
  std::for_each(one.tests.rbegin(), one.tests.rend(), [&](const drivetest::TestRow& row) {
    reported.add({drive, row});
  });
  reported.drive = drive;
  reported.found = found_now(one);
  if (one.looked) reported.heard = std::max(reported.heard, *one.looked);
  if (!one.look) reported.running.reset();  // nothing runs in a drive that is gone
  const drivetest::TestRow* const failed = reported.failed();
  if (failed && one.look) reported.advice = test_advice(drive, *failed);
  return reported;
}

Report report_of_this_machine() {
  DriveTests tests;
  const MeasuredDrives measured = measured_drives(tests);
  const Time now = drivetest::system_time();
  std::vector<JudgedDrive> drives;
  for (const MeasuredDrive& one : measured.drives) {
    ReportedDrive drive = reported(one);
    drive.found->are_tests_known = measured.knows_tests;
    Attention attention = attention_of(drive, now, now);
    drives.push_back({std::move(drive), std::move(attention)});
  }
  std::vector<std::string> notes;
  if (!measured.knows_tests)
    notes.emplace_back("The history of tests could not be read, so tests are missing here.");
  else if (measured.errors > 0)
    notes.emplace_back("The history could not be written; this look is not kept.");
  if (measured.dated_ahead > 0) notes.push_back(sentence(dated_ahead_text(measured.dated_ahead)));
  return {machine_page(drivetest::this_host().name, std::move(drives), notes, now),
          measured.errors == 0};
}

int report(const ReportOptions& options, bool json) {
  if (json)
    throw WrongCommandLine(
        "the report is a page for people; 'hddtest history --json' tells the same");
  if (options.output.size() > 1) throw WrongCommandLine("--output takes one FILE");
  if (!options.output.empty() && options.output.front().empty())
    throw WrongCommandLine("--output needs the name of a file");
  if (options.output.empty() && standard_output().is_terminal())
    throw WrongCommandLine(
        "the report is a page of HTML: name a file for it, as in 'hddtest report "
        "--output drives.html'");
  const Report report = options.files.empty()
                            ? report_of_this_machine()
                            : report_of_files(files_of(options.files), drivetest::system_time());
  if (options.output.empty())
    standard_output().write(report.page);
  else
    publish(options.output.front(), report.page);
  return report.is_whole ? kStatusOk : kStatusCannot;
}

}  // namespace

Command report_command(const Invocation& invocation) {
  auto options = std::make_shared<ReportOptions>();
  return {"report",
          "Makes a page of drives and their tests.",
          kFooter,
          {{"FILE", &options->files, "Histories of machines as JSON, or folders of such files"},
           {"--output", &options->output, "Replace a file by it, such as drives.html", "FILE"}},
          [&invocation, options] { return report(*options, invocation.json); },
          failure_as_of_run,
          false};
}

}  // namespace cli

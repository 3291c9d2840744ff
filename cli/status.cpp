// hddtest status: the tests that run in drives, and the last one of each.
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/drive_tests.h"
#include "cli/json.h"
#include "cli/looked_drive.h"
#include "cli/output.h"
#include "cli/run_outcome.h"
#include "cli/table.h"
#include "cli/test_json.h"
#include "cli/test_words.h"

namespace cli {
namespace {

using drivetest::DriveStatus;

struct StatusOptions {
  std::vector<std::string> devices;
  std::string type;
  bool wake = false;
};

constexpr const char* kFooter =
    "Looks at the drives and brings the history up to date. Drives in standby are left in\n"
    "peace but with --wake. A test is called stalled when it has made no progress for three\n"
    "times the time that the drive announced, an hour at least: it may still end; 'hddtest\n"
    "stop' ends it. Below the list stands what to do about a drive that failed, with all\n"
    "that tells which one to pull, or whose test was aborted. Tests by another program or\n"
    "person are shown as such; drives do not tell who it was.\n"
    "Exit status: 3 if a drive could not be looked at, else 1 if a test of one has failed and\n"
    "none has passed since that makes up for it, which is one of its kind or, for all but\n"
    "conveyance tests, a long one. Of the other drives the last test counts: 3 if the result\n"
    "of one is not known, which outranks 1, 2 if one was aborted, else 0, also where a test\n"
    "runs or none is known.";

std::string table(const std::vector<LookedDrive>& all, bool has_history, const Output& output) {
  std::vector<std::vector<TableCell>> rows;
  for (const LookedDrive& one : all) {
    if (one.is_unknown()) continue;
    rows.push_back({{one.drive.shown_name()},
                    {one.status.look.drive.model},
                    {one.serial_number()},
                    {test_text(one, has_history), colour_of(one), brief_text(one, has_history)}});
  }
  if (rows.empty()) return "";
  return table_text({{"DEVICE"},
                     {.title = "MODEL", .shortened = 1, .left_out = 2},
                     {.title = "SERIAL", .shortened = 2, .left_out = 1},
                     {"TEST"}},
                    rows, output);
}

std::string failure(const std::string&, const std::string& reason) {
  LookedDrive none;
  none.drive.reason = reason;
  return dump(Json::array({json_of(none, false)}));
}

int status_of(const LookedDrive& one, bool can_read_history) {
  if (one.is_unknown()) return kStatusCannot;
  const std::optional<drivetest::TestRow>& told = one.failed ? one.failed : one.last;
  if (!told && !can_read_history) return kStatusCannot;
  return told ? cli::status_of(*told) : kStatusOk;
}

int status(const StatusOptions& options, bool json) {
  DriveTests tests;
  std::vector<LookedDrive> all;
  std::vector<ChosenDrive> drives =
      each_once(tests.choose(options.devices, options.type, options.wake));
  std::vector<DriveStatus> statuses_of = tests.look_at(drives, options.wake);
  for (std::size_t i = 0; i < drives.size(); ++i)
    all.push_back(looked_drive(tests, std::move(drives[i]), std::move(statuses_of[i])));
  const bool can_read_history = tests.can_read_history();
  Json array = Json::array();
  std::vector<int> statuses;
  for (const LookedDrive& one : all) {
    statuses.push_back(status_of(one, can_read_history));
    if (json) array.push_back(json_of(one, tests.has_history()));
  }
  if (json) {
    standard_output().write(dump(array));
  } else {
    standard_output().write(all.empty() ? "There is no drive on this machine.\n"
                                        : table(all, tests.has_history(), standard_output()));
    standard_output().write(advice_text(all, tests.has_history(), standard_output()));
    for (const LookedDrive& one : all)
      if (one.is_unknown()) complain(one.drive.shown_name() + ": not looked at: " + one.reason());
  }
  tests.tell_of_history();
  return gravest(statuses);
}

}  // namespace

Command status_command(const Invocation& invocation) {
  auto options = std::make_shared<StatusOptions>();
  return {"status",
          "Shows the tests that run in drives, and the last one of each.",
          kFooter,
          {{"DEVICE", &options->devices, "Drives: a device, a serial number or a by-id name"},
           {"--type", &options->type, "Device type for smartctl -d, such as sat", "TYPE"},
           {"--wake", &options->wake, "Ask drives in standby too, which wakes them"}},
          [&invocation, options] { return status(*options, invocation.json); },
          failure};
}

}  // namespace cli

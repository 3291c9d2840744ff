// hddtest status: the tests that run in drives, and the last one of each.
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/drive_tests.h"
#include "cli/json.h"
#include "cli/outcome.h"
#include "cli/output.h"
#include "cli/table.h"
#include "cli/test_json.h"
#include "cli/test_words.h"

namespace cli {
namespace {

using drivetest::DriveStatus;
using drivetest::LookFault;
using drivetest::Outcome;
using drivetest::TestRow;

struct StatusOptions {
  std::vector<std::string> devices;
  std::string type;
  bool wake = false;
};

constexpr const char* kFooter =
    "Looks at the drives and brings the history up to date. Drives in standby are left in\n"
    "peace but with --wake. A test is called stalled when it has made no progress for three\n"
    "times the time that the drive announced, an hour at least: it may still end; 'hddtest\n"
    "stop' ends it.\n"
    "Exit status: 3 if a drive could not be looked at or the result of its last test is not\n"
    "known, else 1 if the last test of one failed, else 2 if one's was aborted, else 0.";

struct Looked {
  ChosenDrive drive;
  DriveStatus status;
  std::optional<TestRow> last;  // the newest that the history has, running or ended

  // Whether anybody tells which drive it is.
  bool is_told() const {
    const auto tells = [](const drivetest::Drive& one) {
      return !one.claimed_identity().empty() || !one.serial_number.empty();
    };
    return tells(status.look.drive) || tells(drive.known);
  }
  // A drive in standby is asked nothing, which is what its user wants.
  bool is_unknown() const {
    const LookFault fault = status.look.fault;
    return !drive.reason.empty() || (fault != LookFault::None && fault != LookFault::Standby);
  }
  std::string reason() const {
    return drive.reason.empty() ? fault_text(status.look) : drive.reason;
  }
};

std::string test_text(const Looked& one, bool has_history) {
  std::string text =
      newest_test_text(one.last, one.status.is_stalled, has_history, drivetest::system_time());
  if (one.status.look.fault == LookFault::Standby)
    return (one.last || (has_history && one.is_told()) ? text : "not known") +
           " (in standby, not looked at)";
  if (!one.is_unknown() && !one.last && !one.status.look.inability.empty())
    return "cannot be tested: " + one.status.look.inability;
  return text + doubt_text(one.status.look);
}

std::string table(const std::vector<Looked>& all, bool has_history, const Output& output) {
  std::vector<std::vector<TableCell>> rows;
  for (const Looked& one : all) {
    if (one.is_unknown()) continue;
    const drivetest::Drive& drive = one.status.look.drive;
    rows.push_back(
        {{one.drive.name},
         {drive.model},
         {drive.serial_number.empty() ? one.drive.known.serial_number : drive.serial_number},
         {test_text(one, has_history), one.last ? colour_of(*one.last) : Colour::None}});
  }
  if (rows.empty()) return "";
  return table_text({{"DEVICE"},
                     {.title = "MODEL", .shortened = 1, .left_out = 2},
                     {.title = "SERIAL", .shortened = 2, .left_out = 1},
                     {"TEST"}},
                    rows, output);
}

Json json_of(const Looked& one, bool has_history) {
  const auto if_running = [&](bool running) {
    const bool is_it = one.last && !one.last->outcome == running;
    return row_json(one.status.look, is_it ? one.last : std::nullopt, has_history);
  };
  Json json = drive_json(one.drive, one.status.look);
  json["running"] = if_running(true);
  json["stalled"] = one.status.is_stalled;
  json["doubtful"] = one.status.look.running && one.status.look.running->is_doubtful;
  json["last"] = if_running(false);
  json["reason"] = text_or_null(one.reason());
  return json;
}

std::string failure(const std::string&, const std::string& reason) {
  Looked none;
  none.drive.reason = reason;
  return dump(Json::array({json_of(none, false)}));
}

int status_of(const Looked& one) {
  if (one.is_unknown()) return kStatusCannot;
  return one.last && one.last->outcome ? cli::status_of(*one.last) : kStatusOk;
}

int status(const StatusOptions& options, bool json) {
  DriveTests tests;
  std::vector<Looked> all;
  std::vector<ChosenDrive> drives = tests.choose(options.devices, options.type, options.wake);
  std::vector<DriveStatus> statuses_of = tests.look_at(drives, options.wake);
  for (std::size_t i = 0; i < drives.size(); ++i)
    all.push_back({std::move(drives[i]), std::move(statuses_of[i]), {}});
  Json array = Json::array();
  std::vector<int> statuses;
  for (Looked& one : all) {
    one.last = tests.newest(one.drive, one.status);
    statuses.push_back(status_of(one));
    if (json) array.push_back(json_of(one, tests.has_history()));
  }
  if (json) {
    standard_output().write(dump(array));
  } else {
    standard_output().write(all.empty() ? "There is no drive on this machine.\n"
                                        : table(all, tests.has_history(), standard_output()));
    for (const Looked& one : all)
      if (one.is_unknown()) complain(one.drive.name + ": not looked at: " + one.reason());
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

// hddtest drives: the drives of the machine, what can be done with each, and what became of it.
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "cli/commands.h"
#include "cli/drive_tests.h"
#include "cli/exit_status.h"
#include "cli/json.h"
#include "cli/looked_drive.h"
#include "cli/looks.h"
#include "cli/offered_drives.h"
#include "cli/output.h"
#include "cli/table.h"
#include "cli/terminal_text.h"
#include "cli/test_words.h"
#include "drivetest/controller.h"

namespace cli {
namespace {

using drivetest::FoundDrive;
using drivetest::TestKind;

struct DrivesOptions {
  bool offered = false;
  bool wake = false;
};

constexpr const char* kFooter =
    "Shows each drive as soon as it has answered, on a terminal slow ones last: which TESTS\n"
    "'hddtest start' can start in it (all: conveyance tests too), and the test that runs, with\n"
    "what remains and who began it, or else the last one with its age and result. What a look\n"
    "shows is kept in the history. Drives in standby are left in peace but with --wake. Below\n"
    "the list stands what to do about a drive that failed, with all that tells which one to\n"
    "pull, or whose test was aborted.\n"
    "\n"
    "--offered asks the module instead which drives it offers to WBEM clients for the short\n"
    "test. That runs hwinfo and smartctl, which changes nothing, takes some seconds and may\n"
    "wake drives, and with SAS or RAID adapters one hwinfo more for each drive and device on\n"
    "them. There TEST says:\n"
    "  ready                         a client can have it tested\n"
    "  test running                  wait for its end; somebody else may have started it\n"
    "  SMART is off                  switch it on with 'smartctl -s on DEVICE'\n"
    "  no SMART, no self-test        the drive, or the way to it, knows none\n"
    "  no permission                 root may ask it\n"
    "  smartctl failed or missing, no answer, no such device, SMART not understood: see what\n"
    "  'smartctl -i DEVICE' and 'hddtest check' say\n"
    "  on USB, micro-flash, behind a RAID controller, beside a RAID volume, not on an onboard\n"
    "  controller, excluded: BIOS or machine type: left out; 'hddtest start' tests it where\n"
    "  smartctl can reach it\n"
    "  not a disk, hwinfo missing    hwinfo does not list it, or is not there\n"
    "  not looked at                 it came while the others were looked at: ask again\n"
    "Exit status: 0, whatever the drives are like; 3 if they cannot be listed. That of\n"
    "'hddtest status' tells whether one has failed.";

TableCell tests_cell(const drivetest::Look& look) {
  TableCell cell;
  if (!look.inability.empty()) return cell;
  std::size_t count = 0;
  for (const TestKind kind : drivetest::kTestKinds) {
    if (!look.abilities[static_cast<std::size_t>(kind)].is_able) continue;
    cell.text += (cell.text.empty() ? "" : " ") + std::string(name_of(kind));
    ++count;
  }
  if (count == drivetest::kTestKinds.size()) cell.brief = "all";
  return cell;
}

std::vector<TableColumn> columns() {
  return {{"DEVICE"},
          {.title = "MODEL", .shortened = 1, .left_out = 5},
          {.title = "SERIAL", .shortened = 2, .left_out = 4},
          {.title = "SIZE", .is_right_aligned = true, .left_out = 2},
          {.title = "TYPE", .left_out = 1},
          {.title = "TESTS", .left_out = 3},
          {"NEWEST TEST"}};
}

std::vector<TableCell> row_of(const LookedDrive& one, bool has_history) {
  const drivetest::Drive& drive = one.status.look.drive;
  const bool is_known = drive.protocol != drivetest::Protocol::Unknown;
  return {{one.drive.shown_name()},
          {drive.model.empty() ? one.drive.known.model : drive.model},
          {one.serial_number()},
          {drive.size ? size_text(*drive.size) : ""},
          {is_known ? std::string(name_of(drive.protocol)) : ""},
          tests_cell(one.status.look),
          {one.is_unknown() ? "not looked at: " + one.reason() : test_text(one, has_history),
           colour_of(one), brief_text(one, has_history)}};
}

// A row as it may come, by what the kernel knows: the columns have their widths before any drive
// has answered.
std::vector<TableCell> expected_row(const std::string& name, const drivetest::Drive& drive) {
  const auto known = [](const std::string& text, const char* usual) {
    return text.empty() ? std::string(usual) : text;
  };
  return {{name},
          {known(drive.model, "EXAMPLE Example Disk 1000")},
          {known(drive.serial_number, "EX00000001")},
          {drive.size ? size_text(*drive.size) : ""},
          {"NVMe"},
          {.text = "short long conveyance", .brief = "short long"},
          {"short aborted 59 minutes ago"}};
}

// In the order of the drives; `show` gets each as soon as it has answered, slow ones late, and
// `begin` all of them before.
std::vector<LookedDrive> look_at_all(
    DriveTests& tests, const DrivesOptions& options,
    const std::function<void(const std::vector<ChosenDrive>&)>& begin,
    const std::function<void(const LookedDrive&)>& show) {
  std::vector<ChosenDrive> drives =
      tests.choose({}, "", options.wake, DriveTests::LooksAhead::InDoubt);
  begin(drives);
  std::vector<LookedDrive> all(drives.size());
  for (Looks looks(tests, drives, options.wake); looks.has_next();) {
    auto [number, status] = looks.next();
    LookedDrive& one = all[number];
    one = looked_drive(tests, std::move(drives[number]), std::move(status));
    drivetest::Drive& told = one.status.look.drive;
    if (!told.size) told.size = one.drive.known.size;
    if (!told.is_rotational) told.is_rotational = one.drive.known.is_rotational;
    show(one);
  }
  return all;
}

// The members that --offered has, null where only it can tell.
Json overview_json(const LookedDrive& one, bool has_history) {
  Json json = json_of(one, has_history);
  json["not_looked_at"] = json["reason"];
  for (const char* name : {"testable", "reason", "smart", "connection", "cause"})
    json[name] = nullptr;
  json["status"] = one.is_unknown() ? "not looked at" : test_text(one, has_history);
  const bool is_known = one.last && !one.last->outcome && one.last->remaining_percent;
  json["remaining"] = is_known ? Json(*one.last->remaining_percent) : Json();
  return json;
}

// The list of the drives, whose titles come before anything is asked that may take its time.
class Overview {
 public:
  explicit Overview(Output& output) : output_(output) {
    // smartctl's scan has yet to find what a controller hides.
    if (drivetest::may_hide_drives()) return;
    std::vector<std::vector<TableCell>> rows;
    for (const FoundDrive& one : drivetest::find_drives({}))
      rows.push_back(expected_row(one.drive.place.device, one.drive));
    begin(rows);
  }

  void begin(const std::vector<ChosenDrive>& drives) {
    std::vector<std::vector<TableCell>> rows;
    for (const ChosenDrive& one : drives)
      rows.push_back(expected_row(one.shown_name(), one.seen ? one.seen->look.drive : one.known));
    begin(rows);
  }

  void show(const LookedDrive& one, bool has_history) {
    output_.write(table_->row(row_of(one, has_history)));
  }

 private:
  void begin(const std::vector<std::vector<TableCell>>& rows) {
    if (table_ || rows.empty()) return;
    table_.emplace(columns(), rows, output_);
    output_.write(table_->titles());
  }

  Output& output_;
  std::optional<Table> table_;
};

int overview(const DrivesOptions& options, bool json) {
  DriveTests tests;
  Output& output = standard_output();
  if (json) {
    Json array = Json::array();
    const auto begin = [](const std::vector<ChosenDrive>&) {};
    for (const LookedDrive& one : look_at_all(tests, options, begin, [](const LookedDrive&) {}))
      array.push_back(overview_json(one, tests.has_history()));
    output.write(dump(array));
  } else {
    Overview list(output);
    const auto all = look_at_all(
        tests, options, [&](const std::vector<ChosenDrive>& drives) { list.begin(drives); },
        [&](const LookedDrive& one) { list.show(one, tests.has_history()); });
    output.write(advice_text(all, tests.has_history(), output));
    // A narrow terminal has not shown why.
    for (const LookedDrive& one : all)
      if (one.is_unknown() && output.columns() > 0)
        complain(one.drive.shown_name() + ": not looked at: " + one.reason());
    if (all.empty()) output.write("There is no drive on this machine.\n");
  }
  tests.tell_of_history();
  return kStatusOk;
}

}  // namespace

Command drives_command(const Invocation& invocation) {
  auto options = std::make_shared<DrivesOptions>();
  return {"drives",
          "Lists the drives, their tests, and the newest of each.",
          kFooter,
          {{"--offered", &options->offered, "Which drives WBEM clients are offered, and why not"},
           {"--wake", &options->wake, "Ask drives in standby too, which wakes them"}},
          [&invocation, options] {
            return options->offered ? show_offered_drives(invocation)
                                    : overview(*options, invocation.json);
          }};
}

}  // namespace cli

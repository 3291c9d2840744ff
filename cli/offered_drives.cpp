#include "cli/offered_drives.h"

#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/drive_list.h"
#include "cli/json.h"
#include "cli/manager.h"
#include "cli/output.h"
#include "cli/table.h"
#include "cli/terminal_text.h"
#include "cli/waiting_line.h"

namespace cli {
namespace {

// The words of the list as one word for programs; empty when a test could begin.
std::string cause_of(const ListedDrive& drive) {
  if (!drive.testable()) return std::string(drive.left_out_cause());
  return drive.look && !drive.ready() ? std::string(readiness_cause(drive.look->readiness)) : "";
}

Json json_of(const ListedDrive& drive) {
  const auto text = [](const std::string& value) { return value.empty() ? Json() : Json(value); };
  Json remaining;  // null
  if (drive.look && drive.look->remaining) remaining = *drive.look->remaining;
  return {{"device", drive.device},
          {"testable", drive.testable()},
          {"reason", text(drive.reason)},
          {"smart", drive.smart ? Json(*drive.smart) : Json()},
          {"model", text(drive.model)},
          {"serial", text(drive.serial)},
          {"size", drive.bytes ? Json(*drive.bytes) : Json()},
          {"connection", text(drive.connection)},
          {"status", drive.words()},
          {"cause", text(cause_of(drive))},
          {"remaining", remaining}};
}

std::string table(const std::vector<ListedDrive>& drives, const Output& output) {
  std::vector<std::vector<TableCell>> rows;
  for (const ListedDrive& drive : drives)
    rows.push_back({{drive.device},
                    {drive.bytes ? size_text(*drive.bytes) : ""},
                    {drive.model},
                    {drive.serial},
                    {drive.connection},
                    {drive.words(), drive.ready() ? Colour::Green : Colour::None}});
  return table_text({{"DEVICE"},
                     {.title = "SIZE", .is_right_aligned = true, .left_out = 3},
                     {.title = "MODEL", .shortened = 1, .left_out = 4},
                     {.title = "SERIAL", .shortened = 3, .left_out = 2},
                     {.title = "CONNECTION", .shortened = 2, .left_out = 1},
                     {"TEST"}},
                    rows, output);
}

// What is missing in the list, and who would see it.
void tell_of_permission(const std::vector<ListedDrive>& drives) {
  const bool hidden = std::any_of(drives.begin(), drives.end(), [](const ListedDrive& drive) {
    return drive.look && drive.look->readiness == Readiness::NoPermission;
  });
  if (!hidden) return;
  complain(geteuid() != 0 ? "root sees more: whole names, serial numbers, and what can be tested; "
                            "'sudo hddtest drives --offered'"
                          : "this container or service may not ask all drives; give it "
                            "CAP_SYS_RAWIO and the right to open them");
}

std::vector<ListedDrive> find_drives(broker::ObjectManager& manager, const Places& places) {
  // A line that is written over needs the terminal for itself. Lines of the log would stand in the
  // middle of it, and where the list goes elsewhere, errors may be collected as well.
  const bool show = standard_output().is_terminal() && log_file(places) != "-";
  WaitingLine line(standard_error(), "looking for drives", show);
  return list_drives(manager, true, [&](const std::string& doing) { line.say(doing); });
}

}  // namespace

int show_offered_drives(const Invocation& invocation) {
  const Places places = find_places(invocation.data);
  const auto manager = make_manager(places);
  const std::vector<ListedDrive> found = find_drives(*manager, places);
  Output& output = standard_output();
  if (invocation.json) {
    Json array = Json::array();
    for (const ListedDrive& drive : found) array.push_back(json_of(drive));
    output.write(dump(array));
  } else if (found.empty()) {
    output.write("There is no drive on this machine.\n");
  } else {
    output.write(table(found, output));
  }
  tell_of_permission(found);
  return kStatusOk;
}

}  // namespace cli

// hddtest drives: the drives of the machine, and which can be tested.

#include <algorithm>
#include <array>

#include "cli/commands.h"
#include "cli/drive_list.h"
#include "cli/failure.h"
#include "cli/json.h"
#include "cli/manager.h"
#include "cli/output.h"
#include "cli/text.h"

namespace cli {
namespace {

constexpr const char* footer =
    "Runs hwinfo and 'smartctl -i', which changes nothing and takes some seconds, and with SAS or\n"
    "RAID adapters one more for each drive and device on them. SMART is 'yes' where a test would\n"
    "find it switched on, and '-' where smartctl did not come to know the drive. A drive is not\n"
    "testable behind a RAID adapter (RAID) or on USB, as micro-flash, where hwinfo does not list\n"
    "it (not a disk) or is not there (hwinfo missing), on a machine of an excluded type, or when\n"
    "it came while the others were looked at (not looked at).\n"
    "Exit status: 0, or 3 if the drives cannot be listed.";

Json json_of(const Drive& drive) {
  const auto text = [](const std::string& value) { return value.empty() ? Json() : Json(value); };
  return {{"device", drive.device},
          {"testable", drive.testable()},
          {"reason", text(drive.reason)},
          {"smart", drive.smart ? Json(*drive.smart) : Json()},
          {"model", text(drive.model)},
          {"serial", text(drive.serial)},
          {"size", drive.bytes ? Json(*drive.bytes) : Json()},
          {"connection", text(drive.connection)}};
}

constexpr std::size_t column_count = 7;
constexpr std::size_t size_column = 1;
constexpr std::size_t model_column = 2;
constexpr std::size_t serial_column = 3;
constexpr std::size_t connection_column = 4;
constexpr std::size_t gap = 2;
using Row = std::array<std::string, column_count>;

Row row_of(const Drive& drive) {
  Row row = {drive.device,
             drive.bytes ? size_text(*drive.bytes) : "",
             drive.model,
             drive.serial,
             drive.connection,
             !drive.smart   ? ""
             : *drive.smart ? "yes"
                            : "no",
             drive.testable() ? "testable" : drive.reason};
  for (std::string& text : row) text = text.empty() ? "-" : escape(text);
  return row;
}

// columns: the terminal's width, 0 when it is none.
std::string table(const std::vector<Drive>& drives, const Output& output) {
  std::vector<Row> rows = {{"DEVICE", "SIZE", "MODEL", "SERIAL", "CONNECTION", "SMART", "TEST"}};
  for (const Drive& drive : drives) rows.push_back(row_of(drive));
  std::array<std::size_t, column_count> widths{};
  std::size_t all = gap * (column_count - 1);
  for (std::size_t column = 0; column < column_count; ++column) {
    for (const Row& row : rows) widths[column] = std::max(widths[column], columns_of(row[column]));
    all += widths[column];
  }
  // Where the terminal is too narrow, these are shortened, one after the other.
  const std::size_t columns = output.columns() > 0 ? output.columns() : all;
  for (const std::size_t column : {model_column, connection_column, serial_column}) {
    constexpr std::size_t least = 8;
    const std::size_t spare = widths[column] - std::min(widths[column], least);
    const std::size_t taken = std::min(spare, all - std::min(all, columns));
    widths[column] -= taken;
    all -= taken;
  }
  std::string text;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (std::size_t column = 0; column < column_count; ++column) {
      const std::string cell = elide(rows[i][column], widths[column]);
      const std::string blanks(widths[column] - columns_of(cell), ' ');
      if (column == column_count - 1) {
        const bool testable = i > 0 && drives[i - 1].testable();
        text += output.coloured(cell, testable ? Colour::green : Colour::none) + "\n";
      } else {
        text += column == size_column ? blanks + cell : cell + blanks;
        text.append(gap, ' ');
      }
    }
  }
  return text;
}

int drives(const Invocation& invocation) {
  const auto manager = make_manager(find_places(invocation.data));
  const std::vector<Drive> found = list_drives(*manager, true);
  Output& output = standard_output();
  if (invocation.json) {
    Json array = Json::array();
    for (const Drive& drive : found) array.push_back(json_of(drive));
    output.write(dump(array));
  } else if (found.empty()) {
    output.write("There is no drive on this machine.\n");
  } else {
    output.write(table(found, output));
  }
  return status_ok;
}

}  // namespace

Command drives_command(const Invocation& invocation) {
  return {"drives", "Lists the drives, and which can be tested.", footer, {}, [&invocation] {
            return drives(invocation);
          }};
}

}  // namespace cli

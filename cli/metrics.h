// The metrics of this machine's drives.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cli/drive_tests.h"
#include "cli/metrics_text.h"

namespace cli {

// Drives of this machine, now or before, with their tests.
struct MeasuredDrives {
  std::vector<MeasuredDrive> drives;
  std::size_t errors = 0;       // faults of the history, which standard error has told
  std::size_t dated_ahead = 0;  // tests, by a clock that was wrong; standard error has told
  bool knows_tests = true;      // false: the history cannot be read, and no drive has tests here
};

// Looks at all drives but those in standby, which brings the history up to date. What goes wrong
// is told on standard error. Blocks for as long as the drives take to answer.
MeasuredDrives measured_drives(DriveTests& tests);

// Looks at all drives but those in standby, which brings the history up to date, and tells of them
// and of those that are gone. What goes wrong is counted there and told on standard error. Throws
// CommandFailure where the history cannot be read: without it every drive would look as if none of
// its tests had passed or failed. Blocks for as long as the drives take to answer.
std::string measure(DriveTests& tests);

}  // namespace cli

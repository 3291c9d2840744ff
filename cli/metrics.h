// The metrics of this machine's drives.
#pragma once

#include <string>

#include "cli/drive_tests.h"

namespace cli {

// Looks at all drives but those in standby, which brings the history up to date, and tells of them
// and of those that are gone. What goes wrong is counted there and told on standard error. Blocks
// for as long as the drives take to answer.
std::string measure(DriveTests& tests);

}  // namespace cli

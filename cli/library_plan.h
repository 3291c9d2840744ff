// The drives of a call of "hddtest run" that the module does not test: those that it leaves out and
// those that it does not know, as the library finds them.
#pragma once

#include <string>
#include <vector>

#include "cli/run_plan.h"

namespace cli {

class DriveTests;

// The named drives, or all without names; nothing is asked of the module.
std::vector<PlannedDrive> plan_by_library(DriveTests& tests, const std::vector<std::string>& names,
                                          const std::string& type);

// Adds to the module's plan how the library tests each drive that the module leaves out and the
// library knows. A name that only the library knows, such as a serial number, may be that of a
// drive of the module's. `drives` is what the module's plan was made of.
std::vector<PlannedDrive> with_library(std::vector<PlannedDrive> plan, DriveTests& tests,
                                       const std::vector<ListedDrive>& drives, bool every_drive);

}  // namespace cli

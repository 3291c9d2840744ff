// What "hddtest run" prints of its drives.
#pragma once

#include <string>
#include <vector>

#include "cli/drive_run.h"
#include "cli/output.h"

namespace cli {

// All that a user who named the drive wants to know: several lines.
std::string full_report(const DriveResult& result, const Output& output);

// One line of many.
std::string short_report(const DriveResult& result, const Output& output);

// How many ended how, and each different record of those that did not pass: what to do.
std::string summary(const std::vector<DriveResult>& results, std::size_t left_out,
                    const Output& output);

Json run_json(const DriveResult& result);

}  // namespace cli

// What "hddtest run" prints of its drives.
#pragma once

#include <string>
#include <vector>

#include "cli/json.h"
#include "cli/output.h"

namespace cli {

struct DriveResult;

// All that a user who named the drive wants to know: several lines. alone: with what to do, which
// otherwise comes once for all drives; see advice().
std::string full_report(const DriveResult& result, bool alone, const Output& output);

// One line of many.
std::string short_report(const DriveResult& result, const Output& output);

// The line for a drive without outcome, not escaped.
std::string complaint(const DriveResult& result);

// How many drives ended in which way. left_out: the number of further drives that were left out.
std::string summary(const std::vector<DriveResult>& results, std::size_t left_out);

// What to do about the drives that did not pass, each advice once, behind the drives that it is
// for.
std::string advice(const std::vector<DriveResult>& results, const Output& output);

// The drive as an object of the array that --json prints.
Json run_json(const DriveResult& result);

// What kept a command from its answer: the array that --json prints of every command, with one
// object of the same form whose device is null.
Json failure_json(const std::string& cause, const std::string& reason);

}  // namespace cli

// What "hddtest run" prints of its drives.
#pragma once

#include <string>
#include <vector>

#include "cli/follow.h"
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

// Why a drive has no outcome when the command is ended.
inline constexpr const char* kReasonGoesOn = "interrupted; the test goes on in the drive";
inline constexpr const char* kReasonNotBegun = "interrupted before its test began";

// "; the test goes on in the drive; 'hddtest watch /dev/sda' shows it, ...": what is said of the
// drives whose tests go on when the command is ended; empty without. The names are those of
// name_in_command().
std::string go_on_words(const std::vector<std::string>& names);

// The drive as an object of the array that --json prints.
Json run_json(const DriveResult& result);

// How far the drive's test is, as a line of --json-lines. device: as the user named it.
Json progress_json(const std::string& device, const std::string& type, const TestProgress& progress,
                   drivetest::Time now);

// What kept a command from its answer: the array that --json prints of every command, with one
// object of the same form whose device is null.
Json failure_json(const std::string& cause, const std::string& reason);

}  // namespace cli

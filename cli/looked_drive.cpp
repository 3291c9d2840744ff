#include "cli/looked_drive.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/pull.h"
#include "cli/terminal_text.h"
#include "cli/test_advice.h"
#include "cli/test_json.h"
#include "cli/test_words.h"

namespace cli {

using drivetest::LookFault;
using drivetest::Outcome;
using drivetest::TestRow;

constexpr const char* kUnable = "cannot be tested";

bool LookedDrive::is_unknown() const {
  const LookFault fault = status.look.fault;
  return !drive.reason.empty() || (fault != LookFault::None && fault != LookFault::Standby);
}

bool LookedDrive::is_in_standby() const { return status.look.fault == LookFault::Standby; }

bool LookedDrive::is_told() const {
  const auto tells = [](const drivetest::Drive& one) {
    return !one.claimed_identity().empty() || !one.serial_number.empty();
  };
  return tells(status.look.drive) || tells(drive.known);
}

std::string LookedDrive::reason() const {
  return drive.reason.empty() ? fault_text(status.look) : drive.reason;
}

std::string LookedDrive::serial_number() const {
  const std::string& told = status.look.drive.serial_number;
  return told.empty() ? drive.known.serial_number : told;
}

std::string LookedDrive::advice() const {
  if (!last || is_unknown()) return {};
  drivetest::Drive told = status.look.drive;
  told.place = drive.place;
  told.serial_number = serial_number();
  return test_advice(told, *last);
}

std::string test_text(const LookedDrive& one, bool has_history) {
  const std::optional<TestRow>& last = one.last;
  std::string text =
      newest_test_text(last, one.status.is_stalled, has_history, drivetest::system_time());
  // A drive in standby does not test itself.
  if (one.is_in_standby() && last && !last->outcome)
    return text + ", at the last look; in standby now, which ends tests: --wake asks it";
  if (one.is_in_standby())
    return (last || (has_history && one.is_told()) ? text : "not known") +
           " (in standby, not looked at)";
  if (!one.is_unknown() && !last && !one.status.look.inability.empty())
    return kUnable + (": " + one.status.look.inability);
  return text + doubt_text(one.status.look);
}

std::string brief_text(const LookedDrive& one, bool has_history) {
  if (one.is_unknown()) return "not looked at";
  if (one.is_in_standby()) return "in standby";
  if (!one.last && !one.status.look.inability.empty()) return kUnable;
  return brief_test_text(one.last, one.status.is_stalled, has_history, drivetest::system_time());
}

std::string advice_text(const std::vector<LookedDrive>& drives, bool has_history,
                        const Output& output) {
  std::string text;
  for (const LookedDrive& one : drives) {
    const bool is_unable = brief_text(one, has_history) == kUnable;
    if (is_unable && output.columns() > 0)
      text += "\n" +
              labelled("", one.drive.name + ": " + test_text(one, has_history), output.columns());
    if (const std::string what = one.advice(); !what.empty()) {
      const std::string test = output.columns() > 0 ? test_text(one, has_history) + "; " : "";
      text += "\n" +
              labelled("", fmt::format("{}: {}{}", one.drive.name, test, what), output.columns());
    }
  }
  return text;
}

Json json_of(const LookedDrive& one, bool has_history) {
  const std::optional<TestRow>& last = one.last;
  const auto if_running = [&](bool running) {
    const bool is_it = last && !last->outcome == running;
    return row_json(one.status.look, is_it ? last : std::nullopt, has_history);
  };
  const bool has_failed = !one.is_unknown() && last && last->outcome == Outcome::Failed;
  Json json = drive_json(one.drive, one.status.look);
  json["running"] = if_running(true);
  json["stalled"] = one.status.is_stalled;
  json["doubtful"] = one.status.look.running && one.status.look.running->is_doubtful;
  json["last"] = if_running(false);
  json["reason"] = text_or_null(one.reason());
  json["advice"] = text_or_null(one.advice());
  json["bay"] = has_failed ? bay_json(one.drive.place) : Json();
  return json;
}

}  // namespace cli

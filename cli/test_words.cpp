#include "cli/test_words.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <filesystem>

#include "cli/drive_look.h"
#include "cli/exit_status.h"
#include "cli/failure.h"

namespace cli {

using drivetest::Outcome;
using drivetest::Source;
using drivetest::TestRow;
using drivetest::Time;
using std::chrono::days;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

namespace {

std::string counted(std::int64_t number, const char* unit) {
  return fmt::format("{} {}{} ago", number, unit, number == 1 ? "" : "s");
}

// "aborted: by the host", where the cause says again that it was aborted.
std::string cause_text(const TestRow& row) {
  constexpr std::string_view kAborted = "aborted ";
  const bool repeats = row.outcome == Outcome::Aborted && row.cause.starts_with(kAborted);
  return repeats ? row.cause.substr(kAborted.size()) : row.cause;
}

// When it was, as far as that is known.
std::string when(const TestRow& row, Time now) {
  if (row.ended) return " " + age_text(now - *row.ended);
  if (row.hours) return fmt::format(" at power-on hour {}", *row.hours);
  return "";
}

}  // namespace

std::string age_text(seconds age) {
  if (age < seconds(-60)) return "in the future";
  if (age < minutes(1)) return "just now";
  if (age < hours(1)) return counted(age / minutes(1), "minute");
  if (age < days(1)) return counted(age / hours(1), "hour");
  return counted(age / days(1), "day");
}

std::string local_time_text(Time time) {
  const std::time_t number = time.time_since_epoch().count();
  std::tm local{};
  localtime_r(&number, &local);
  char text[32];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &local);
  return std::string(text, length);
}

drivetest::TestKind kind_named(const std::string& name, const std::vector<std::string>& devices) {
  // Otherwise 'start long /dev/sda' would start a short test in /dev/sda.
  for (const std::string& device : devices)
    if (drivetest::test_kind_named(device))
      throw WrongCommandLine(
          fmt::format("'{0}' is no drive; '--test {0}' says which test", device));
  if (const auto kind = drivetest::test_kind_named(name)) return *kind;
  throw WrongCommandLine("there is no test '" + name + "'; --test takes short, long or conveyance");
}

namespace {

bool needs_type(const std::string& name, const drivetest::Place& place) {
  return std::filesystem::path(name).lexically_normal() == place.device &&
         !drivetest::member_type(place.type).empty();
}

}  // namespace

std::string shown_name(const std::string& name, const drivetest::Place& place) {
  return needs_type(name, place) ? name + " " + place.type : name;
}

std::string name_in_command(const std::string& name, const drivetest::Place& place,
                            const std::string& given_type) {
  const std::string needed = needs_type(name, place) ? place.type : "";
  const std::string& type = given_type.empty() ? needed : given_type;
  if (type.empty()) return name_in_command(name);
  return "--type " + (name_in_command(type) == type ? type : "TYPE") + " " + name_in_command(name);
}

std::string kind_text(const TestRow& row) {
  return row.kind ? std::string(name_of(*row.kind)) + " test" : "test";
}

std::string result_word(const TestRow& row) {
  if (!row.outcome) return "running";
  return *row.outcome == Outcome::Unknown ? "result not known" : std::string(name_of(*row.outcome));
}

std::string outcome_text(const TestRow& row) {
  std::string text = result_word(row);
  if (!row.outcome || *row.outcome == Outcome::Passed) return text;
  if (!row.cause.empty()) text += ": " + cause_text(row);
  if (row.segment) text += fmt::format(", segment {}", *row.segment);
  if (row.first_bad_block) text += fmt::format(", first bad block {}", *row.first_bad_block);
  return text;
}

std::string starter_text(const TestRow& row) {
  switch (row.source) {
    case Source::Library:
      return "hddtest";
    case Source::Module:
      return "the module";
    case Source::Other:
      break;
  }
  return "another program or person";
}

std::string owned_test_text(const TestRow& row, bool has_history) {
  return kind_text(row) + (has_history ? " of " + starter_text(row) : "");
}

std::string doubt_text(const drivetest::Look& look) {
  const bool is_doubtful = look.running && look.running->is_doubtful;
  return is_doubtful
             ? "; the drive says that a test is at its end, which it also says when none runs"
             : "";
}

std::string fault_text(const drivetest::Look& look) {
  if (look.fault == drivetest::LookFault::Standby)
    return "it is in standby; --wake asks it all the same";
  if (look.fault == drivetest::LookFault::NotPermitted)
    return look.reason + "; " + permission_advice(geteuid() == 0);
  return look.reason;
}

std::string minutes_text(unsigned number) {
  if (number == 1) return "1 minute";
  if (number < 120) return fmt::format("{} minutes", number);
  return fmt::format("{} h {} min", number / 60, number % 60);
}

Colour colour_of(const TestRow& row) {
  if (!row.outcome) return Colour::None;
  if (*row.outcome == Outcome::Passed) return Colour::Green;
  return *row.outcome == Outcome::Failed ? Colour::Red : Colour::Yellow;
}

int status_of(const TestRow& row) {
  if (!row.outcome) return kStatusOk;
  switch (*row.outcome) {
    case Outcome::Passed:
      return kStatusOk;
    case Outcome::Failed:
      return kStatusFailed;
    case Outcome::Aborted:
      return kStatusAborted;
    case Outcome::Unknown:
      break;
  }
  return kStatusCannot;
}

int gravest(const std::vector<int>& statuses) {
  for (const int status : {kStatusCannot, kStatusFailed, kStatusAborted})
    if (std::find(statuses.begin(), statuses.end(), status) != statuses.end()) return status;
  return kStatusOk;
}

std::string newest_test_text(const std::optional<TestRow>& row, bool is_stalled, bool has_history,
                             Time now) {
  if (!row) return has_history ? "no test known" : "no test runs";
  const bool is_of_others = has_history && row->source == Source::Other;
  std::string text = kind_text(*row);
  if (row->outcome) {
    const std::string outcome = result_word(*row);
    return text + " " + outcome + when(*row, now) + outcome_text(*row).substr(outcome.size()) +
           (is_of_others ? " (by " + starter_text(*row) + ")" : "");
  }
  text += is_stalled ? " stalled" : " running";
  if (row->remaining_percent) text += fmt::format(", {}% remaining", *row->remaining_percent);
  if (is_of_others) text += ", started by " + starter_text(*row);
  if (is_stalled) text += "; it may still end, and 'hddtest stop' ends it";
  return text;
}

std::string brief_test_text(const std::optional<TestRow>& row, bool is_stalled, bool has_history,
                            Time now) {
  if (!row) return newest_test_text(row, is_stalled, has_history, now);
  const std::string text(row->kind ? name_of(*row->kind) : "test");
  if (row->outcome) {
    return text + " " + result_word(*row) + when(*row, now);
  }
  std::string brief = text + (is_stalled ? " stalled" : "");
  brief +=
      row->remaining_percent ? fmt::format(", {}% remaining", *row->remaining_percent) : " running";
  return brief + (has_history && row->source == Source::Other ? ", others" : "");
}

}  // namespace cli

#include "cli/metrics_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <set>
#include <string_view>
#include <utility>

#include "platform/utf8.h"
#include "platform/words.h"

namespace cli {

using drivetest::Drive;
using drivetest::LookFault;
using drivetest::Outcome;
using drivetest::TestRow;

namespace {

constexpr std::array kOutcomes = {Outcome::Passed, Outcome::Failed, Outcome::Aborted,
                                  Outcome::Unknown};

// Valid UTF-8 without controls and changes of the direction of writing, which would mislead those
// who read a dashboard or a message. A collector may take NUL for the end of the file.
std::string plain(std::string_view text) {
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  std::string result;
  while (!text.empty()) {
    const auto [character, length] = platform::first_utf8(text);
    const bool is_kept = character == '\n' || !platform::misleads(character);
    result += is_kept ? text.substr(0, length) : kReplacement;
    text.remove_prefix(length);
  }
  return result;
}

// As a value of a label stands between its quotes.
std::string label_text(std::string_view text) {
  std::string result;
  for (const char letter : plain(text)) {
    if (letter == '\\' || letter == '"') result += '\\';
    if (letter == '\n')
      result += "\\n";
    else
      result += letter;
  }
  return result;
}

// The identity on one line.
std::string label_of(std::string identity) {
  std::replace(identity.begin(), identity.end(), '\n', ' ');
  const std::string label = plain(platform::trim(identity));
  return label.empty() ? "unknown" : label;
}

// A drive whose label is its own.
struct LabelledDrive {
  const MeasuredDrive& drive;
  std::string label;
};

struct Label {
  std::string_view name;
  std::string value;
};

// The samples of one metric and one drive.
class Samples {
 public:
  Samples(std::string& text, std::string_view metric, const std::string& drive)
      : text_(text), metric_(metric), drive_(drive) {}

  template <class Number>
  void add(Number value, std::initializer_list<Label> labels = {}) {
    text_ += fmt::format("{}{{drive=\"{}\"", metric_, label_text(drive_));
    for (const Label& label : labels)
      text_ += fmt::format(",{}=\"{}\"", label.name, label_text(label.value));
    text_ += fmt::format("}} {}\n", value);
  }

 private:
  std::string& text_;
  std::string_view metric_;
  const std::string& drive_;
};

int number_of(bool is_so) { return is_so ? 1 : 0; }

// What the drive says of itself now; in standby it does not say all.
std::string told(const MeasuredDrive& one, std::string Drive::*text) {
  const std::string& known = one.drive.*text;
  return one.look && !(one.look->drive.*text).empty() ? one.look->drive.*text : known;
}

void write_info(Samples& samples, const MeasuredDrive& one) {
  const bool says_protocol = one.look && one.look->drive.protocol != drivetest::Protocol::Unknown;
  const auto protocol = says_protocol ? one.look->drive.protocol : one.drive.protocol;
  samples.add(1, {{"device", one.look ? one.look->drive.place.device : ""},
                  {"serial", told(one, &Drive::serial_number)},
                  {"model", told(one, &Drive::model)},
                  {"firmware", told(one, &Drive::firmware)},
                  {"protocol", std::string(name_of(protocol))}});
}

void write_present(Samples& samples, const MeasuredDrive& one) {
  samples.add(number_of(one.look || one.is_known_by_place));
}

void write_testable(Samples& samples, const MeasuredDrive& one) {
  if (const auto testable = is_testable(one)) samples.add(number_of(*testable));
}

// Nobody knows what a drive does that cannot be asked.
bool cannot_be_asked(const MeasuredDrive& one) {
  return one.look && one.look->fault != LookFault::None && one.look->fault != LookFault::Standby;
}

// Nothing runs in a drive that is gone or rests, whatever its row says.
const TestRow* running_test(const MeasuredDrive& one) {
  if (one.look && one.look->fault != LookFault::None) return nullptr;
  const auto running = std::find_if(one.tests.begin(), one.tests.end(),
                                    [](const TestRow& row) { return !row.outcome; });
  return one.look && running != one.tests.end() ? &*running : nullptr;
}

void write_running(Samples& samples, const MeasuredDrive& one) {
  if (!cannot_be_asked(one)) samples.add(number_of(running_test(one) != nullptr));
}

void write_remaining(Samples& samples, const MeasuredDrive& one) {
  const TestRow* const running = running_test(one);
  if (running && running->remaining_percent)
    samples.add(static_cast<double>(*running->remaining_percent) / 100);
}

void write_stalled(Samples& samples, const MeasuredDrive& one) {
  samples.add(number_of(one.is_stalled));
}

// Tests that only others start have no kind.
constexpr std::array<std::string_view, 4> kTests = {"short", "long", "conveyance", "other"};

std::string_view test_of(const TestRow& row) {
  return row.kind ? name_of(*row.kind) : kTests.back();
}

// Calls write(label, row) with the newest test of each kind that `is_meant` and has ended.
template <class Meant, class Write>
void for_newest(const MeasuredDrive& one, const Meant& is_meant, const Write& write) {
  for (const std::string_view test : kTests) {
    const auto newest = std::find_if(one.tests.begin(), one.tests.end(), [&](const TestRow& row) {
      return row.outcome && test_of(row) == test && is_meant(row);
    });
    if (newest != one.tests.end()) write(Label{"test", std::string(test)}, *newest);
  }
}

constexpr auto kAny = [](const TestRow&) { return true; };

void write_outcome(Samples& samples, const MeasuredDrive& one) {
  for_newest(one, kAny, [&](const Label& test, const TestRow& row) {
    for (const Outcome outcome : kOutcomes)
      samples.add(number_of(row.outcome == outcome),
                  {test, {"outcome", std::string(name_of(outcome))}});
  });
}

// A test that was aborted, or whose outcome is not known, takes nothing back.
void write_failure(Samples& samples, const MeasuredDrive& one) {
  for_newest(one, kAny, [&](const Label& test, const TestRow& last) {
    const auto telling = std::find_if(one.tests.begin(), one.tests.end(), [&](const TestRow& row) {
      const bool has_failed = row.outcome == Outcome::Failed && row.kind == last.kind;
      return has_failed || row.answers_failure(last.kind);
    });
    const bool is_open = telling != one.tests.end() && telling->outcome == Outcome::Failed;
    samples.add(number_of(is_open), {test});
  });
}

std::int64_t seconds_of(drivetest::Time time) { return time.time_since_epoch().count(); }

void write_end(Samples& samples, const MeasuredDrive& one) {
  for_newest(one, kAny, [&](const Label& test, const TestRow& row) {
    if (row.ended) samples.add(seconds_of(*row.ended), {test});
  });
}

void write_duration(Samples& samples, const MeasuredDrive& one) {
  for_newest(one, kAny, [&](const Label& test, const TestRow& row) {
    if (const auto duration = row.duration()) samples.add(duration->count(), {test});
  });
}

void write_passed(Samples& samples, const MeasuredDrive& one) {
  const auto is_meant = [](const TestRow& row) {
    return row.outcome == Outcome::Passed && row.ended;
  };
  for_newest(one, is_meant, [&](const Label& test, const TestRow& row) {
    samples.add(seconds_of(*row.ended), {test});
  });
}

void write_tried(Samples& samples, const MeasuredDrive& one) {
  for (const std::string_view test : kTests) {
    const auto has_passed = [&](const TestRow& row) {
      return row.outcome == Outcome::Passed && row.ended && test_of(row) == test;
    };
    if (std::any_of(one.tests.begin(), one.tests.end(), has_passed)) continue;
    const auto first = std::find_if(one.tests.rbegin(), one.tests.rend(), [&](const TestRow& row) {
      return row.outcome && test_of(row) == test && (row.started || row.ended);
    });
    if (first != one.tests.rend())
      samples.add(seconds_of(first->started ? *first->started : *first->ended),
                  {{"test", std::string(test)}});
  }
}

void write_total(Samples& samples, const MeasuredDrive& one) {
  for (const Outcome outcome : kOutcomes)
    samples.add(std::count_if(one.tests.begin(), one.tests.end(),
                              [&](const TestRow& row) { return row.outcome == outcome; }),
                {{"outcome", std::string(name_of(outcome))}});
}

struct Metric {
  std::string_view name;
  std::string_view type;
  std::string_view help;
  void (*write)(Samples& samples, const MeasuredDrive& drive);
};

constexpr Metric kMetrics[] = {
    {"hddtest_drive_info", "gauge",
     "A drive of this machine, now or before. The device is empty where the drive is gone.",
     write_info},
    {"hddtest_drive_present", "gauge", "Whether the drive is there.", write_present},
    {"hddtest_drive_testable", "gauge", "Whether a self-test can be started in the drive.",
     write_testable},
    {"hddtest_test_running", "gauge", "Whether a self-test runs in the drive.", write_running},
    {"hddtest_test_remaining_ratio", "gauge", "What is left of the test that runs, 0 to 1.",
     write_remaining},
    {"hddtest_test_stalled", "gauge",
     "Whether the test that runs has made no progress for three times the announced time, or for "
     "three days where none is announced.",
     write_stalled},
    {"hddtest_last_test_outcome", "gauge", "1 for the outcome of the last test that has ended.",
     write_outcome},
    {"hddtest_failure_open", "gauge",
     "Whether a test has failed, and none that makes up for it has passed since.", write_failure},
    {"hddtest_last_test_end_timestamp_seconds", "gauge",
     "When the last test was seen to have ended.", write_end},
    {"hddtest_last_test_duration_seconds", "gauge",
     "From the start of the last test until its end was seen.", write_duration},
    {"hddtest_last_passed_timestamp_seconds", "gauge",
     "When the last test that passed was seen to have ended.", write_passed},
    {"hddtest_tried_since_timestamp_seconds", "gauge",
     "When the first test was begun, where none is known to have passed.", write_tried},
    {"hddtest_tests_total", "counter", "Tests that are kept in the history and have ended.",
     write_total},
};

void write_head(std::string& text, std::string_view name, std::string_view type,
                std::string_view help) {
  text += fmt::format("# HELP {0} {2}\n# TYPE {0} {1}\n", name, type, help);
}

// Two drives may say the same of themselves. Series have to differ all the same. The
// caller, which has chosen the drives, tells of those that are known by their places.
std::vector<LabelledDrive> labelled(const std::vector<MeasuredDrive>& drives,
                                    std::vector<std::string>& clashes) {
  std::vector<LabelledDrive> all;
  std::set<std::string> taken;
  for (const MeasuredDrive& one : drives) {
    const std::string wanted = label_of(one.identity);
    std::string label = wanted;
    for (int number = 2; !taken.insert(label).second; ++number)
      label = fmt::format("{} ({})", wanted, number);
    if (label != wanted)
      clashes.push_back(fmt::format(
          "{}: another drive has the label '{}'; the label is now '{}'",
          one.look ? one.look->drive.place.device : "a drive that is gone", wanted, label));
    all.push_back({one, label});
  }
  return all;
}

std::string claim_of(const MeasuredDrive& one) {
  return one.identity.substr(0, one.identity.rfind("\nat "));
}

// Whether another drive that is here claims to be this one, or may: one in standby does not say.
bool is_claimed_by_others(const MeasuredDrive& one, const std::vector<MeasuredDrive>& drives) {
  if (!one.look || !one.look->drive.shares_identity) return false;
  const std::string claim = claim_of(one);
  return std::any_of(drives.begin(), drives.end(), [&](const MeasuredDrive& other) {
    if (&other == &one || !other.look) return false;
    const std::string other_claim = claim_of(other);
    const bool is_silent = other_claim.empty() && other.look->fault != LookFault::None;
    return is_silent || other_claim == claim;
  });
}

}  // namespace

// A drive that nobody can ask has to become overdue like any other: else it would be forgotten.
std::optional<bool> is_testable(const MeasuredDrive& one) {
  if (!one.look) return one.is_known_by_place ? std::nullopt : std::optional(false);
  if (one.look->fault != LookFault::None) {
    const bool rests = one.look->fault == LookFault::Standby;
    const bool has_tested = std::any_of(
        one.tests.begin(), one.tests.end(),
        [&](const TestRow& row) { return rests || row.source != drivetest::Source::Other; });
    return has_tested ? std::optional(true) : std::nullopt;
  }
  if (!one.look->inability.empty()) return false;
  return std::any_of(one.look->abilities.begin(), one.look->abilities.end(),
                     [](const drivetest::Ability& ability) { return ability.is_able; });
}

Metrics metrics_of(const std::vector<MeasuredDrive>& drives, std::size_t errors) {
  Metrics metrics;
  const std::vector<LabelledDrive> all = labelled(drives, metrics.clashes);
  for (const Metric& metric : kMetrics) {
    std::string samples;
    for (const auto& [drive, label] : all) {
      Samples of_drive(samples, metric.name, label);
      metric.write(of_drive, drive);
    }
    if (samples.empty()) continue;
    write_head(metrics.text, metric.name, metric.type, metric.help);
    metrics.text += samples;
  }
  constexpr std::string_view kErrors = "hddtest_scrape_errors";
  write_head(
      metrics.text, kErrors, "gauge",
      "Drives that could not be looked at or claim to be another, and faults of the history.");
  const auto faults = std::count_if(drives.begin(), drives.end(), [&](const MeasuredDrive& one) {
    return cannot_be_asked(one) || is_claimed_by_others(one, drives);
  });
  metrics.text += fmt::format("{} {}\n", kErrors,
                              errors + metrics.clashes.size() + static_cast<std::size_t>(faults));
  return metrics;
}

}  // namespace cli

#include "cli/report_attention.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "cli/report_text.h"
#include "cli/test_words.h"
#include "drivetest/progress.h"
#include "drivetest/time_text.h"
#include "platform/words.h"

namespace cli {

using drivetest::Outcome;
using drivetest::TestKind;
using drivetest::TestRow;
using drivetest::Time;
using std::chrono::days;

namespace {

constexpr days kUnseen{7};
constexpr days kLongestTest{14};  // longer than any drive takes, other work and pauses included

std::string failed_words(const ReportedDrive& drive, const TestRow& row) {
  std::string words =
      sentence(dated_test_text(row)) + " " +
      sentence(drive.advice.empty() ? "back up its data, then replace it" : drive.advice);
  if (&row != drive.last() && drive.last() && drive.last()->outcome == Outcome::Passed)
    words += " That a " + kind_text(*drive.last()) + " has passed since does not change that.";
  return words;
}

bool is_stalled(const ReportedDrive& drive, Time now, Time told) {
  if (!drive.running) return false;
  const TestRow& row = *drive.running;
  if (drive.found) return drive.found->is_stalled;
  // No file tells what the drive has announced.
  drivetest::Abilities abilities;
  abilities.fill({true, std::nullopt});
  return drivetest::is_stalled(row, abilities, told) ||
         now - row.started.value_or(row.recorded) >= kLongestTest ||
         now - row.progressed.value_or(row.started.value_or(row.recorded)) >= kUnseen;
}

std::string stalled_words(const TestRow& row, Time now) {
  const Time begun = row.started.value_or(row.recorded);
  const Time since = row.progressed.value_or(begun);
  std::string words = kind_text(row) + " without progress since " + date_text(since);
  if (now - since < kUnseen && now - begun >= kLongestTest)
    words = kind_text(row) + " running since " + date_text(begun) + ", longer than a test takes";
  if (since == Time{}) words = kind_text(row) + " running since a date that is not known";
  words = sentence(words);
  if (row.remaining_percent) words += fmt::format(" {}% remained then.", *row.remaining_percent);
  return words + " It may still end, and 'hddtest stop' ends it.";
}

// Not of a drive that can do no test, or one that nobody has been able to ask.
bool is_expected_to_be_tested(const ReportedDrive& drive) {
  return !drive.found || drive.found->is_testable.value_or(drive.total() > 0);
}

// In words, which kind of test has not passed for too long; empty where none is overdue.
std::string overdue_text(const ReportedDrive& drive, Time now) {
  const auto long_test = drive.passed(TestKind::Long);
  const auto short_test = drive.passed(TestKind::Short);
  if (!long_test && !short_test) return "No short or long test is known to have passed.";
  // One that was tried once, by hand, is no reason to expect another.
  const auto tried = drive.tried(TestKind::Long);
  if (!long_test && tried && now - tried->first >= kLongOverdue && now - tried->last < kLongOverdue)
    return "Long tests have been tried since " + date_text(tried->first) + ", and none has passed.";
  if (long_test && now - *long_test >= kLongOverdue)
    return "The last long test that was seen to pass did so on " + date_text(*long_test) + ".";
  const bool is_long_test_enough = long_test && now - *long_test < kShortOverdue;
  if (!short_test || is_long_test_enough || now - *short_test < kShortOverdue) return "";
  return "The last short test that was seen to pass did so on " + date_text(*short_test) +
         ", and no long one has since.";
}

// A drive that rests ends its test, and only a look that wakes it tells what became of it.
bool has_rest_ended_test(const ReportedDrive& drive) {
  return drive.running && drive.found && drive.found->rests;
}

std::string rest_words(const ReportedDrive& drive) {
  return sentence(kind_text(*drive.running) +
                  " running at the last look; in standby now, which ends tests");
}

std::string overdue_words(const ReportedDrive& drive, std::string words, Time told) {
  if (drive.last() && (drive.last()->outcome != Outcome::Passed || !date_of(*drive.last())))
    words += " The newest: " + dated_test_text(*drive.last()) + ".";
  if (has_rest_ended_test(drive)) words += " " + rest_words(drive);
  if (!drive.found && drive.heard != Time{} && told - drive.heard >= kTakenOut)
    words += " Its machine has told of other drives since: it may have been taken out.";
  return words;
}

std::string quiet_words(const ReportedDrive& drive) {
  if (has_rest_ended_test(drive)) return rest_words(drive);
  if (drive.running) {
    std::string words = kind_text(*drive.running) + " running";
    if (drive.running->remaining_percent)
      words += fmt::format(", {}% remaining", *drive.running->remaining_percent);
    return sentence(words);
  }
  if (drive.last()) return sentence(dated_test_text(*drive.last()));
  return "No test is kept.";
}

}  // namespace

std::string_view name_of(Need need) {
  constexpr std::array<std::string_view, kNeeds> kNames = {
      "failed",        "gone",     "stalled",           "not known",     "overdue",
      "no test known", "in order", "without self-test", "no longer here"};
  return kNames[static_cast<std::size_t>(need)];
}

std::string date_text(Time time) { return drivetest::time_text(time).substr(0, 10); }

std::string dated_test_text(const TestRow& row) {
  const std::string outcome = outcome_text(row);
  const std::size_t word = std::min(outcome.find(':'), outcome.size());
  std::string when;
  if (const auto date = date_of(row))
    when = fmt::format(" on {} at {}", date_text(*date), drivetest::time_text(*date).substr(11, 5));
  else if (row.hours)
    when = fmt::format(" at power-on hour {}", *row.hours);
  return kind_text(row) + " " + outcome.substr(0, word) + when + outcome.substr(word);
}

Attention attention_of(const ReportedDrive& drive, Time now, Time told) {
  constexpr const char* kByPlace =
      "Drives here claim to be this one, and are known by their places now.";
  const bool is_by_place = drive.found && drive.found->is_known_by_place;
  if (is_by_place && !drive.failed()) return {Need::Former, kByPlace};
  if (is_by_place) return {Need::Failed, failed_words(drive, *drive.failed()) + " " + kByPlace};
  const bool is_gone = drive.found && !drive.found->is_here;
  const bool is_dated = drive.heard != Time{};
  if (is_gone && !is_dated && drive.total() == 0)
    return {Need::Former, "It kept no log of self-tests, and no test of it is known."};
  if (is_gone && is_dated && now - drive.heard >= kTakenOut)
    return {Need::Former, "It was last seen on " + date_text(drive.heard) + "."};
  if (const TestRow* const failed = drive.failed())
    return {Need::Failed,
            failed_words(drive, *failed) + (is_gone ? " It is no longer in this machine." : "")};
  if (is_gone && !is_dated) return {Need::Former, "When it was last seen is not known."};
  if (is_gone)
    return {Need::Gone, "It was last seen on " + date_text(drive.heard) +
                            " and is no longer in this machine. If nobody has removed it, check "
                            "cable and power."};
  if (is_stalled(drive, now, told)) return {Need::Stalled, stalled_words(*drive.running, now)};
  if (drive.found && !drive.found->fault.empty())
    return {Need::Unknown, sentence("it could not be looked at: " + drive.found->fault)};
  const bool is_untestable = drive.found && drive.found->is_testable == false && drive.total() == 0;
  if (drive.found && !drive.found->are_tests_known && !is_untestable)
    return {Need::Unknown, "Without the history nobody knows what its tests came to."};
  if (drive.last() && drive.last()->outcome == Outcome::Unknown)
    return {Need::Unknown, sentence(dated_test_text(*drive.last())) +
                               " Test it again, and look while the test runs."};
  if (is_untestable) return {Need::Untestable, sentence(drive.found->inability)};
  const bool runs = drive.running && !has_rest_ended_test(drive);
  if (runs || !is_expected_to_be_tested(drive)) return {Need::None, quiet_words(drive)};
  if (drive.total() == 0 && !drive.running)
    return {Need::NeverTested, "No test of it is kept. 'hddtest start' starts one."};
  if (const std::string overdue = overdue_text(drive, now); !overdue.empty())
    return {Need::Overdue, overdue_words(drive, overdue, told)};
  return {Need::None, quiet_words(drive)};
}

}  // namespace cli

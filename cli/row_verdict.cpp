#include "cli/row_verdict.h"

#include <fmt/format.h>

#include <array>

#include "cli/test_words.h"

namespace cli {

using drivetest::LookFault;
using drivetest::Protocol;
using drivetest::TestRow;

namespace {

// The words of 'hddtest run --json', by the drive's code; empty for a code that is no end.
using Causes = std::array<std::string_view, 10>;

constexpr Causes kAtaCauses = {"",
                               "aborted",
                               "interrupted",
                               "unknown-error",
                               "unknown-failure",
                               "electrical-failure",
                               "servo-seek-failure",
                               "read-failure",
                               "handling-damage",
                               ""};
constexpr Causes kScsiCauses = {"",
                                "aborted",
                                "interrupted",
                                "unknown-error",
                                "segment-failed",
                                "segment-failed",
                                "segment-failed",
                                "segment-failed",
                                "",
                                ""};
constexpr Causes kNvmeCauses = {"",        "aborted",       "interrupted",    "aborted",
                                "aborted", "unknown-error", "segment-failed", "segment-failed",
                                "aborted", "aborted"};

const Causes& causes_of(Protocol protocol) {
  if (protocol == Protocol::Scsi) return kScsiCauses;
  return protocol == Protocol::Nvme ? kNvmeCauses : kAtaCauses;
}

// A test that we have ended ourselves may have left no code.
std::string cause_of(const TestRow& row, Protocol protocol) {
  if (!row.result_code)
    return *row.outcome == drivetest::Outcome::Aborted ? "aborted" : std::string();
  const auto code = static_cast<std::size_t>(*row.result_code);
  const Causes& causes = causes_of(protocol);
  return code < causes.size() ? std::string(causes[code]) : "";
}

std::optional<RunOutcome> outcome_of(const TestRow& row) {
  if (!row.outcome) return std::nullopt;
  switch (*row.outcome) {
    case drivetest::Outcome::Passed:
      return RunOutcome::Passed;
    case drivetest::Outcome::Failed:
      return RunOutcome::Failed;
    case drivetest::Outcome::Aborted:
      return RunOutcome::Aborted;
    case drivetest::Outcome::Unknown:
      break;
  }
  return std::nullopt;
}

// "the drive reported: read failure, first bad block 4711, at 4660 power-on hours"
std::string report_of(const TestRow& row) {
  std::string text = "the drive reported: " + row.cause;
  if (row.segment) text += fmt::format(", segment {}", *row.segment);
  if (row.first_bad_block) text += fmt::format(", first bad block {}", *row.first_bad_block);
  if (row.hours) text += fmt::format(", at {} power-on hours", *row.hours);
  return text;
}

std::string_view cause_of(LookFault fault) {
  switch (fault) {
    case LookFault::Standby:
      return "standby";
    case LookFault::ToolMissing:
    case LookFault::ToolTooOld:
      return "no-tool";
    case LookFault::NotPermitted:
      return readiness_cause(Readiness::NoPermission);
    case LookFault::NoSuchDrive:
      return readiness_cause(Readiness::NoDevice);
    case LookFault::None:
    case LookFault::CannotBeReached:
      break;
  }
  return kCauseUnreachable;
}

}  // namespace

Verdict verdict_of_row(const TestRow& row, Protocol protocol, const std::string& in_history) {
  Verdict verdict{.outcome = outcome_of(row), .block = row.first_bad_block, .hours = row.hours};
  if (verdict.outcome == RunOutcome::Passed) return verdict;
  if (verdict.outcome) {
    verdict.cause = cause_of(row, protocol);
    verdict.reason = report_of(row);
  } else {
    verdict.cause = kCauseUnknown;
    verdict.reason =
        fmt::format("how the test ended is not known: {}; 'hddtest history{}' shows {} tests",
                    row.cause, in_history.empty() ? "" : " " + name_in_command(in_history),
                    in_history.empty() ? "all" : "its");
  }
  return verdict;
}

Verdict verdict_of_fault(const drivetest::Look& look) {
  return {.cause = std::string(cause_of(look.fault)), .reason = fault_text(look)};
}

std::string go_on_advice(const std::string& name) {
  return fmt::format("'hddtest watch {}' shows it, 'hddtest stop {}' ends it", name, name);
}

std::string stalled_advice(const std::string& name) {
  return "it may still end: " + go_on_advice(name);
}

Verdict verdict_of_untold(const std::string& why, const std::string& name) {
  return {.cause = std::string(kCauseUnknown),
          .reason = fmt::format("how the test ended is not known: {}; the drive may go on: {}", why,
                                go_on_advice(name))};
}

Verdict verdict_of_busy(const TestRow& row, bool is_stalled, bool has_history,
                        const std::string& name) {
  Verdict verdict{.cause = std::string(readiness_cause(Readiness::Running))};
  verdict.reason = "a test runs in it already";
  if (is_stalled) verdict.reason += " and has stalled";
  if (row.remaining_percent) {
    verdict.remaining = static_cast<int>(*row.remaining_percent);
    verdict.reason += fmt::format(", {}% remaining", *row.remaining_percent);
  }
  if (has_history || row.kind) verdict.reason += " (" + owned_test_text(row, has_history) + ")";
  verdict.reason += is_stalled ? "; " + stalled_advice(name) : "; " + busy_advice(name);
  return verdict;
}

}  // namespace cli

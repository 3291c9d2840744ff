#include "cli/verdict.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/log_entry.h"
#include "cli/terminal_text.h"

namespace cli {
namespace {

constexpr std::size_t kLongestEntry = 200;

// What smartctl says of a drive that answered before and has disappeared since.
constexpr std::string_view kGoneTexts[] = {"No such device", "INQUIRY failed",
                                           "Read Device Identity failed", "Input/output error"};

std::string see_the_log(const std::string& device) {
  return fmt::format("'smartctl -l selftest {}' shows its log", name_in_command(device));
}

Verdict unknown(std::string why, const std::string& device) {
  return {
      .outcome = {},
      .cause = std::string(kCauseUnknown),
      .reason = fmt::format("how the test ended is not known: {}; {}", why, see_the_log(device))};
}

Verdict gone(std::string_view words) {
  return {.outcome = RunOutcome::Failed,
          .cause = std::string(kCauseGone),
          .reason = "the drive disappeared during the test: " + std::string(words)};
}

// The verdict where a read of the log showed none.
Verdict without_log(const std::string& log, const std::string& device) {
  const std::string words = elide(complaint_of(log), kLongestEntry);
  for (const std::string_view text : kGoneTexts)
    if (words.find(text) != std::string::npos) return gone(words);
  if (!words.empty()) return unknown("smartctl: " + words, device);
  // It was killed, or hung because the drive did not answer any more.
  Verdict verdict = unknown("smartctl ended without an answer", device);
  verdict.open = true;
  return verdict;
}

// A log that was full of equal entries reads the same with one more of them.
bool is_full_of_equals(const std::string& log) {
  constexpr std::size_t kLeast = 20;  // entries of a SCSI drive's log; ATA drives keep 21
  const std::vector<PrintedEntry> entries = read_entries(log);
  return entries.size() >= kLeast &&
         std::all_of(entries.begin(), entries.end(),
                     [&](const PrintedEntry& entry) { return entry.text == entries.front().text; });
}

std::string failure_text(const PrintedEntry& entry) {
  std::string text = fmt::format("the drive reported: {}", short_status(entry));
  if (entry.block) text += fmt::format(", first bad block {}", *entry.block);
  if (entry.hours) text += fmt::format(", at {} power-on hours", *entry.hours);
  return text;
}

// The verdict by the drive's newest entry, if that can only be this test's.
Verdict by_entry(const RunEvidence& evidence, const std::string& device) {
  const std::vector<PrintedEntry> entries = read_entries(*evidence.log);
  if (entries.empty()) return unknown("its log has no entry", device);
  const PrintedEntry& entry = entries.front();
  const bool is_new =
      has_new_entry(evidence.baseline ? evidence.baseline->output : "", *evidence.log) ||
      (evidence.in_progress && is_full_of_equals(*evidence.log));
  if (!is_new) return unknown("its log has no new entry", device);
  if (entry.kind == EntryKind::Unknown) {
    return unknown("its entry is of no known form: " + elide(entry.text, kLongestEntry), device);
  }
  if (!entry.is_short()) return unknown("the newest entry is of another test", device);
  Verdict verdict{.cause = std::string(entry.cause), .block = entry.block, .hours = entry.hours};
  if (entry.kind == EntryKind::Passed) verdict.outcome = RunOutcome::Passed;
  if (entry.kind == EntryKind::Aborted) {
    verdict.outcome = RunOutcome::Aborted;
    verdict.reason = fmt::format("the drive reported: {}", short_status(entry));
  }
  if (entry.kind == EntryKind::Failed) {
    verdict.outcome = RunOutcome::Failed;
    verdict.reason = failure_text(entry);
  }
  return verdict;
}

Verdict not_ended(std::optional<int> remaining, const std::string& device) {
  return {.cause = std::string(kCauseNotEnded),
          .reason = fmt::format("the test has not ended after ten minutes{}; the drive goes on: {} "
                                "later, 'hddtest stop {}' ends it",
                                remaining ? fmt::format(", {}% remaining", *remaining) : "",
                                see_the_log(device), name_in_command(device)),
          .remaining = remaining,
          .open = !remaining};
}

}  // namespace

Verdict verdict_after(const Verdict& verdict, const DriveLook& now, const std::string& device) {
  if (now.readiness == Readiness::NoDevice) return gone(now.words);
  if (verdict.cause != kCauseNotEnded) return verdict;
  if (now.readiness == Readiness::Running) return not_ended(now.remaining, device);
  if (now.readiness == Readiness::Ready)
    return unknown("it did not end within ten minutes, and it no longer runs", device);
  return verdict;
}

Verdict verdict_of(const DriveLook& look, const std::string& device) {
  Verdict verdict{.cause = std::string(readiness_cause(look.readiness)),
                  .reason = readiness_reason(look, device)};
  if (look.readiness == Readiness::Running) verdict.remaining = look.remaining;
  if (look.readiness == Readiness::NoSelfTest) verdict.outcome = RunOutcome::Aborted;
  return verdict;
}

Verdict verdict_of(std::optional<RunOutcome> recorded, const RunEvidence& evidence,
                   const std::string& device) {
  const auto of_look = [&](const DriveLook& look) {
    return look.readiness == Readiness::Ready ? Verdict{} : verdict_of(look, device);
  };
  if (!evidence.information) return {};
  if (!evidence.baseline) return of_look(read_information(*evidence.information));
  if (!evidence.start) return of_look(read_look(*evidence.information, *evidence.baseline, {}));
  if (!evidence.started()) {
    const DriveLook refusal = read_refusal(*evidence.start);
    Verdict verdict = verdict_of(refusal, device);
    if (refusal.readiness == Readiness::Refused)
      verdict.reason = fmt::format(
          "the drive refused the test: {}; see what 'smartctl -t short {}' "
          "says",
          refusal.words, name_in_command(device));
    if (refusal.readiness == Readiness::NoAnswer)
      verdict.reason =
          "smartctl did not end when it started the test, and the drive may be "
          "testing; " +
          see_the_log(device);
    return verdict;
  }
  if (!evidence.log || !recorded) return {};
  const std::string& log = *evidence.log;
  const std::vector<PrintedEntry> entries = read_entries(log);
  if (!entries.empty() && entries.front().kind == EntryKind::Running) {
    const std::optional<int> told = told_remaining(log);
    return not_ended(told ? told : entries.front().remaining, device);
  }
  if (evidence.ended && log.find("Self-test log") == std::string::npos)
    return without_log(log, device);
  if (!evidence.ended && entries.empty() && recorded == RunOutcome::Aborted)
    return verdict_of(DriveLook{.readiness = Readiness::NoSelfTest}, device);
  // The module waits as long as an older entry says "in progress", but the newest entry counts.
  Verdict verdict = by_entry(evidence, device);
  if (!evidence.ended && !verdict.outcome) return not_ended({}, device);
  return verdict;
}

std::string_view advice_for(std::optional<RunOutcome> outcome, std::string_view cause) {
  if (outcome == RunOutcome::Failed) {
    return cause == kCauseGone
               ? "Back up what can still be read. Check cable, power and controller of the drive; "
                 "replace it if that happens again."
               : "Back up the data on this drive now, then replace it, even if it still seems to "
                 "work.";
  }
  if (outcome == RunOutcome::Aborted) {
    return cause == kCauseNoSelfTest
               ? "Test it with the test program of its maker."
               : "Test again while the machine is idle, without a reset meanwhile; if another "
                 "program such as smartd tests the drive, wait for its end.";
  }
  return {};
}

}  // namespace cli

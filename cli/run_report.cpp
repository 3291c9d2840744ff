#include "cli/run_report.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>

#include "cli/drive_result.h"
#include "cli/drive_run.h"
#include "cli/pull.h"
#include "cli/terminal_text.h"
#include "cli/test_words.h"
#include "drivetest/time_text.h"

namespace cli {
namespace {

constexpr int kFormat = 1;  // of the objects of --json

Colour colour_of(RunOutcome outcome) {
  if (outcome == RunOutcome::Passed) return Colour::Green;
  if (outcome == RunOutcome::Failed) return Colour::Red;
  return Colour::Yellow;
}

// Its test began, whatever came of it.
bool was_started(const Verdict& verdict) {
  return verdict.cause == kCauseNotEnded || verdict.cause == kCauseUnknown;
}

// For programs a drive without self-tests counts as aborted, as in the module.
std::string_view shown_outcome(const Verdict& verdict) {
  return verdict.cause == kCauseNoSelfTest ? "no self-test" : outcome_word(*verdict.outcome);
}

// "DEVICE: passed (0:42)" and what follows, fitted to the output.
std::string outcome_text(const DriveResult& result, const std::string& more, const Output& output) {
  const std::string outcome(shown_outcome(result.verdict));
  const std::string name = escape(shown_name(result.device, result.place)) + ": ";
  // Nobody knows when somebody else's test began.
  const bool is_timed = result.begin || result.elapsed.count() > 0;
  const std::string time = is_timed ? " (" + duration_text(result.elapsed) + ")" : "";
  std::string text = labelled("", name + outcome + time + more, output.columns());
  // A very narrow terminal has broken it.
  if (text.compare(name.size(), outcome.size(), outcome) == 0)
    text.replace(name.size(), outcome.size(),
                 output.coloured(outcome, colour_of(*result.verdict.outcome)));
  return text;
}

// "MODEL, serial number SERIAL", of which any part may be unknown.
std::string identity(const DriveResult& result) {
  std::string text = result.model;
  if (!result.serial.empty())
    text += (text.empty() ? "serial number " : ", serial number ") + result.serial;
  return text;
}

// A drive that has gone may come back when its cable is mended; the others are to be pulled.
bool is_to_be_pulled(const DriveResult& result) {
  return result.verdict.outcome == RunOutcome::Failed && result.verdict.cause != kCauseGone;
}

drivetest::Place place_of(const DriveResult& result) {
  return result.place.device.empty() ? drivetest::Place{result.device, ""} : result.place;
}

std::string bay(const DriveResult& result) {
  return is_to_be_pulled(result) ? bay_text(place_of(result)) : "";
}

// "HDST-100", with which the text of a record begins; empty without.
std::string advice_code(const DriveResult& result) {
  if (!result.record.is_object()) return {};
  const std::string text = result.record.value("RecordData", "");
  const std::size_t end = text.find(": ");
  return end == std::string::npos ? "" : text.substr(0, end);
}

std::string advice_text(const DriveResult& result) {
  if (result.advice) return *result.advice;
  const std::string code = advice_code(result);
  std::string text(advice_for(result.verdict.outcome, result.verdict.cause));
  return code.empty() || text.empty() ? text : code + ": " + text;
}

template <class T>
Json or_null(const std::optional<T>& value) {
  return value ? Json(*value) : Json();
}

Json or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

Json time_json(const DriveResult& result, std::chrono::seconds after) {
  if (!result.begin) return {};
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}Z",
                     fmt::gmtime(std::chrono::system_clock::to_time_t(*result.begin + after)));
}

}  // namespace

std::string full_report(const DriveResult& result, bool alone, const Output& output) {
  const std::size_t columns = output.columns();
  const Verdict& verdict = result.verdict;
  std::string text = outcome_text(result, "", output);
  const auto add = [&](std::string_view label, const std::string& value) {
    if (!value.empty()) text += labelled(label, value, columns);
  };
  add("  Drive:   ", identity(result));
  add("  Bay:     ", bay(result));
  add("  Reason:  ", verdict.reason);
  add("  Log:     ", result.entry.value_or(""));
  if (result.job.is_object()) add("  Job:     ", result.job.value("InstanceID", ""));
  if (verdict.outcome != RunOutcome::Passed)
    add("  Advice:  ", alone ? advice_text(result) : "");
  else if (result.record.is_object())
    add("  Record:  ", result.record.value("RecordData", ""));
  return text;
}

std::string short_report(const DriveResult& result, const Output& output) {
  const std::string& reason = result.verdict.reason;
  const std::string why = reason.empty() ? result.entry.value_or("") : reason;
  return outcome_text(result, why.empty() ? "" : ": " + escape(why), output);
}

std::string complaint(const DriveResult& result) {
  const std::string name = result.device.empty() ? "''" : shown_name(result.device, result.place);
  return name + (was_started(result.verdict) ? ": " : " was not tested: ") + result.verdict.reason;
}

std::string summary(const std::vector<DriveResult>& results, std::size_t left_out) {
  constexpr std::string_view kNotBegun = "could not be tested";
  constexpr std::string_view kNotKnown = "without a result";
  const auto word_of = [&](const DriveResult& result) -> std::string_view {
    if (result.verdict.outcome) return shown_outcome(result.verdict);
    return was_started(result.verdict) ? kNotKnown : kNotBegun;
  };
  std::string counts;
  const auto add = [&](std::ptrdiff_t count, std::string_view word) {
    if (count > 0) counts += fmt::format("{}{} {}", counts.empty() ? "" : ", ", count, word);
  };
  for (const std::string_view word :
       {std::string_view("passed"), std::string_view("failed"), std::string_view("aborted"),
        std::string_view("no self-test"), kNotKnown, kNotBegun}) {
    add(std::count_if(results.begin(), results.end(),
                      [&](const DriveResult& result) { return word_of(result) == word; }),
        word);
  }
  add(static_cast<std::ptrdiff_t>(left_out), "not tested");
  const std::size_t all = results.size() + left_out;
  return fmt::format("{} {}: {}\n", all, all == 1 ? "drive" : "drives", counts);
}

std::string advice(const std::vector<DriveResult>& results, const Output& output) {
  std::map<std::string, std::string> drives;
  for (const DriveResult& result : results) {
    const std::string text = advice_text(result);
    if (text.empty()) continue;
    std::string& of = drives[text];
    std::string drive = escape(identity(result));
    if (const std::string place = bay(result); !place.empty())
      drive += (drive.empty() ? "" : ", ") + escape(place);
    if (!of.empty()) of += ", ";
    of += escape(shown_name(result.device, result.place));
    if (!drive.empty()) of += " (" + drive + ")";
  }
  std::string all;
  for (const auto& [text, of] : drives)
    all += "\n" + labelled("", of + ":", output.columns()) + labelled("", text, output.columns());
  return all;
}

std::string go_on_words(const std::vector<std::string>& names) {
  if (names.empty()) return {};
  const bool is_one = names.size() == 1;
  const std::string tests =
      is_one ? "; the test goes on in the drive; " : "; the tests go on in the drives; ";
  // A type is that of all drives of a command.
  std::map<std::string, std::string> drives;  // by "--type TYPE ", which not all have
  for (const std::string& name : names) {
    const std::size_t end_of_type = name.rfind(' ') + 1;
    std::string& of = drives[name.substr(0, end_of_type)];
    of += (of.empty() ? "" : " ") + name.substr(end_of_type);
  }
  std::vector<std::string> commands;
  for (const auto& [type, of] : drives) commands.push_back(type + of);
  if (commands.size() == 1)
    return tests + fmt::format("'hddtest watch {0}' shows {1}, 'hddtest stop {0}' ends {1}",
                               commands.front(), is_one ? "it" : "them");
  // One type that the user gave is that of all. Several were found, and are found again.
  return tests + fmt::format("'hddtest watch' shows them, 'hddtest stop {}' end them",
                             fmt::join(commands, "' and 'hddtest stop "));
}

Json run_json(const DriveResult& result) {
  const Verdict& verdict = result.verdict;
  return {{"format", kFormat},
          {"device", result.device},
          {"type", or_null(result.place.type)},
          {"outcome", verdict.outcome ? Json(outcome_word(*verdict.outcome)) : Json()},
          {"reason", or_null(verdict.reason)},
          {"job", result.job},
          {"record", result.record},
          {"status", exit_status({verdict.outcome})},
          {"test", result.kind ? Json(name_of(*result.kind)) : Json()},
          {"cause", or_null(verdict.cause)},
          {"remaining", or_null(verdict.remaining)},
          {"block", or_null(verdict.block)},
          {"hours", or_null(verdict.hours)},
          {"model", or_null(result.model)},
          {"serial", or_null(result.serial)},
          {"begin", time_json(result, {})},
          {"end", time_json(result, result.elapsed)},
          {"duration", result.begin ? Json(result.elapsed.count()) : Json()},
          {"advice", or_null(advice_code(result))},
          {"advice_text", or_null(advice_text(result))},
          {"bay", is_to_be_pulled(result) ? bay_json(place_of(result)) : Json()}};
}

Json progress_json(const std::string& device, const std::string& type, const TestProgress& progress,
                   drivetest::Time now) {
  return {{"format", kFormat},
          {"event", "progress"},
          {"device", device},
          {"type", or_null(type)},
          {"test", progress.kind ? Json(name_of(*progress.kind)) : Json()},
          {"remaining", or_null(progress.percent)},
          {"minutes", or_null(progress.minutes)},
          {"stalled", progress.is_stalled},
          {"source", name_of(progress.source)},
          {"time", drivetest::time_text(now)}};
}

Json failure_json(const std::string& cause, const std::string& reason) {
  Json object = run_json(not_tested("", cause, reason));
  object["device"] = nullptr;
  object["test"] = nullptr;
  return Json::array({std::move(object)});
}

}  // namespace cli

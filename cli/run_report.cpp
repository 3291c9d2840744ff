#include "cli/run_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "cli/text.h"

namespace cli {
namespace {

Colour colour_of(Outcome outcome) {
  return outcome == Outcome::passed   ? Colour::green
         : outcome == Outcome::failed ? Colour::red
                                      : Colour::yellow;
}

std::string outcome_text(const DriveResult& result, const Output& output) {
  return fmt::format("{}: {} ({})", escape(result.device),
                     output.coloured(outcome_word(*result.outcome), colour_of(*result.outcome)),
                     duration_text(result.elapsed));
}

}  // namespace

std::string full_report(const DriveResult& result, const Output& output) {
  const std::size_t columns = output.columns();
  std::string text = outcome_text(result, output) + "\n";
  if (result.reason) text += labelled("  Reason:  ", *result.reason, columns);
  if (result.entry) text += labelled("  Log:     ", *result.entry, columns);
  if (!result.job.is_null())
    text += labelled("  Job:     ", result.job.value("InstanceID", ""), columns);
  return text + labelled("  Record:  ", result.record.value("RecordData", ""), columns);
}

std::string short_report(const DriveResult& result, const Output& output) {
  std::string text = outcome_text(result, output);
  const std::string why = result.reason ? *result.reason : result.entry.value_or("");
  if (!why.empty()) text += ": " + escape(why);
  return text + "\n";
}

std::string summary(const std::vector<DriveResult>& results, std::size_t left_out,
                    const Output& output) {
  std::string counts;
  const auto add = [&](std::ptrdiff_t count, std::string_view word) {
    if (count > 0) counts += fmt::format("{}{} {}", counts.empty() ? "" : ", ", count, word);
  };
  for (const Outcome outcome : {Outcome::passed, Outcome::failed, Outcome::aborted}) {
    add(std::count_if(results.begin(), results.end(),
                      [&](const DriveResult& result) { return result.outcome == outcome; }),
        outcome_word(outcome));
  }
  add(std::count_if(results.begin(), results.end(),
                    [](const DriveResult& result) { return !result.outcome; }),
      "could not be tested");
  add(static_cast<std::ptrdiff_t>(left_out), "not tested");
  const std::size_t all = results.size() + left_out;
  std::string text = fmt::format("{} {}: {}\n", all, all == 1 ? "drive" : "drives", counts);
  // Each record once, behind the drives that it is of.
  std::map<std::string, std::string> devices;
  for (const DriveResult& result : results) {
    if (!result.outcome || result.outcome == Outcome::passed) continue;
    std::string& of = devices[result.record.value("RecordData", "")];
    of += (of.empty() ? "" : ", ") + escape(result.device);
  }
  for (const auto& [record, of] : devices)
    text += "\n" + of + ":\n" + labelled("", record, output.columns());
  return text;
}

Json run_json(const DriveResult& result) {
  return {{"device", result.device},
          {"outcome", result.outcome ? Json(outcome_word(*result.outcome)) : Json()},
          {"reason", result.reason ? Json(*result.reason) : Json()},
          {"job", result.job},
          {"record", result.record}};
}

}  // namespace cli

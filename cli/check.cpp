// hddtest check: what on this machine keeps a test from running.
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/findings.h"
#include "cli/json.h"
#include "cli/output.h"
#include "cli/terminal_text.h"

namespace cli {
namespace {

constexpr int kStatusMissing = 1;

struct Word {
  std::string text;
  Colour colour;
};

Word word_for(const Finding& finding) {
  if (finding.hidden) return {"unknown", finding.ok ? Colour::Green : Colour::Red};
  if (!finding.ok) return {"missing", Colour::Red};
  if (!finding.remedy.empty()) return {"note", Colour::Yellow};
  return {"ok", Colour::Green};
}

std::string line(const Finding& finding, const Output& output) {
  // Colour codes would count as characters of the label, so the colour is added last.
  const auto [word, colour] = word_for(finding);
  std::string text = finding.found;
  if (!finding.remedy.empty()) text += "; " + finding.remedy;
  const std::string label = fmt::format("{:9}{:14}", word, finding.name);
  const std::string plain = labelled(label, escape(text), output.columns());
  return output.coloured(word, colour) + plain.substr(word.size());
}

Json json_of(const Finding& finding) {
  return {{"name", finding.name},
          {"ok", finding.ok},
          {"found", finding.found},
          {"remedy", finding.remedy.empty() ? Json() : Json(finding.remedy)}};
}

int check(const Invocation& invocation) {
  const std::vector<Finding> findings = all_findings(find_places(invocation.data));
  Output& output = standard_output();
  Json array = Json::array();
  int missing = 0;
  for (const Finding& finding : findings) {
    array.push_back(json_of(finding));
    missing += finding.ok ? 0 : 1;
    if (!invocation.json) output.write(line(finding, output));
  }
  if (invocation.json) output.write(dump(array));
  return missing > 0 ? kStatusMissing : kStatusOk;
}

}  // namespace

Command check_command(const Invocation& invocation) {
  return {"check",
          "Tells what a test needs and this machine lacks.",
          "A note tells what could be better and keeps no test from running; unknown is what this\n"
          "user may not look at. Exit status: 0 when nothing is missing or unknown, else 1.",
          {},
          [&invocation] { return check(invocation); }};
}

}  // namespace cli

#include "cli/outcome.h"

#include <algorithm>

#include "cli/exit_status.h"

namespace cli {

std::optional<Outcome> outcome_of(std::uint64_t completion_state) {
  for (const Outcome outcome : {Outcome::Passed, Outcome::Failed, Outcome::Aborted})
    if (completion_state == static_cast<std::uint64_t>(outcome)) return outcome;
  return std::nullopt;
}

std::string_view outcome_word(Outcome outcome) {
  switch (outcome) {
    case Outcome::Passed:
      return "passed";
    case Outcome::Failed:
      return "failed";
    case Outcome::Aborted:
      return "aborted";
  }
  return "unknown";
}

int exit_status(const std::vector<std::optional<Outcome>>& outcomes) {
  const auto any = [&](std::optional<Outcome> outcome) {
    return std::find(outcomes.begin(), outcomes.end(), outcome) != outcomes.end();
  };
  if (any(std::nullopt)) return kStatusCannot;
  if (any(Outcome::Failed)) return 1;
  if (any(Outcome::Aborted)) return 2;
  return kStatusOk;
}

}  // namespace cli

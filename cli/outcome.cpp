#include "cli/outcome.h"

#include <algorithm>

#include "cli/exit_status.h"

namespace cli {

std::optional<Outcome> outcome_of(std::uint64_t completion_state) {
  for (const Outcome outcome : {Outcome::passed, Outcome::failed, Outcome::aborted})
    if (completion_state == static_cast<std::uint64_t>(outcome)) return outcome;
  return std::nullopt;
}

std::string_view outcome_word(Outcome outcome) {
  switch (outcome) {
    case Outcome::passed:
      return "passed";
    case Outcome::failed:
      return "failed";
    case Outcome::aborted:
      return "aborted";
  }
  return "unknown";
}

int exit_status(const std::vector<std::optional<Outcome>>& outcomes) {
  const auto any = [&](std::optional<Outcome> outcome) {
    return std::find(outcomes.begin(), outcomes.end(), outcome) != outcomes.end();
  };
  if (any(std::nullopt)) return status_cannot;
  if (any(Outcome::failed)) return 1;
  if (any(Outcome::aborted)) return 2;
  return status_ok;
}

}  // namespace cli

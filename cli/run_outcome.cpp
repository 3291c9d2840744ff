#include "cli/run_outcome.h"

#include <algorithm>

#include "cli/exit_status.h"

namespace cli {

std::optional<RunOutcome> outcome_of(std::uint64_t completion_state) {
  for (const RunOutcome outcome : {RunOutcome::Passed, RunOutcome::Failed, RunOutcome::Aborted})
    if (completion_state == static_cast<std::uint64_t>(outcome)) return outcome;
  return std::nullopt;
}

std::string_view outcome_word(RunOutcome outcome) {
  switch (outcome) {
    case RunOutcome::Passed:
      return "passed";
    case RunOutcome::Failed:
      return "failed";
    case RunOutcome::Aborted:
      return "aborted";
  }
  return "unknown";
}

int exit_status(const std::vector<std::optional<RunOutcome>>& outcomes) {
  const auto any = [&](std::optional<RunOutcome> outcome) {
    return std::find(outcomes.begin(), outcomes.end(), outcome) != outcomes.end();
  };
  if (any(std::nullopt)) return kStatusCannot;
  if (any(RunOutcome::Failed)) return 1;
  if (any(RunOutcome::Aborted)) return 2;
  return kStatusOk;
}

}  // namespace cli

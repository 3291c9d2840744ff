// How a drive's test ended, and what the command's exit status makes of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace cli {

// The numbers are those of CompletionState in the completion record.
enum class RunOutcome : std::uint16_t { Passed = 2, Failed = 5, Aborted = 6 };

// Nothing for a state that no test of ours ends in.
std::optional<RunOutcome> outcome_of(std::uint64_t completion_state);

std::string_view outcome_word(RunOutcome outcome);

// 3 if any drive has no outcome, since it could not be tested, else 1 if one failed, else 2 if
// one was aborted or does not support the test, else 0.
int exit_status(const std::vector<std::optional<RunOutcome>>& outcomes);

}  // namespace cli

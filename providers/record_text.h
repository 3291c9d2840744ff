// What a run's status means for its completion record: pure functions over plain data.
#pragma once

#include <map>
#include <string>

#include "results/TDiagnosticResultParser.h"

namespace ovk_cimple {

struct RecordedOutcome {
  int completion_state;  // as the record's CompletionState
  const char* word;      // as the message file's states
};

// The outcome of a run that ended with that HDDIAG_TEST_STATUS; 2, which the engine never
// produces, counts as aborted, any unknown value as failed.
RecordedOutcome outcome_of(int status);

// The text of the record: for each message of the self-test with that state, in file order, its
// error code, ": ", its last message line and its actions, a line each.
std::string record_text(const std::multimap<std::string, TDiagnosticResultMessage>& messages,
                        const std::string& state);

}  // namespace ovk_cimple

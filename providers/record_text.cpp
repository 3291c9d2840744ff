#include "providers/record_text.h"

namespace ovk_cimple {

RecordedOutcome outcome_of(int status) {
  switch (status) {
    case 0:
      return {2, "passed"};
    case 2:
    case 4:
      return {6, "aborted"};
    default:
      return {5, "failed"};
  }
}

std::string record_text(const std::multimap<std::string, TDiagnosticResultMessage>& messages,
                        const std::string& state) {
  std::string text;
  const auto [begin, end] = messages.equal_range("hard drive: self test");
  for (auto entry = begin; entry != end; ++entry) {
    const TDiagnosticResultMessage& message = entry->second;
    if (message.fState != state) continue;
    std::string part;
    // Kept on purpose: each message line replaces the one before, so that a client reads only
    // the last.
    for (const std::string& line : message.fMessages) part = line + "\n";
    for (const TDiagnosticAction& action : message.fActions)
      part += action.fPriority + ". " + action.fText + "\n";
    text += message.fErrorCode + ": " + part;
  }
  return text;
}

}  // namespace ovk_cimple

// What the lines of the core log tell of an enumeration of testable drives: the decision that
// discovery made on each, not a second opinion.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace cli {

// For one thread at a time.
class Decisions {
 public:
  // Takes a line of the core log.
  void take(int severity, std::string_view text);

  // Why the device was left out, in words; empty when it can be tested, nothing when no line told.
  std::optional<std::string> reason(const std::string& device) const;

 private:
  std::map<std::string, std::string, std::less<>> reasons_;
  bool machine_excluded_ = false;
};

}  // namespace cli

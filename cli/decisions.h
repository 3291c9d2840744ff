// What the lines of the core log tell of an enumeration of testable drives: the decision that
// discovery made on each, not a second opinion.
#pragma once

#include <functional>
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

  // What a drive that is left out as RAID was found to be; empty when no line told.
  std::string found(const std::string& device) const;
  // "BIOS 9845" or "machine type 9458" where the whole machine is excluded by it, else empty.
  const std::string& excluded_by() const { return excluded_by_; }
  // How many drives were decided on.
  std::size_t count() const { return reasons_.size(); }

 private:
  std::map<std::string, std::string, std::less<>> reasons_;
  std::map<std::string, std::string, std::less<>> found_;
  std::string excluded_by_;
};

}  // namespace cli

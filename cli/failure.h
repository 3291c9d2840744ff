// Why the command cannot do what it was asked for: one line for its user. Ends it with status 3.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace cli {

class CommandFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// It was not asked rightly. more: lines for people that help with that.
class WrongCommandLine : public CommandFailure {
 public:
  explicit WrongCommandLine(const std::string& line, std::string more = "")
      : CommandFailure(line), more_(std::move(more)) {}
  const std::string& more() const { return more_; }

 private:
  std::string more_;
};

}  // namespace cli

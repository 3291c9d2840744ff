// What the command throws when it cannot do what it was asked for: one line for its user. The
// command then ends with status 3.
#pragma once

#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace cli {

class CommandFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The command line was wrong. more: further lines, which help people to mend it.
class WrongCommandLine : public CommandFailure {
 public:
  explicit WrongCommandLine(const std::string& line, std::string more = "")
      : CommandFailure(line), more_(std::move(more)) {}
  const std::string& more() const { return more_; }

 private:
  std::string more_;
};

// What an exception says, for people.
inline std::string reason_of(const std::exception& error) {
  return dynamic_cast<const std::bad_alloc*>(&error) ? "out of memory" : error.what();
}

}  // namespace cli

// Why the command cannot do what it was asked for: one line for its user. Ends it with status 3.
#pragma once

#include <stdexcept>

namespace cli {

class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Exit statuses that all commands share.
inline constexpr int status_ok = 0;
inline constexpr int status_cannot = 3;

}  // namespace cli

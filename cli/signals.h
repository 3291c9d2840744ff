// Signals of a server, one after the other.
#pragma once

#include <chrono>

#include "platform/descriptor.h"

namespace cli {

// While it lives, SIGINT, SIGTERM and SIGHUP do nothing but make wait return, and SIGPIPE nothing
// at all. They are caught and neither blocked nor ignored, since programs that are started
// meanwhile would inherit that. One at a time in a process.
class Signals {
 public:
  Signals();  // throws CommandFailure
  ~Signals();
  Signals(const Signals&) = delete;

  // Blocks until one comes, but no longer than that; its number, 0 when none came.
  int wait(std::chrono::milliseconds most);

 private:
  platform::Pipe pipe_;  // of the numbers that came
};

}  // namespace cli

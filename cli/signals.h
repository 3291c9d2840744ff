// Signals of a server, one after the other.
#pragma once

namespace cli {

// While it lives, SIGINT, SIGTERM and SIGHUP do nothing but make wait return, and SIGPIPE nothing
// at all. They are caught and neither blocked nor ignored, since programs that are started
// meanwhile would inherit that. One at a time in a process.
class Signals {
 public:
  Signals();  // throws Failure
  ~Signals();
  Signals(const Signals&) = delete;

  // Blocks until one comes; its number.
  int wait();
};

}  // namespace cli

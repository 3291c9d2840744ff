// What happens when somebody ends the command while a drive is testing: Ctrl-C, a closed terminal,
// or kill.
#pragma once

#include <functional>
#include <memory>

namespace cli {

// While it lives, SIGINT, SIGTERM and SIGHUP (unless they were ignored, as under nohup) are taken
// by a thread of its own. The first one makes it call on_interrupt, and then end the process by
// that signal, so that a shell sees status 128 + signal (130 for Ctrl-C) and stops its own loop.
// Must be made before other threads: they inherit the blocked signals.
class Interrupt {
 public:
  explicit Interrupt(std::function<void()> on_interrupt);
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace cli

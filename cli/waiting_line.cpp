#include "cli/waiting_line.h"

#include <signal.h>

namespace cli {

using std::chrono::steady_clock;

WaitingLine::WaitingLine(Output& output, std::string title, bool show,
                         std::chrono::milliseconds every)
    : lines_(&output, show), title_(std::move(title)) {
  if (!lines_.rewrites()) return;
  // The thread that shows the line takes no signals.
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  thread_ = std::thread([this, every] { keep_showing(every); });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

WaitingLine::~WaitingLine() { end(); }

void WaitingLine::end() {
  {
    const std::lock_guard guard(lock_);
    ended_ = true;
  }
  over_.notify_all();
  if (thread_.joinable()) thread_.join();
  lines_.clear();
}

void WaitingLine::say(std::string doing) {
  const std::lock_guard guard(lock_);
  doing_ = std::move(doing);
}

void WaitingLine::keep_showing(std::chrono::milliseconds every) {
  std::unique_lock guard(lock_);
  while (!over_.wait_for(guard, every, [this] { return ended_; })) {
    const auto elapsed = steady_clock::now() - start_;
    lines_.show({{title_, doing_, std::chrono::duration_cast<std::chrono::seconds>(elapsed)}});
  }
}

}  // namespace cli

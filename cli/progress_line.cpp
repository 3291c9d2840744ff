#include "cli/progress_line.h"

#include "cli/text.h"
#include "platform/support/logger.h"

namespace cli {

using namespace std::chrono_literals;

ProgressLine::ProgressLine(Output* output, bool rewrite, std::string title)
    : output_(output), rewrite_(output && rewrite && output->rewrites()), title_(std::move(title)) {
  NKVRHVX20::SetLogSink([](NKVRHVX20::ILogger::EHVXLogSeverity severity, const std::string& text,
                           void* data) { static_cast<ProgressLine*>(data)->take(severity, text); },
                        this);
  if (rewrite_) ticker_ = std::thread([this] { tick(); });
}

ProgressLine::~ProgressLine() {
  NKVRHVX20::SetLogSink(nullptr, nullptr);
  give_up();
  if (ticker_.joinable()) ticker_.join();
}

std::chrono::seconds ProgressLine::elapsed() const {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() -
                                                          start_);
}

Step ProgressLine::give_up() {
  const std::lock_guard guard(lock_);
  clear();
  ended_ = true;
  ended_changed_.notify_all();
  return progress_.step();
}

void ProgressLine::take(int severity, const std::string& text) {
  const std::lock_guard guard(lock_);
  if (!progress_.take(severity, text)) return;
  // Where lines stay, those of the steps that take no time are left out.
  if (rewrite_ || progress_.step() == Step::testing) show();
}

void ProgressLine::tick() {
  std::unique_lock guard(lock_);
  while (!ended_) {
    show();
    ended_changed_.wait_for(guard, 1s);
  }
}

void ProgressLine::show() {
  if (!output_ || ended_) return;
  const std::string line =
      title_ + ": " + progress_.shown() + " (" + duration_text(elapsed()) + ")";
  if (!rewrite_) {
    output_->write(line + "\n");
    return;
  }
  // The last column stays free: some terminals begin a new line as soon as it is filled.
  output_->write("\r" + elide(line, output_->columns() - 1) + "\x1b[K");
  drawn_ = true;
}

void ProgressLine::clear() {
  if (drawn_) output_->write("\r\x1b[K");
  drawn_ = false;
}

}  // namespace cli

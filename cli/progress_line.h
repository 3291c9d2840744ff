// The line that shows a running test: on a terminal one line, written over every second; elsewhere
// a line for each change.
//
//   [1/2] /dev/sda: testing, 90% remaining (0:35)
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "cli/output.h"
#include "cli/progress.h"

namespace cli {

class ProgressLine {
 public:
  // Listens to the core log while it lives; there must be one at a time. output null: shows
  // nothing, but listens. rewrite: on a terminal that can, write over the line. title: the
  // escaped text in front.
  ProgressLine(Output* output, bool rewrite, std::string title);
  ~ProgressLine();  // takes the line away
  ProgressLine(const ProgressLine&) = delete;

  // Of the test so far; for the thread that runs it.
  const Progress& progress() const { return progress_; }
  std::chrono::seconds elapsed() const;

  // For another thread: takes the line away and shows no more. Returns the step reached.
  Step give_up();

 private:
  void take(int severity, const std::string& text);
  void tick();
  void show();   // with the lock held
  void clear();  // with the lock held

  Output* const output_;
  const bool rewrite_;
  const std::string title_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::mutex lock_;
  std::condition_variable ended_changed_;
  bool ended_ = false;
  bool drawn_ = false;
  Progress progress_;
  std::thread ticker_;
};

}  // namespace cli

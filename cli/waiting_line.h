// What the command is waiting for, on a terminal: one line that is written over each second and
// taken away at the end.
//
//   looking for drives: smartctl, 3 of 24 (0:12)
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "cli/output.h"
#include "cli/progress_line.h"

namespace cli {

// Shows nothing within the first second, nor where lines cannot be written over. Everything else
// that goes to the output has to wait until it is destroyed.
class WaitingLine {
 public:
  // title: what is done, escaped. The output is borrowed. every: for tests.
  WaitingLine(Output& output, std::string title, bool show,
              std::chrono::milliseconds every = std::chrono::seconds(1));
  ~WaitingLine();
  WaitingLine(const WaitingLine&) = delete;

  // Removes the line for good; a second call does nothing. For one thread at a time.
  void end();

  // How far it is, escaped; any thread may say so, also after the end.
  void say(std::string doing);

 private:
  void keep_showing(std::chrono::milliseconds every);

  ProgressLines lines_;
  const std::string title_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::mutex lock_;
  std::condition_variable over_;
  bool ended_ = false;
  std::string doing_;
  std::thread thread_;  // the last: it uses the others
};

}  // namespace cli

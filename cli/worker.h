// A test in a process of its own: one process runs one test at a time, so every drive gets one.
//
// The process is this program, called as "run --worker -- DEVICE". It writes one JSON object per
// line to its standard output: {"doing": text, "step": number} whenever what the drive is doing
// changes, and at last {"result": ...}.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "cli/drive_result.h"
#include "cli/places.h"
#include "cli/progress.h"
#include "platform/descriptor.h"

namespace cli {

// Does the work of that process and returns its exit status. The process ends when its parent ends.
int work(const Places& places, const std::string& device);

// A process that tests a drive. For one thread at a time.
class Worker {
 public:
  // Starts it; throws CommandFailure when it cannot be started. device: the text that the module
  // will know the drive by. The process group is its own, so that Ctrl-C reaches it through us
  // only.
  Worker(const Places& places, const std::string& device);
  ~Worker();  // kills what is left of it
  Worker(const Worker&) = delete;

  int descriptor() const { return output_.get(); }  // readable when there is news
  // Takes the news, without blocking if the descriptor was readable; false when it has ended.
  bool read();

  const std::string& doing() const { return doing_; }  // for the progress line
  Step step() const { return step_; }
  // What it was doing in the test, each change since the last read: several may have come at once.
  const std::vector<std::string>& told() const { return told_; }
  const DriveResult& result() const { return result_; }  // once it has ended

 private:
  void take(std::string_view line);
  void end();

  pid_t process_;
  platform::Descriptor output_;
  std::string unread_;
  std::string doing_ = "waiting";
  Step step_ = Step::Waiting;
  std::vector<std::string> told_;
  bool ended_ = false;
  bool ended_well_ = false;  // it gave its result
  DriveResult result_;
};

}  // namespace cli

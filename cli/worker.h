// A test in a process of its own: one process runs one test of the module at a time, so every drive
// gets one.
//
// The process is this program, called as "run --worker -- DEVICE", with options that say the rest
// of the task. It writes one JSON object per line to its standard output: {"doing": text, "step":
// number, "progress": object} whenever what the drive is doing changes, and at last {"result": ...,
// "hindrance": number}.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "cli/drive_result.h"
#include "cli/follow.h"
#include "cli/library_run.h"
#include "cli/log_texts.h"
#include "cli/places.h"
#include "cli/run_plan.h"
#include "platform/descriptor.h"

namespace cli {

struct WorkerTask {
  // The text that the module will know the drive by, or where the library finds it.
  std::string device;
  Way way = Way::Module;
  drivetest::TestKind kind = drivetest::TestKind::Short;
  std::string type{};          // for smartctl -d
  bool is_apart = false;       // another drive claims to be this one
  bool is_type_given = false;  // by the user

  // As name_in_command() has it.
  std::string given_type() const { return is_type_given ? type : std::string(); }
};

// Does the work of that process and returns its exit status. The process ends when its parent ends.
int work(const Places& places, const WorkerTask& task);

// What the process tells of a drive that is being tested.
struct Told {
  std::string doing;                     // for the progress line
  std::optional<TestProgress> progress;  // where a test runs
};

// A process that tests a drive. For one thread at a time.
class Worker {
 public:
  // Starts it; throws CommandFailure when it cannot be started. The process group is its own, so
  // that Ctrl-C reaches it through us only.
  Worker(const Places& places, const WorkerTask& task);
  ~Worker();  // kills what is left of it
  Worker(const Worker&) = delete;

  int descriptor() const { return output_.get(); }  // readable when there is news
  // Takes the news, without blocking if the descriptor was readable; false when it has ended.
  bool read();

  const std::string& doing() const { return doing_; }  // for the progress line
  RunStep step() const { return step_; }
  // What it was doing in the test, each change since the last read: several may have come at once.
  const std::vector<Told>& told() const { return told_; }
  const DriveResult& result() const { return result_; }  // once it has ended
  Hindrance hindrance() const { return hindrance_; }     // the same, of the library

 private:
  void take(std::string_view line);
  void end();

  pid_t process_;
  platform::Descriptor output_;
  std::string unread_;
  std::string doing_ = "waiting";
  RunStep step_ = RunStep::Waiting;
  std::vector<Told> told_;
  Hindrance hindrance_ = Hindrance::None;
  bool ended_ = false;
  bool ended_well_ = false;  // it gave its result
  std::string name_;         // of the drive in commands
  DriveResult result_;
};

}  // namespace cli

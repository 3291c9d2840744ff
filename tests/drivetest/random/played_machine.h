// The machine of a life: drives at device names, a clock that somebody may move, processes that use
// the library over one history, and what they were told. What really happened stands in the drives.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "drivetest/keeper.h"
#include "tests/drivetest/random/step.h"

namespace random_lives {

// One start that we asked a process for.
struct Call {
  int drive = 0;
  std::int64_t row = 0;  // of the history when the drive was told to begin
  int test = -1;         // that began, of the drive's
};

// Thrown through the library where a process is killed.
struct Killed {};

class PlayedMachine {
 public:
  PlayedMachine(const Life& life, std::filesystem::path folder);
  ~PlayedMachine();
  PlayedMachine(const PlayedMachine&) = delete;
  PlayedMachine& operator=(const PlayedMachine&) = delete;

  void take(const Step& step);
  // All troubles end, all tests have had their time, and a new process looks at every drive.
  void settle();

  PlayedDrive& drive(int number) { return *drives_[static_cast<std::size_t>(number)]; }
  int drives() const { return static_cast<int>(drives_.size()); }
  const std::vector<Call>& calls() const { return calls_; }
  // The history, as it is now.
  const std::vector<drivetest::KeptTest>& rows();

  // Of the last step, for those who judge it.
  struct Report {
    std::vector<std::int64_t> started;  // rows that a user was told of
    std::optional<drivetest::Time> forgotten_before;
    struct Seen {  // a look that the history has taken over, with nothing else meanwhile
      int drive = 0;
      bool shows_test = false;  // the drive, from the look's beginning to its end
      bool runs = false;        // a test, at some time of it
    };
    std::vector<Seen> seen;
    std::vector<std::string> lies;  // what was reported and is not so
  };
  Report& report() { return report_; }
  bool was_clock_moved() const { return was_clock_moved_; }
  bool has_history_failed() const { return has_history_failed_; }
  drivetest::Time clock() const;

 private:
  class Access;
  class Clock;
  struct Process;
  struct Trouble {
    std::int64_t looks_that_fail = 0;
    bool rests = false;
  };

  void pass(Seconds duration);
  void begin_call();
  Process& process(int number);
  void end_process(int number);
  void work(const Step& step);
  void start(const Step& step, Process& process, const drivetest::Place& place);
  void stop(Process& process, const drivetest::Place& place);
  void look(Process& process, const drivetest::Place& place);
  void test_by_module(const Step& step, Process& process, const drivetest::Place& place);
  void begin_by_other(const Step& step);
  void restart(const Step& step);
  void note_row_that_begins(const drivetest::Drive& drive);
  drivetest::ToolReply begin(int drive, TestKind kind);
  int drive_at(const std::string& name) const;
  // Whether nothing else happens during the step.
  bool is_alone() const { return !is_meanwhile_ && !step_->meanwhile; }
  void lie(const std::string& words) { report_.lies.push_back(words); }

  std::filesystem::path folder_;
  std::vector<std::unique_ptr<PlayedDrive>> drives_;
  std::vector<Trouble> troubles_;
  std::vector<int> at_;  // by name
  std::unique_ptr<drivetest::History> observer_;
  std::vector<std::unique_ptr<Process>> processes_;
  std::vector<drivetest::KeptTest> rows_;
  std::int64_t rows_version_ = -1;
  std::vector<Call> calls_;
  std::int64_t row_that_begins_ = 0;
  Seconds now_ = 0;
  Seconds clock_ = 0;  // ahead of what it should say
  bool was_clock_moved_ = false;
  bool has_history_failed_ = false;
  bool fails_history_ = false;
  const Step* step_ = nullptr;
  std::shared_ptr<Step> meanwhile_;
  int calls_until_ = 0;
  bool is_meanwhile_ = false;
  Report report_;
};

}  // namespace random_lives

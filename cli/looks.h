// Looks at drives, several at once, whose answers are taken as they come.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "cli/drive_tests.h"
#include "drivetest/keeper.h"

namespace cli {

// Begins to look at once, and waits at its end for all looks. For one thread at a time.
class Looks {
 public:
  // Both must outlive it.
  Looks(DriveTests& tests, std::vector<ChosenDrive>& drives, bool wake);

  bool has_next() const { return !left_.empty(); }

  // An answer that was not taken yet, with the place of its drive. Blocks until there is one. They
  // come in the order of the drives, but on a terminal a slow drive comes behind those that have
  // answered meanwhile; there a line shows after a second which drive is waited for. Throws what
  // the look has thrown.
  std::pair<std::size_t, drivetest::DriveStatus> next();

 private:
  using Clock = std::chrono::steady_clock;

  struct Answer {
    bool is_there = false;
    Clock::time_point came;
    drivetest::DriveStatus status;
    std::exception_ptr thrown;
  };

  void keep(std::size_t drive, Answer answer);
  std::size_t next_drive();

  std::vector<ChosenDrive>& drives_;
  std::set<std::size_t> left_;  // those that were not taken
  std::mutex lock_;             // over each answer until it is there
  std::condition_variable has_come_;
  std::vector<Answer> answers_;
  std::jthread thread_;  // the last: it uses the others
};

}  // namespace cli

// Holds the history against what really happened.
#pragma once

#include <map>
#include <stdexcept>
#include <vector>

#include "tests/drivetest/random/played_machine.h"

namespace random_lives {

class Violation : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Judge {
 public:
  explicit Judge(PlayedMachine& machine) : machine_(machine) {}

  // After each step. Throws Violation.
  void judge();

 private:
  using Rows = std::vector<drivetest::KeptTest>;

  void judge_changes(const Rows& rows);
  void judge_times(const Rows& rows) const;
  void judge_outcome(const drivetest::KeptTest& kept) const;
  bool has_row(const RealTest& test) const;
  bool is_excused(const drivetest::TestRow& row, const Call* call, PlayedDrive& drive) const;
  void judge_sources(const Rows& rows) const;
  void judge_look(const PlayedMachine::Report::Seen& seen, const Rows& rows) const;
  void judge_failures(int drive, const Rows& rows) const;

  int drive_of(const drivetest::TestRow& row) const;
  const Call* call_of(const drivetest::TestRow& row) const;

  PlayedMachine& machine_;
  std::map<std::int64_t, drivetest::KeptTest> known_;      // as the rows were before the step
  std::map<std::int64_t, drivetest::KeptTest> forgotten_;  // on somebody's wish
  std::map<std::int64_t, bool> reported_;                  // rows that a user was told of
};

}  // namespace random_lives

// What a patrol has found: every drive of the machine tested, or why not.
// Of a failed drive sysfs is read.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/drive_tests.h"
#include "cli/follow.h"

namespace cli {

enum class PatrolResult {
  Passed,
  Failed,  // or the drive disappeared during its test
  Aborted,
  Unknown,     // how the test ended, or whether it began; or it has stalled and may still end
  Running,     // another test, which was left alone
  InArray,     // that rebuilds or checks its drives now
  InStandby,   // and was not to be woken
  Unable,      // the drive knows no such test
  NotAsked,    // it does not answer, or the tool that asks it is missing
  NotStarted,  // for another reason
};

// "passed", "in-array" and so on, as --json has them.
std::string_view word_of(PatrolResult result);

struct PatrolledDrive {
  ChosenDrive drive;
  PatrolResult result = PatrolResult::NotStarted;
  std::string reason;                     // why it did not pass, in words; not escaped
  drivetest::Look look;                   // the last one; empty where there was none
  std::optional<drivetest::TestRow> row;  // of the test that was started, or that runs
  std::string advice{};     // of a failed one, what to do and which drive it is; not escaped
  bool is_stalled = false;  // the test that was left alone

  // Somebody has to look after the drive.
  bool is_bad() const {
    return result == PatrolResult::Failed || result == PatrolResult::Unknown ||
           result == PatrolResult::NotAsked || result == PatrolResult::NotStarted;
  }
};

// Of a test that did not come about.
PatrolledDrive patrolled(const ChosenDrive& drive, const drivetest::StartOutcome& outcome);
// Of one that did.
PatrolledDrive patrolled(const ChosenDrive& drive, const Followed& followed);

// "/dev/sda: failed: read failure; back up its data, then replace it: Example Disk 500, serial
// number EX0001", "/dev/sdb: left alone: md0: recovery".
std::string line_of(const PatrolledDrive& drive);

// "3 drives: 1 passed, 2 left alone since a test runs already (1 stalled)"; "no drive to test".
std::string counts_of(const std::vector<PatrolledDrive>& drives);

// 1 if a drive failed, else 0.
int status_of(const std::vector<PatrolledDrive>& drives);

}  // namespace cli

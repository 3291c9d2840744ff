#include "cli/patrol_report.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

using drivetest::LookFault;
using drivetest::Outcome;
using drivetest::StartOutcome;
using drivetest::StartResult;
using End = Followed::End;

const ChosenDrive kDrive{"/dev/sda", {"/dev/sda", ""}, "", {}, {}};

PatrolledDrive of_start(StartResult result, LookFault fault = LookFault::None) {
  StartOutcome outcome;
  outcome.result = result;
  outcome.reason = "the tool says no";
  outcome.status.look.fault = fault;
  outcome.status.look.reason = "the look says no";
  if (result == StartResult::AlreadyRunning) {
    outcome.row.emplace();
    outcome.row->kind = drivetest::TestKind::Long;
  }
  return patrolled(kDrive, outcome);
}

PatrolledDrive of_end(End end, std::optional<Outcome> outcome = {}) {
  Followed followed;
  followed.end = end;
  followed.row.outcome = outcome;
  followed.row.cause = "read failure";
  followed.drive.model = "Example Disk 500";
  followed.drive.serial_number = "EX0001";
  followed.look.reason = "the look says no";
  return patrolled(kDrive, followed);
}

TEST(PatrolReport, LeavesATestThatRunsAlone) {
  const PatrolledDrive drive = of_start(StartResult::AlreadyRunning);
  EXPECT_EQ(drive.result, PatrolResult::Running);
  EXPECT_EQ(line_of(drive), "/dev/sda: left alone: long test runs already");
}

TEST(PatrolReport, SaysThatATestHasStalled) {
  StartOutcome outcome;
  outcome.result = StartResult::AlreadyRunning;
  outcome.row.emplace();
  outcome.row->kind = drivetest::TestKind::Long;
  outcome.row->remaining_percent = 50;
  outcome.status.is_stalled = true;
  const PatrolledDrive drive = patrolled(kDrive, outcome);
  EXPECT_TRUE(drive.is_stalled);
  EXPECT_EQ(line_of(drive),
            "/dev/sda: left alone: long test has stalled, 50% remaining; it may still end, and "
            "'hddtest stop' ends it");
  EXPECT_EQ(counts_of({of_start(StartResult::AlreadyRunning), drive}),
            "2 drives: 2 left alone since a test runs already (1 stalled)");
  EXPECT_TRUE(of_end(End::Stalled).is_stalled);
}

TEST(PatrolReport, SaysWhyNoTestWasStarted) {
  EXPECT_EQ(line_of(of_start(StartResult::NotAble)),
            "/dev/sda: cannot be tested: the tool says no");
  EXPECT_EQ(line_of(of_start(StartResult::NotStarted)), "/dev/sda: not started: the tool says no");
  EXPECT_EQ(line_of(of_start(StartResult::NotStarted, LookFault::CannotBeReached)),
            "/dev/sda: could not be asked: the look says no");
  EXPECT_EQ(of_start(StartResult::NotStarted, LookFault::Standby).result, PatrolResult::InStandby);
}

TEST(PatrolReport, CallsATestThatMayHaveBegunNotKnown) {
  StartOutcome outcome;
  outcome.reason = "the drive took the command, and has not answered since: no such device";
  outcome.is_untold = true;
  const PatrolledDrive drive = patrolled(kDrive, outcome);
  EXPECT_EQ(drive.result, PatrolResult::Unknown);
  EXPECT_TRUE(drive.is_bad());
  EXPECT_EQ(line_of(drive),
            "/dev/sda: result not known: it may have been started: the drive took the command, and "
            "has not answered since: no such device");
}

TEST(PatrolReport, SaysHowATestEnded) {
  EXPECT_EQ(line_of(of_end(End::Ended, Outcome::Passed)), "/dev/sda: passed");
  EXPECT_EQ(line_of(of_end(End::Ended, Outcome::Failed)),
            "/dev/sda: failed: read failure; back up its data, then replace it: Example Disk 500, "
            "serial number EX0001");
  EXPECT_EQ(of_end(End::Ended, Outcome::Aborted).result, PatrolResult::Aborted);
  EXPECT_EQ(of_end(End::Ended, Outcome::Unknown).result, PatrolResult::Unknown);
  EXPECT_EQ(of_end(End::Stalled).result, PatrolResult::Unknown);
  EXPECT_EQ(line_of(of_end(End::NotTold)), "/dev/sda: result not known: the look says no");
  EXPECT_EQ(line_of(of_end(End::Gone)),
            "/dev/sda: failed: the drive disappeared during the test; back up what can still be "
            "read, then check cable and power of Example Disk 500, serial number EX0001");
}

TEST(PatrolReport, FailsForAFailedDriveAlone) {
  const PatrolledDrive failed = of_end(End::Ended, Outcome::Failed);
  const std::vector<PatrolledDrive> others = {
      of_end(End::Ended, Outcome::Passed),
      of_end(End::Ended, Outcome::Aborted),
      of_end(End::Ended, Outcome::Unknown),
      of_end(End::Stalled),
      of_end(End::NotTold),
      of_start(StartResult::AlreadyRunning),
      of_start(StartResult::NotAble),
      of_start(StartResult::NotStarted),
      of_start(StartResult::NotStarted, LookFault::Standby),
      of_start(StartResult::NotStarted, LookFault::ToolMissing),
      {kDrive, PatrolResult::InArray, "md0: recovery", {}, {}}};
  EXPECT_EQ(status_of({}), 0);
  EXPECT_EQ(status_of(others), 0);
  std::vector<PatrolledDrive> all = others;
  all.push_back(failed);
  EXPECT_EQ(status_of(all), 1);
  EXPECT_EQ(status_of({of_end(End::Gone)}), 1);
}

TEST(PatrolReport, CountsWhatBecameOfTheDrives) {
  EXPECT_EQ(counts_of({}), "no drive to test");
  EXPECT_EQ(counts_of({of_end(End::Ended, Outcome::Passed)}), "1 drive: 1 passed");
  EXPECT_EQ(counts_of({{kDrive, PatrolResult::InArray, "md0: recovery", {}, {}},
                       of_end(End::Ended, Outcome::Passed),
                       of_end(End::Ended, Outcome::Passed)}),
            "3 drives: 2 passed, 1 left alone since their arrays work");
  EXPECT_EQ(counts_of({of_start(StartResult::NotAble),
                       of_start(StartResult::NotStarted, LookFault::CannotBeReached)}),
            "2 drives: 1 not testable, 1 that could not be asked");
}

TEST(PatrolReport, HasAWordForEachResult) {
  EXPECT_EQ(word_of(PatrolResult::Passed), "passed");
  EXPECT_EQ(word_of(PatrolResult::InArray), "in-array");
  EXPECT_EQ(word_of(PatrolResult::NotAsked), "not-asked");
  EXPECT_EQ(word_of(PatrolResult::NotStarted), "not-started");
}

}  // namespace
}  // namespace cli

// Drives that do not answer for a while.
#include "drivetest/keeper_case.h"

namespace drivetest {
namespace {

using std::chrono::minutes;

class SilentDrive : public KeeperCase {};

INSTANTIATE_TEST_SUITE_P(Protocols, SilentDrive, every_protocol(), protocol_name);

TEST_P(SilentDrive, KeepsItsRow) {
  start();
  drive_.fault = LookFault::NoSuchDrive;
  time_.wait(minutes(3));
  EXPECT_EQ(look().look.reason, "the drive does not answer");
  EXPECT_EQ(outcomes(), "running ");
  EXPECT_EQ(start().result, StartResult::NotStarted);
  EXPECT_EQ(stop().result, StopResult::NotStopped);
  drive_.fault = LookFault::None;
  EXPECT_EQ(look().ended.front().outcome, Outcome::Passed);
}

TEST_P(SilentDrive, KeepsItsRunningTest) {
  start();
  drive_.fault = LookFault::Standby;
  const DriveStatus status = look();
  ASSERT_TRUE(status.running);
  EXPECT_EQ(status.running->number, rows().front().number);
  EXPECT_FALSE(status.is_testing()) << "nobody has asked it";
}

TEST_P(SilentDrive, HasARunningTestThatTheKeeperRemembers) {
  Keeper keeper(drive_, time_, [] { return nullptr; });
  keeper.start(place_, TestKind::Short, false, false);
  drive_.fault = LookFault::Standby;
  EXPECT_TRUE(keeper.look(place_, false).running);
}

TEST_P(SilentDrive, KeepsTheRowOfATestThatItMayHaveBegun) {
  drive_.before_start = [&] { drive_.fault = LookFault::CannotBeReached; };
  const StartOutcome started = start();
  EXPECT_EQ(started.result, StartResult::NotStarted);
  EXPECT_EQ(started.reason,
            "the drive took the command, and has not answered since: the drive does not answer");
  EXPECT_FALSE(started.row);
  EXPECT_EQ(outcomes(), "running ");
  drive_.fault = LookFault::None;
  time_.wait(minutes(3));
  ASSERT_EQ(look().ended.size(), 1);
  EXPECT_EQ(rows().front().source, Source::Library);
  EXPECT_EQ(outcomes(), "passed ");
}

TEST_P(SilentDrive, IsNotCalledTestingAfterAStop) {
  start();
  drive_.after_command = [this] { drive_.fault = LookFault::CannotBeReached; };
  const StopOutcome outcome = stop();
  EXPECT_EQ(outcome.result, StopResult::NotStopped);
  EXPECT_TRUE(outcome.is_untold);
  EXPECT_EQ(outcome.reason,
            "the drive took the command, and has not answered since: the drive does not answer");
}

TEST_P(SilentDrive, IsNotCalledTestingWhereItsTestWasToBeReplaced) {
  start();
  drive_.after_command = [this] { drive_.fault = LookFault::CannotBeReached; };
  const StartOutcome starting = start(TestKind::Long, true);
  EXPECT_EQ(starting.result, StartResult::NotStarted);
  EXPECT_EQ(starting.reason,
            "not known whether the test that runs was ended: the drive took the command, and has "
            "not answered since: the drive does not answer");
  EXPECT_FALSE(starting.replaced);
}

TEST_P(SilentDrive, KeepsTheRowOfATestThatAnotherProgramHasMade) {
  const auto row = keeper_.begin_foreign(place_, TestKind::Short, Source::Module);
  drive_.begin(TestKind::Short);
  time_.wait(minutes(3));
  drive_.fault = LookFault::CannotBeReached;
  EXPECT_TRUE(keeper_.end_foreign(*row, false));
  EXPECT_EQ(outcomes(), "running ");
  drive_.fault = LookFault::None;
  look();
  EXPECT_EQ(outcomes(), "passed ");
  EXPECT_EQ(rows().front().source, Source::Module);
}

TEST_P(SilentDrive, KeepsTheRowOfATestThatAnotherProcessHasSeen) {
  Keeper other(drive_, time_, [this] { return history_.get(); });
  const auto row = keeper_.begin_foreign(place_, TestKind::Short, Source::Module);
  drive_.begin(TestKind::Short);
  EXPECT_TRUE(other.look(place_, false).running);
  EXPECT_FALSE(keeper_.withdraw(*row));
  EXPECT_EQ(outcomes(), "running ");
}

}  // namespace
}  // namespace drivetest

// Tests that the module begins and ends.
#include "drivetest/keeper_case.h"

namespace drivetest {
namespace {

using std::chrono::minutes;

class ModuleTest : public KeeperCase {};

INSTANTIATE_TEST_SUITE_P(Protocols, ModuleTest, every_protocol(), protocol_name);

TEST_P(ModuleTest, KeepsWhatTheModuleTests) {
  const auto row = keeper_.begin_foreign(place_, TestKind::Short, Source::Module);
  ASSERT_TRUE(row);
  drive_.begin(TestKind::Short);
  drive_.result_code = 7;
  time_.wait(minutes(3));
  const auto ended = keeper_.end_foreign(*row, true);
  ASSERT_TRUE(ended);
  EXPECT_EQ(ended->source, Source::Module);
  EXPECT_EQ(ended->outcome, Outcome::Failed);
  EXPECT_EQ(outcomes(), "failed ");
}

TEST_P(ModuleTest, TakesBackATestOfTheModuleThatDidNotComeAbout) {
  const auto row = keeper_.begin_foreign(place_, TestKind::Short, Source::Module);
  EXPECT_FALSE(keeper_.end_foreign(*row, false));
  EXPECT_EQ(outcomes(), "");
}

TEST_P(ModuleTest, KeepsATestOfTheModuleThatOnlyTheModuleHasSeen) {
  drive_.writes_entries = false;
  const auto row = keeper_.begin_foreign(place_, TestKind::Short, Source::Module);
  drive_.begin(TestKind::Short);
  time_.wait(minutes(3));
  EXPECT_EQ(keeper_.end_foreign(*row, true)->outcome,
            GetParam() == Protocol::Ata ? Outcome::Passed : Outcome::Unknown);
}

TEST_P(ModuleTest, TellsTheEndOfATestOfTheModuleThatAnotherProcessHasSeen) {
  const auto row = keeper_.begin_foreign(place_, TestKind::Short, Source::Module);
  drive_.begin(TestKind::Short);
  drive_.result_code = 7;
  time_.wait(minutes(3));
  EXPECT_EQ(look().ended.size(), 1U);
  const auto ended = keeper_.end_foreign(*row, true);
  ASSERT_TRUE(ended);
  EXPECT_EQ(ended->outcome, Outcome::Failed);
}

TEST_P(ModuleTest, LeavesATestOfTheModuleThatStillRunsToALaterLook) {
  const auto row = keeper_.begin_foreign(place_, TestKind::Short, Source::Module);
  drive_.begin(TestKind::Short);
  EXPECT_FALSE(keeper_.end_foreign(*row, true)->outcome);
  EXPECT_EQ(outcomes(), "running ");
  time_.wait(minutes(3));
  EXPECT_EQ(look().ended.front().outcome, Outcome::Passed);
}

// A keeper that opens the history late cannot tell how old its look is, so the drive is asked
// again.
TEST_P(ModuleTest, BeginsNothingWhereTheDriveAnswersNoSecondTime) {
  look();
  drive_.begin(TestKind::Short);  // somebody else's, of which no look is kept
  drive_.result_code = 7;
  time_.wait(minutes(3));
  Keeper module(drive_, time_, [this] { return history_.get(); });
  drive_.during_look = [this] { drive_.fault = LookFault::CannotBeReached; };
  EXPECT_FALSE(module.begin_foreign(place_, TestKind::Short, Source::Module));
  EXPECT_EQ(outcomes(), "");
  drive_.fault = LookFault::None;
  EXPECT_TRUE(module.begin_foreign(place_, TestKind::Short, Source::Module));
  EXPECT_EQ(outcomes(), "failed running ");
}

}  // namespace
}  // namespace drivetest

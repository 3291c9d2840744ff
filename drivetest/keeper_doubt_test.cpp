// Drives that go on saying that a test is at its end.
#include "drivetest/keeper_case.h"

namespace drivetest {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

class DoubtfulDrive : public KeeperCase {
 protected:
  DoubtfulDrive() { drive_.says_running_for_ever = true; }
};

INSTANTIATE_TEST_SUITE_P(Protocols, DoubtfulDrive, testing::Values(Protocol::Ata));

TEST_P(DoubtfulDrive, StartsATestWhereTheDriveOnlySaysThatOneIsAtItsEnd) {
  EXPECT_FALSE(look().is_testing());
  EXPECT_EQ(outcomes(), "");
  EXPECT_EQ(start().result, StartResult::Started);
  time_.wait(seconds(115));
  EXPECT_TRUE(look().is_testing()) << "it is";
  EXPECT_EQ(start().result, StartResult::AlreadyRunning);
  time_.wait(seconds(10));
  EXPECT_FALSE(look().is_testing());
  EXPECT_EQ(outcomes(), "passed ");
  EXPECT_TRUE(keeper_.begin_foreign(place_, TestKind::Short, Source::Module));
}

TEST_P(DoubtfulDrive, DoesNotBelieveThatATestBeganByThatAlone) {
  drive_.refusal = ToolReply{ToolAnswer::Accepted, ""};
  EXPECT_EQ(start().result, StartResult::NotStarted);
  EXPECT_EQ(outcomes(), "");
}

TEST_P(DoubtfulDrive, LeavesATestAloneThatBeganSinceTheLook) {
  drive_.before_start = [&] { drive_.begin(TestKind::Long); };
  start();
  time_.wait(minutes(3));
  look();
  EXPECT_EQ(outcomes(), "passed ") << "it was not ended";
}

TEST_P(DoubtfulDrive, CallsATestUnknownThatStaysAtItsEndWithoutAnEntry) {
  drive_.writes_entries = false;
  start();
  time_.wait(minutes(3));
  EXPECT_TRUE(look().is_testing());
  time_.wait(minutes(59));
  EXPECT_TRUE(look().is_testing());
  time_.wait(minutes(2));
  EXPECT_EQ(look().ended.front().cause,
            "the drive goes on saying that the test is at its end; the drive has written no entry "
            "in its log");
  EXPECT_EQ(outcomes(), "unknown ");
}

TEST_P(DoubtfulDrive, StopsATestOfWhichNoEntryIsLeft) {
  drive_.writes_entries = false;
  EXPECT_EQ(stop().result, StopResult::NothingRuns);
  start();
  EXPECT_EQ(stop().result, StopResult::Stopped);
  EXPECT_EQ(outcomes(), "aborted ");
}

TEST_P(DoubtfulDrive, EndsATestOfTheModuleThatTheModuleHasSeenEnd) {
  drive_.writes_entries = false;
  const auto row = keeper_.begin_foreign(place_, TestKind::Short, Source::Module);
  drive_.begin(TestKind::Short);
  time_.wait(minutes(1));
  look();
  time_.wait(minutes(2));
  EXPECT_EQ(keeper_.end_foreign(*row, true)->outcome, Outcome::Unknown);
}

}  // namespace
}  // namespace drivetest

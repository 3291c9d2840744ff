#include "drivetest/keeper.h"

#include <gmock/gmock.h>

#include "drivetest/database.h"
#include "drivetest/faulty_file_system.h"
#include "drivetest/keeper_case.h"

namespace drivetest {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

class KeeperTest : public KeeperCase {};

INSTANTIATE_TEST_SUITE_P(Protocols, KeeperTest, every_protocol(), protocol_name);

TEST_P(KeeperTest, StartsATestAndBringsItsRowUpToDate) {
  const StartOutcome started = start();
  EXPECT_EQ(started.result, StartResult::Started) << started.reason;
  ASSERT_TRUE(started.row);
  EXPECT_FALSE(started.row->outcome);
  EXPECT_EQ(outcomes(), "running ");
  time_.wait(minutes(1));
  const DriveStatus status = look();
  ASSERT_TRUE(status.running);
  EXPECT_EQ(status.running->remaining_percent, 50);
  time_.wait(minutes(5));
  const DriveStatus ended = look();
  EXPECT_FALSE(ended.running);
  ASSERT_EQ(ended.ended.size(), 1);
  EXPECT_EQ(ended.ended.front().outcome, Outcome::Passed);
  EXPECT_EQ(outcomes(), "passed ");
}

TEST_P(KeeperTest, TellsAFailureByTheDrivesOwnEntry) {
  drive_.result_code = 7;
  start();
  time_.wait(minutes(3));
  EXPECT_EQ(look().ended.front().outcome, Outcome::Failed);
}

TEST_P(KeeperTest, LeavesARunningTestAloneUnlessItIsToBeReplaced) {
  drive_.begin(TestKind::Long);
  const StartOutcome left = start();
  EXPECT_EQ(left.result, StartResult::AlreadyRunning);
  EXPECT_EQ(left.row->source, Source::Other);
  EXPECT_EQ(outcomes(), "running ");
  const StartOutcome replaced = start(TestKind::Short, true);
  EXPECT_EQ(replaced.result, StartResult::Started) << replaced.reason;
  ASSERT_TRUE(replaced.replaced);
  EXPECT_EQ(replaced.replaced->source, Source::Other);
  EXPECT_EQ(replaced.replaced->outcome, Outcome::Aborted);
  EXPECT_EQ(outcomes(), "aborted running ");
}

TEST_P(KeeperTest, WaitsForADriveThatShowsTheTestLate) {
  drive_.delay = seconds(6);
  EXPECT_EQ(start().result, StartResult::Started);
  EXPECT_EQ(outcomes(), "running ");
}

TEST_P(KeeperTest, DoesNotBelieveThatATestBeganWhichTheDriveDoesNotShow) {
  drive_.refusal = ToolReply{ToolAnswer::Accepted, ""};
  const StartOutcome outcome = start();
  EXPECT_EQ(outcome.result, StartResult::NotStarted);
  EXPECT_EQ(outcome.reason, "the drive took the command, but shows no test");
  EXPECT_EQ(outcomes(), "");
  drive_.refusal = ToolReply{ToolAnswer::Refused, "some error"};
  EXPECT_EQ(start().reason, "some error");
  EXPECT_EQ(outcomes(), "");
}

TEST_P(KeeperTest, TellsATestOfAnotherKindThatSomebodyElseWasQuickerWith) {
  if (GetParam() == Protocol::Ata) return;  // where the kind of a running test cannot be seen
  drive_.refusal = ToolReply{ToolAnswer::Busy, "another test runs"};
  drive_.before_start = [&] { drive_.begin(TestKind::Long); };
  const StartOutcome outcome = start(TestKind::Short);
  EXPECT_EQ(outcome.result, StartResult::AlreadyRunning) << outcome.reason;
  ASSERT_TRUE(outcome.row);
  EXPECT_EQ(outcome.row->source, Source::Other);
  EXPECT_EQ(outcome.row->kind, TestKind::Long);
  EXPECT_EQ(outcomes(), "running ");
}

TEST_P(KeeperTest, BelievesTheDriveWhereTheToolSaysThatTheTestDidNotBegin) {
  drive_.refusal = ToolReply{ToolAnswer::Refused, "some error"};
  drive_.before_start = [&] { drive_.begin(TestKind::Short); };
  EXPECT_EQ(start().result, StartResult::Started);
  EXPECT_EQ(outcomes(), "running ");
}

TEST_P(KeeperTest, StopsATestAndSaysSoWhenNoneRuns) {
  EXPECT_EQ(stop().result, StopResult::NothingRuns);
  start(TestKind::Long);
  const StopOutcome stopped = stop();
  EXPECT_EQ(stopped.result, StopResult::Stopped) << stopped.reason;
  EXPECT_EQ(stopped.row->outcome, Outcome::Aborted);
  EXPECT_EQ(outcomes(), "aborted ");
}

TEST_P(KeeperTest, StopsATestThatLeavesNoEntry) {
  drive_.writes_entries = false;
  start();
  const StopOutcome stopped = stop();
  EXPECT_EQ(stopped.result, StopResult::Stopped);
  EXPECT_EQ(stopped.row->outcome, Outcome::Aborted);
}

TEST_P(KeeperTest, SaysThatADriveDoesNotStop) {
  drive_.obeys_stop = false;
  start();
  const StopOutcome outcome = stop();
  EXPECT_EQ(outcome.result, StopResult::NotStopped);
  EXPECT_EQ(outcome.reason, "the drive took the command, but the test goes on");
  EXPECT_EQ(outcomes(), "running ");
}

TEST_P(KeeperTest, WithoutEntryKnowsTheResultByAtasStatusAlone) {
  drive_.writes_entries = false;
  start();
  time_.wait(minutes(3));
  EXPECT_EQ(look().ended.front().outcome,
            GetParam() == Protocol::Ata ? Outcome::Passed : Outcome::Unknown);
}

TEST_P(KeeperTest, BelievesNoStatusAfterALossOfPower) {
  drive_.writes_entries = false;
  for (const std::optional<std::uint64_t> later : {std::optional(21U), std::optional<unsigned>()}) {
    start();
    time_.wait(minutes(3));
    drive_.power_cycles = later;
    EXPECT_EQ(look().ended.front().outcome, Outcome::Unknown);
    drive_.power_cycles = 20U;
  }
}

TEST_P(KeeperTest, TakesOverWhatOthersHaveTestedOnce) {
  drive_.result_code = 7;
  drive_.begin(TestKind::Short);
  time_.wait(minutes(3));
  EXPECT_TRUE(look().ended.empty()) << "nobody waited for it";
  drive_.begin(TestKind::Long);
  time_.wait(minutes(200));
  look();
  look();
  EXPECT_EQ(outcomes(), "failed failed ");
  for (const TestRow& row : rows()) EXPECT_EQ(row.source, Source::Other);
}

TEST_P(KeeperTest, DoesNotTakeTheTestOfAnotherForItsOwn) {
  start();
  drive_.end(1);
  drive_.result_code = 0;
  drive_.begin(TestKind::Long);
  time_.wait(minutes(3));
  EXPECT_EQ(look().ended.front().outcome, Outcome::Aborted);
  EXPECT_EQ(outcomes(), "aborted passed ");
}

class DoubtfulKeeperTest : public KeeperTest {
 protected:
  DoubtfulKeeperTest() { drive_.says_running_for_ever = true; }
};

INSTANTIATE_TEST_SUITE_P(Protocols, DoubtfulKeeperTest, testing::Values(Protocol::Ata));

TEST_P(DoubtfulKeeperTest, StartsATestWhereTheDriveOnlySaysThatOneIsAtItsEnd) {
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

TEST_P(DoubtfulKeeperTest, DoesNotBelieveThatATestBeganByThatAlone) {
  drive_.refusal = ToolReply{ToolAnswer::Accepted, ""};
  EXPECT_EQ(start().result, StartResult::NotStarted);
  EXPECT_EQ(outcomes(), "");
}

TEST_P(DoubtfulKeeperTest, LeavesATestAloneThatBeganSinceTheLook) {
  drive_.before_start = [&] { drive_.begin(TestKind::Long); };
  start();
  time_.wait(minutes(3));
  look();
  EXPECT_EQ(outcomes(), "running passed ") << "it was not ended";
}

TEST_P(DoubtfulKeeperTest, CallsATestUnknownThatStaysAtItsEndWithoutAnEntry) {
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

TEST_P(DoubtfulKeeperTest, StopsATestOfWhichNoEntryIsLeft) {
  drive_.writes_entries = false;
  EXPECT_EQ(stop().result, StopResult::NothingRuns);
  start();
  EXPECT_EQ(stop().result, StopResult::Stopped);
  EXPECT_EQ(outcomes(), "aborted ");
}

TEST_P(DoubtfulKeeperTest, EndsATestOfTheModuleThatTheModuleHasSeenEnd) {
  drive_.writes_entries = false;
  const auto row = keeper_.begin_foreign(place_, TestKind::Short, Source::Module);
  drive_.begin(TestKind::Short);
  time_.wait(minutes(1));
  look();
  time_.wait(minutes(2));
  EXPECT_EQ(keeper_.end_foreign(*row, true)->outcome, Outcome::Unknown);
}

TEST_P(KeeperTest, WaitsOnceForAHistoryThatOthersKeepBusy) {
  History impatient({.folder = folder_ / "hvx", .host = {"aa", "host"}, .patience = {}});
  Keeper keeper(drive_, time_, [&] { return &impatient; });
  drive_.begin(TestKind::Short);
  SeenLook other = keeper.see(place_, false);
  other.look.drive.world_wide_name = "wwn-0x5000000000000002";
  {
    const Transaction transaction(history_->database());
    EXPECT_TRUE(keeper.look(place_, false).running);
  }
  EXPECT_THAT(keeper.history_fault(), testing::HasSubstr("history.sqlite"));
  EXPECT_TRUE(keeper.settle(other, false).running);
  EXPECT_EQ(outcomes(), "") << "it was tried again for the other drive";
  time_.wait(minutes(3));
  EXPECT_EQ(keeper.look(place_, false).ended.size(), 1);
}

TEST_P(KeeperTest, TestsWithoutAHistoryToo) {
  Keeper keeper(drive_, time_, [] { return nullptr; });
  EXPECT_EQ(keeper.start(place_, TestKind::Short, false, false).result, StartResult::Started);
  time_.wait(minutes(3));
  const DriveStatus status = keeper.look(place_, false);
  ASSERT_EQ(status.ended.size(), 1);
  EXPECT_EQ(status.ended.front().outcome, Outcome::Passed);
  EXPECT_EQ(outcomes(), "");
}

TEST_P(KeeperTest, TestsWithAHistoryThatCannotBeOpenedAndSaysWhy) {
  int opened = 0;
  Keeper keeper(drive_, time_, [&]() -> History* {
    ++opened;
    throw HistoryError(HistoryFault::Full, "no room");
  });
  EXPECT_EQ(keeper.history_fault(), "");
  EXPECT_EQ(keeper.start(place_, TestKind::Short, false, false).result, StartResult::Started);
  EXPECT_EQ(keeper.history_fault(), "no room");
  time_.wait(minutes(3));
  EXPECT_EQ(keeper.look(place_, false).ended.front().outcome, Outcome::Passed);
  EXPECT_EQ(opened, 1);
}

TEST_P(KeeperTest, OpensNoHistoryForADriveThatCannotBeAsked) {
  drive_.fault = LookFault::NoSuchDrive;
  Keeper keeper(drive_, time_, []() -> History* {
    ADD_FAILURE() << "opened";
    return nullptr;
  });
  keeper.look(place_, false);
  EXPECT_FALSE(keeper.begin_foreign(place_, TestKind::Short, Source::Module));
}

TEST_P(KeeperTest, DoesNotUndoWhatALaterLookHasTold) {
  start();
  const SeenLook old = keeper_.see(place_, false);
  Keeper other(drive_, time_, [this] { return history_.get(); });
  EXPECT_EQ(other.stop(place_, false).result, StopResult::Stopped);
  EXPECT_FALSE(keeper_.settle(old, false).running);
  EXPECT_EQ(outcomes(), "aborted ");
  start();
  const SeenLook running = keeper_.see(place_, false);
  time_.wait(minutes(3));
  other.look(place_, false);
  keeper_.settle(running, false);
  EXPECT_EQ(outcomes(), "aborted passed ");
}

TEST_P(KeeperTest, TakesATestThatEndsDuringALookForOne) {
  start();
  SeenLook torn = keeper_.see(place_, false);
  drive_.end(1);
  torn.look.log = keeper_.see(place_, false).look.log;
  const DriveStatus status = keeper_.settle(torn, false);
  EXPECT_FALSE(status.running);
  ASSERT_EQ(status.ended.size(), 1);
  EXPECT_EQ(status.ended.front().outcome, Outcome::Aborted);
  EXPECT_EQ(outcomes(), "aborted ");
}

TEST_P(KeeperTest, LooksOnceMoreWhereAnotherTestEndsDuringTheSecondLook) {
  start();
  drive_.during_look = [&] {
    drive_.end(1);
    drive_.begin(TestKind::Long);
    drive_.during_look = [&] { drive_.end(7); };
  };
  EXPECT_FALSE(look().running);
  EXPECT_EQ(outcomes(), "aborted failed ");
}

TEST_P(KeeperTest, KeepsATestThatEndsDuringTheFirstLookOnce) {
  drive_.begin(TestKind::Short);
  drive_.during_look = [&] { drive_.end(7); };
  EXPECT_FALSE(look().running);
  EXPECT_EQ(outcomes(), "failed ");
}

TEST_P(KeeperTest, GivesARowThatCouldNotBeKeptNoNumber) {
  plan_faults({});
  History history(
      {.folder = folder_ / "full", .host = {"aa", "host"}, .file_system = kFaultyFileSystem});
  Keeper keeper(drive_, time_, [&] { return &history; });
  keeper.look(place_, false);
  plan_faults({FaultPlan::Kind::Full, 1});
  const StartOutcome outcome = keeper.start(place_, TestKind::Short, false, false);
  plan_faults({});
  EXPECT_EQ(outcome.result, StartResult::Started);
  EXPECT_NE(keeper.history_fault(), "");
  EXPECT_EQ(outcome.row->number, 0) << "another test may get it";
}

TEST_P(KeeperTest, LeavesARowToTheProcessThatIsStartingItsTest) {
  drive_.delay = seconds(6);
  drive_.before_start = [&] {
    Keeper other(drive_, time_, [this] { return history_.get(); });
    EXPECT_TRUE(other.look(place_, false).ended.empty());
    EXPECT_EQ(other.start(place_, TestKind::Long, false, false).result,
              StartResult::AlreadyRunning);
  };
  EXPECT_EQ(start().result, StartResult::Started);
  EXPECT_EQ(outcomes(), "running ");
}

TEST_P(KeeperTest, EndsTheRowOfAProcessThatDiedBeforeItsTestBegan) {
  EXPECT_TRUE(keeper_.begin_foreign(place_, TestKind::Short, Source::Module));
  time_.wait(minutes(1));
  const DriveStatus status = look();
  ASSERT_EQ(status.ended.size(), 1);
  EXPECT_EQ(status.ended.front().outcome, Outcome::Unknown);
  EXPECT_EQ(status.ended.front().cause,
            "no look showed the test running, and the drive has written no entry in its log");
}

TEST_P(KeeperTest, KeepsWhatTheModuleTests) {
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

TEST_P(KeeperTest, TakesBackATestOfTheModuleThatDidNotComeAbout) {
  const auto row = keeper_.begin_foreign(place_, TestKind::Short, Source::Module);
  EXPECT_FALSE(keeper_.end_foreign(*row, false));
  EXPECT_EQ(outcomes(), "");
}

TEST_P(KeeperTest, KeepsATestOfTheModuleThatOnlyTheModuleHasSeen) {
  drive_.writes_entries = false;
  const auto row = keeper_.begin_foreign(place_, TestKind::Short, Source::Module);
  drive_.begin(TestKind::Short);
  time_.wait(minutes(3));
  EXPECT_EQ(keeper_.end_foreign(*row, true)->outcome,
            GetParam() == Protocol::Ata ? Outcome::Passed : Outcome::Unknown);
}

TEST_P(KeeperTest, LeavesATestOfTheModuleThatStillRunsToALaterLook) {
  const auto row = keeper_.begin_foreign(place_, TestKind::Short, Source::Module);
  drive_.begin(TestKind::Short);
  EXPECT_FALSE(keeper_.end_foreign(*row, true)->outcome);
  EXPECT_EQ(outcomes(), "running ");
  time_.wait(minutes(3));
  EXPECT_EQ(look().ended.front().outcome, Outcome::Passed);
}

}  // namespace
}  // namespace drivetest

// Histories that others keep busy, that are full, or that cannot be opened.
#include <gmock/gmock.h>

#include "drivetest/database.h"
#include "drivetest/faulty_file_system.h"
#include "drivetest/keeper_case.h"

namespace drivetest {
namespace {

using std::chrono::minutes;

class KeeperWithoutHistory : public KeeperCase {};

INSTANTIATE_TEST_SUITE_P(Protocols, KeeperWithoutHistory, every_protocol(), protocol_name);

TEST_P(KeeperWithoutHistory, WaitsOnceForAHistoryThatOthersKeepBusy) {
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

TEST_P(KeeperWithoutHistory, GoesOnWithWhatItKnewWhenOthersKeepTheHistoryBusy) {
  History impatient({.folder = folder_ / "hvx", .host = {"aa", "host"}, .patience = {}});
  Keeper keeper(drive_, time_, [&] { return &impatient; });
  const StartOutcome outcome = keeper.start(place_, TestKind::Short, false, false);
  ASSERT_TRUE(outcome.row);
  const Transaction transaction(history_->database());
  const DriveStatus running = keeper.look(place_, false);
  ASSERT_TRUE(running.running);
  EXPECT_EQ(running.running->number, outcome.row->number);
  EXPECT_EQ(running.running->source, Source::Library);
  drive_.fault = LookFault::Standby;
  const DriveStatus at_rest = keeper.look(place_, false);
  ASSERT_TRUE(at_rest.running);
  EXPECT_EQ(at_rest.running->number, outcome.row->number);
  drive_.fault = LookFault::None;
  time_.wait(minutes(3));
  const DriveStatus status = keeper.look(place_, false);
  ASSERT_EQ(status.ended.size(), 1);
  EXPECT_EQ(status.ended.front().number, outcome.row->number);
  EXPECT_EQ(status.ended.front().outcome, Outcome::Passed);
  EXPECT_FALSE(keeper.look(place_, false).running);
}

// Their rows have no numbers.
TEST_P(KeeperWithoutHistory, TellsTheTestThatEndedFromTheNextOfSomebodyElse) {
  Keeper keeper(drive_, time_, [] { return nullptr; });
  drive_.begin(TestKind::Long);
  drive_.after_command = [this] { drive_.begin(TestKind::Short); };
  const StopOutcome stopped = keeper.stop(place_, false);
  EXPECT_EQ(stopped.result, StopResult::Stopped) << stopped.reason;
  EXPECT_EQ(stopped.row.value().outcome, Outcome::Aborted);

  drive_.obeys_stop = false;
  drive_.after_command = [this] {
    time_.wait(FakeDrive::kDuration);
    drive_.begin(TestKind::Long);
  };
  const StartOutcome started = keeper.start(place_, TestKind::Short, true, false);
  EXPECT_EQ(started.result, StartResult::AlreadyRunning) << started.reason;
  EXPECT_EQ(started.ended_before.value().outcome, Outcome::Passed);
}

// A drive that cannot be asked is told with what the history knew of it.
TEST_P(KeeperWithoutHistory, KnowsWhichTestRanAlsoWhereTheHistoryIsBusyFirstThen) {
  History impatient({.folder = folder_ / "hvx", .host = {"aa", "host"}, .patience = {}});
  Keeper keeper(drive_, time_, [&] { return &impatient; });
  const StartOutcome outcome = keeper.start(place_, TestKind::Short, false, false);
  const Transaction transaction(history_->database());
  SeenLook other = keeper.see(place_, false);
  other.look.drive.world_wide_name = "wwn-0x5000000000000002";
  keeper.settle(other, false);
  EXPECT_NE(keeper.history_fault(), "");
  drive_.fault = LookFault::NoSuchDrive;
  const DriveStatus gone = keeper.look(place_, false);
  ASSERT_TRUE(gone.running);
  EXPECT_EQ(gone.running->number, outcome.row->number);
}

TEST_P(KeeperWithoutHistory, LooksOnceAtADriveThatItRemembers) {
  History impatient({.folder = folder_ / "hvx", .host = {"aa", "host"}, .patience = {}});
  Keeper keeper(drive_, time_, [&] { return &impatient; });
  drive_.begin(TestKind::Short);
  SeenLook other = keeper.see(place_, false);
  other.look.drive.world_wide_name = "wwn-0x5000000000000002";
  for (int look = 0; look < 2; ++look) keeper.look(place_, false);
  const Transaction transaction(history_->database());
  keeper.settle(other, false);
  EXPECT_NE(keeper.history_fault(), "");
  const int looks = drive_.looks;
  EXPECT_TRUE(keeper.look(place_, false).running);
  EXPECT_EQ(drive_.looks, looks + 1);
}

TEST_P(KeeperWithoutHistory, RemembersATestWhoseRowItCouldNotTakeBack) {
  History impatient({.folder = folder_ / "hvx", .host = {"aa", "host"}, .patience = {}});
  Keeper keeper(drive_, time_, [&] { return &impatient; });
  const auto row = keeper.begin_foreign(place_, TestKind::Short, Source::Module);
  ASSERT_TRUE(row);
  drive_.begin(TestKind::Short);
  EXPECT_TRUE(look().running);
  EXPECT_FALSE(keeper.withdraw(*row)) << "another process has seen it";
  const Transaction transaction(history_->database());
  const DriveStatus status = keeper.look(place_, false);
  ASSERT_TRUE(status.running);
  EXPECT_EQ(status.running->number, row->number);
}

TEST_P(KeeperWithoutHistory, TestsWithoutAHistoryToo) {
  Keeper keeper(drive_, time_, [] { return nullptr; });
  EXPECT_EQ(keeper.start(place_, TestKind::Short, false, false).result, StartResult::Started);
  time_.wait(minutes(3));
  const DriveStatus status = keeper.look(place_, false);
  ASSERT_EQ(status.ended.size(), 1);
  EXPECT_EQ(status.ended.front().outcome, Outcome::Passed);
  EXPECT_EQ(outcomes(), "");
}

TEST_P(KeeperWithoutHistory, TestsWithAHistoryThatCannotBeOpenedAndSaysWhy) {
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

TEST_P(KeeperWithoutHistory, OpensNoHistoryForADriveThatCannotBeAsked) {
  drive_.fault = LookFault::NoSuchDrive;
  Keeper keeper(drive_, time_, []() -> History* {
    ADD_FAILURE() << "opened";
    return nullptr;
  });
  keeper.look(place_, false);
  EXPECT_FALSE(keeper.begin_foreign(place_, TestKind::Short, Source::Module));
}

TEST_P(KeeperWithoutHistory, GivesARowThatCouldNotBeKeptNoNumber) {
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

TEST_P(KeeperWithoutHistory, SaysAtOnceThatItCannotBeOpened) {
  Keeper keeper(drive_, time_,
                []() -> History* { throw HistoryError(HistoryFault::Full, "no room"); });
  keeper.open_history();
  EXPECT_EQ(keeper.history_fault(), "no room");
  EXPECT_FALSE(keeper.had_history());
  EXPECT_FALSE(keeper.with_history([](History&) { ADD_FAILURE() << "there is none"; }));
  EXPECT_FALSE(keeper.kept(1));
}

TEST_P(KeeperWithoutHistory, SaysThatARowCouldNotBeTakenBack) {
  plan_faults({});
  History history(
      {.folder = folder_ / "full", .host = {"aa", "host"}, .file_system = kFaultyFileSystem});
  Keeper keeper(drive_, time_, [&] { return &history; });
  const auto row = keeper.begin_foreign(place_, TestKind::Short, Source::Module);
  ASSERT_TRUE(row);
  plan_faults({FaultPlan::Kind::Full, 1});
  EXPECT_TRUE(keeper.withdraw(*row));
  plan_faults({});
  EXPECT_NE(keeper.history_fault(), "");
  const auto kept = keeper.kept(row->number);
  ASSERT_TRUE(kept);
  EXPECT_FALSE(kept->outcome) << "a later look ends it";
}

}  // namespace
}  // namespace drivetest

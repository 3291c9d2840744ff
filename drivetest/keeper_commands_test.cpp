// Starting and stopping tests.
#include <gmock/gmock.h>

#include "drivetest/keeper_case.h"

namespace drivetest {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

class KeeperCommands : public KeeperCase {};

INSTANTIATE_TEST_SUITE_P(Protocols, KeeperCommands, every_protocol(), protocol_name);

TEST_P(KeeperCommands, StartsATestAndBringsItsRowUpToDate) {
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

TEST_P(KeeperCommands, LeavesARunningTestAloneUnlessItIsToBeReplaced) {
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
  EXPECT_THAT(replaced.replaced->cause, testing::EndsWith(" (by 'hddtest start --replace')"));
  EXPECT_EQ(outcomes(), "aborted running ");
}

TEST_P(KeeperCommands, WaitsForADriveThatShowsTheTestLate) {
  drive_.delay = seconds(6);
  EXPECT_EQ(start().result, StartResult::Started);
  EXPECT_EQ(outcomes(), "running ");
}

TEST_P(KeeperCommands, DoesNotBelieveThatATestBeganWhichTheDriveDoesNotShow) {
  drive_.refusal = ToolReply{ToolAnswer::Accepted, ""};
  const StartOutcome outcome = start();
  EXPECT_EQ(outcome.result, StartResult::NotStarted);
  EXPECT_EQ(outcome.reason, "the drive took the command, but shows no test");
  EXPECT_EQ(outcomes(), "");
  drive_.refusal = ToolReply{ToolAnswer::Refused, "some error"};
  EXPECT_EQ(start().reason, "some error");
  EXPECT_EQ(outcomes(), "");
}

TEST_P(KeeperCommands, TellsATestOfAnotherKindThatSomebodyElseWasQuickerWith) {
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

TEST_P(KeeperCommands, TakesNoTestForItsOwnThatKeptItsOwnFromBeginning) {
  drive_.refusal = ToolReply{ToolAnswer::Busy, "another test runs"};
  drive_.before_start = [&] { drive_.begin(TestKind::Short); };
  const StartOutcome outcome = start(TestKind::Short);
  EXPECT_EQ(outcome.result, StartResult::AlreadyRunning) << outcome.reason;
  ASSERT_TRUE(outcome.row);
  EXPECT_EQ(outcome.row->source, Source::Other);
}

TEST_P(KeeperCommands, TakesNoTestForItsOwnThatAnotherProcessHasSeenInItsRow) {
  drive_.refusal = ToolReply{ToolAnswer::Busy, "another test runs"};
  drive_.before_start = [&] {
    Keeper other(drive_, time_, [this] { return history_.get(); });
    drive_.begin(TestKind::Short);
    EXPECT_EQ(other.look(place_, false).running->source, Source::Library);
  };
  const StartOutcome outcome = start(TestKind::Short);
  EXPECT_EQ(outcome.result, StartResult::AlreadyRunning) << outcome.reason;
  ASSERT_TRUE(outcome.row);
  EXPECT_EQ(outcome.row->source, Source::Other);
  EXPECT_EQ(outcomes(), "running ");
}

TEST_P(KeeperCommands, TakesNoTestForItsOwnThatHasEndedInItsRow) {
  drive_.refusal = ToolReply{ToolAnswer::Busy, "another test runs"};
  drive_.before_start = [&] {
    Keeper other(drive_, time_, [this] { return history_.get(); });
    drive_.begin(TestKind::Short);
    time_.wait(FakeDrive::kDuration);
    EXPECT_EQ(other.look(place_, false).ended.size(), 1);
  };
  const StartOutcome outcome = start(TestKind::Short);
  EXPECT_EQ(outcome.result, StartResult::NotStarted);
  EXPECT_EQ(outcome.reason, "another test runs");
  EXPECT_FALSE(outcome.row);
}

TEST_P(KeeperCommands, TellsATestThatRunsAlsoWhereEachLookShowsAnother) {
  const std::function<void()> next_begins = [&] {
    drive_.end(0);
    drive_.begin(TestKind::Short);
    drive_.during_look = next_begins;
  };
  drive_.begin(TestKind::Short);
  look();
  drive_.during_look = next_begins;
  const StartOutcome outcome = start();
  EXPECT_EQ(outcome.result, StartResult::AlreadyRunning);
  ASSERT_TRUE(outcome.row) << "nothing is left to tell";
  EXPECT_EQ(outcome.row->source, Source::Other);
}

TEST_P(KeeperCommands, TellsNoRowOfATestThatAnotherProcessStartsMeanwhile) {
  Keeper other(drive_, time_, [this] { return history_.get(); });
  drive_.refusal = ToolReply{ToolAnswer::Busy, "another test runs"};
  drive_.before_start = [&] {
    drive_.during_look = [&] {
      EXPECT_TRUE(other.begin_foreign(place_, TestKind::Short, Source::Module));
    };
  };
  const StartOutcome outcome = start();
  EXPECT_EQ(outcome.result, StartResult::NotStarted);
  EXPECT_EQ(outcome.reason, "another test runs");
  EXPECT_FALSE(outcome.row);
}

TEST_P(KeeperCommands, StartNothingWhereOthersLookedMeanwhileAndTheDriveAnswersNoMore) {
  look();
  drive_.during_look = [&] {
    Keeper other(drive_, time_, [this] { return history_.get(); });
    drive_.begin(TestKind::Short);
    EXPECT_TRUE(other.look(place_, false).running);
    drive_.fault = LookFault::CannotBeReached;
  };
  const StartOutcome outcome = start(TestKind::Short, true);
  EXPECT_EQ(outcome.result, StartResult::NotStarted);
  EXPECT_EQ(outcome.reason, "the drive does not answer");
  EXPECT_EQ(outcomes(), "running ");
  EXPECT_EQ(rows().front().source, Source::Other);
}

TEST_P(KeeperCommands, DoNotCallATestLeftAloneThatWasToBeReplaced) {
  Keeper other(drive_, time_, [this] { return history_.get(); });
  ASSERT_TRUE(other.begin_foreign(place_, TestKind::Long, Source::Module));
  EXPECT_EQ(start().result, StartResult::AlreadyRunning);
  const StartOutcome starting = start(TestKind::Short, true);
  EXPECT_EQ(starting.result, StartResult::NotStarted);
  EXPECT_EQ(starting.reason, "another process is starting a test");
  EXPECT_FALSE(starting.row);
  EXPECT_EQ(outcomes(), "running ");
}

TEST_P(KeeperCommands, BelievesTheDriveWhereTheToolSaysThatTheTestDidNotBegin) {
  drive_.refusal = ToolReply{ToolAnswer::Refused, "some error"};
  drive_.before_start = [&] { drive_.begin(TestKind::Short); };
  EXPECT_EQ(start().result, StartResult::Started);
  EXPECT_EQ(outcomes(), "running ");
}

TEST_P(KeeperCommands, StopsATestAndSaysSoWhenNoneRuns) {
  EXPECT_EQ(stop().result, StopResult::NothingRuns);
  start(TestKind::Long);
  const StopOutcome stopped = stop();
  EXPECT_EQ(stopped.result, StopResult::Stopped) << stopped.reason;
  EXPECT_EQ(stopped.row->outcome, Outcome::Aborted);
  EXPECT_EQ(outcomes(), "aborted ");
}

TEST_P(KeeperCommands, SayThatTheyStoppedATestWhoseEndAnotherProcessHasSeen) {
  start();
  drive_.after_command = [this] {
    Keeper other(drive_, time_, [this] { return history_.get(); });
    ASSERT_EQ(other.look(place_, false).ended.size(), 1);
    EXPECT_THAT(rows().front().cause, testing::Not(testing::HasSubstr("hddtest stop")));
  };
  const StopOutcome stopped = stop();
  EXPECT_EQ(stopped.result, StopResult::Stopped) << stopped.reason;
  EXPECT_THAT(stopped.row->cause, testing::EndsWith(" (by 'hddtest stop')"));
  EXPECT_EQ(rows().front().cause, stopped.row->cause);
  EXPECT_EQ(outcomes(), "aborted ");
}

TEST_P(KeeperCommands, SayThatTheyReplacedATestWhoseEndAnotherProcessHasSeen) {
  start();
  drive_.after_command = [this] {
    Keeper other(drive_, time_, [this] { return history_.get(); });
    ASSERT_EQ(other.look(place_, false).ended.size(), 1);
  };
  const StartOutcome started = start(TestKind::Long, true);
  EXPECT_EQ(started.result, StartResult::Started) << started.reason;
  EXPECT_THAT(rows().front().cause, testing::EndsWith(" (by 'hddtest start --replace')"));
}

TEST_P(KeeperCommands, DoNotSayThatTheyStoppedATestThatHasPassed) {
  start();
  drive_.obeys_stop = false;
  drive_.after_command = [this] {
    Keeper other(drive_, time_, [this] { return history_.get(); });
    time_.wait(FakeDrive::kDuration);
    EXPECT_EQ(other.look(place_, false).ended.size(), 1);
  };
  EXPECT_THAT(stop().row->cause, testing::Not(testing::HasSubstr("hddtest stop")));
  EXPECT_EQ(outcomes(), "passed ");
}

TEST_P(KeeperCommands, StopsATestThatLeavesNoEntry) {
  drive_.writes_entries = false;
  start();
  const StopOutcome stopped = stop();
  EXPECT_EQ(stopped.result, StopResult::Stopped);
  EXPECT_EQ(stopped.row->outcome, Outcome::Aborted);
}

TEST_P(KeeperCommands, SaysThatADriveDoesNotStop) {
  drive_.obeys_stop = false;
  start();
  const StopOutcome outcome = stop();
  EXPECT_EQ(outcome.result, StopResult::NotStopped);
  EXPECT_EQ(outcome.reason, "the drive took the command, but the test goes on");
  EXPECT_EQ(outcomes(), "running ");
}

TEST_P(KeeperCommands, NameNoTestAsReplacedThatDoesNotStop) {
  start();
  drive_.obeys_stop = false;
  const StartOutcome starting = start(TestKind::Long, true);
  EXPECT_EQ(starting.result, StartResult::NotStarted);
  EXPECT_FALSE(starting.replaced);
  EXPECT_EQ(outcomes(), "running ");
}

TEST_P(KeeperCommands, NameNoTestAsReplacedThatHasPassed) {
  start();
  drive_.obeys_stop = false;
  drive_.after_command = [this] { time_.wait(FakeDrive::kDuration); };
  const StartOutcome starting = start(TestKind::Long, true);
  EXPECT_EQ(starting.result, StartResult::Started) << starting.reason;
  EXPECT_FALSE(starting.replaced);
  ASSERT_TRUE(starting.ended_before);
  EXPECT_EQ(starting.ended_before->outcome, Outcome::Passed);
  EXPECT_EQ(outcomes(), "passed running ");
}

TEST_P(KeeperCommands, TellOfATestThatFailedBeforeItWasReplaced) {
  start();
  drive_.result_code = 7;
  // Between the look that shows it running and the stop.
  drive_.during_look = [this] {
    drive_.during_look = nullptr;
    time_.wait(FakeDrive::kDuration);
  };
  const StartOutcome starting = start(TestKind::Long, true);
  EXPECT_EQ(starting.result, StartResult::Started) << starting.reason;
  EXPECT_FALSE(starting.replaced);
  ASSERT_TRUE(starting.ended_before);
  EXPECT_EQ(starting.ended_before->outcome, Outcome::Failed);
  EXPECT_EQ(outcomes(), "failed running ");
}

TEST_P(KeeperCommands, TellTheirTestFromTheNextThatSomebodyHasBegunMeanwhile) {
  const auto next_begins = [this] {
    Keeper other(drive_, time_, [this] { return history_.get(); });
    time_.wait(FakeDrive::kDuration);
    other.look(place_, false);
    EXPECT_EQ(other.start(place_, TestKind::Long, false, false).result, StartResult::Started);
  };
  drive_.after_command = next_begins;
  const StartOutcome started = start();
  EXPECT_EQ(started.result, StartResult::Started);
  EXPECT_EQ(started.row->number, 1);
  EXPECT_EQ(started.row->outcome, Outcome::Passed);
  EXPECT_EQ(outcomes(), "passed running ");

  drive_.after_command = next_begins;
  const StopOutcome stopped = stop();
  EXPECT_EQ(stopped.result, StopResult::Stopped) << stopped.reason;
  EXPECT_EQ(stopped.row->number, 2);
  EXPECT_EQ(stopped.row->outcome, Outcome::Aborted);
  EXPECT_THAT(stopped.row->cause, testing::EndsWith(" (by 'hddtest stop')"));
  EXPECT_EQ(outcomes(), "passed aborted running ");
}

TEST_P(KeeperCommands, LeavesARowToTheProcessThatIsStartingItsTest) {
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

TEST_P(KeeperCommands, LeavesARowToAProcessWhoseDriveAnswersSlowly) {
  const auto look_at_it = [&] {
    Keeper other(drive_, time_, [this] { return history_.get(); });
    EXPECT_TRUE(other.look(place_, false).ended.empty());
  };
  drive_.delay = seconds(55);
  drive_.before_start = [&] {
    time_.wait(seconds(59));
    look_at_it();
    drive_.during_look = [&] {
      time_.wait(seconds(50));
      look_at_it();
    };
  };
  const StartOutcome started = start();
  EXPECT_EQ(started.result, StartResult::Started);
  ASSERT_TRUE(started.row);
  EXPECT_EQ(started.row->source, Source::Library);
  EXPECT_EQ(outcomes(), "running ");
}

// Neither how long the drive takes nor what the clock does meanwhile matters.
TEST_P(KeeperCommands, LeavesARowToTheProcessThatIsStartingItsTestAsLongAsThatLives) {
  History second({.folder = folder_ / "hvx", .host = {"aa", "host"}});
  const auto look_at_it = [&] {
    Keeper other(drive_, time_, [&] { return &second; });
    const DriveStatus status = other.look(place_, false);
    EXPECT_TRUE(status.ended.empty());
    EXPECT_TRUE(status.running);
  };
  drive_.before_start = [&] {
    for (const auto jump : {minutes(10), minutes(-60)}) {
      time_.wait(jump);
      look_at_it();
    }
    // The first look after the command takes long, too.
    drive_.delay = minutes(10);
    drive_.during_look = [&] { time_.wait(minutes(10)); };
  };
  const StartOutcome started = start();
  EXPECT_EQ(started.result, StartResult::Started) << started.reason;
  ASSERT_TRUE(started.row);
  EXPECT_EQ(started.row->source, Source::Library);
  EXPECT_EQ(outcomes(), "running ");
}

TEST_P(KeeperCommands, LeavesARowToTheProcessWhoseModuleTests) {
  History second({.folder = folder_ / "hvx", .host = {"aa", "host"}});
  Keeper other(drive_, time_, [&] { return &second; });
  const auto row = keeper_.begin_foreign(place_, TestKind::Short, Source::Module);
  ASSERT_TRUE(row);
  time_.wait(minutes(10));
  EXPECT_TRUE(other.look(place_, false).ended.empty());
  EXPECT_FALSE(keeper_.end_foreign(*row, false)) << "it did not come about";
  EXPECT_EQ(outcomes(), "");

  const auto untold = keeper_.begin_foreign(place_, TestKind::Short, Source::Module);
  ASSERT_TRUE(untold);
  drive_.fault = LookFault::CannotBeReached;
  EXPECT_FALSE(keeper_.end_foreign(*untold, false)->outcome);
  drive_.fault = LookFault::None;
  time_.wait(minutes(2));
  EXPECT_EQ(other.look(place_, false).ended.size(), 1) << "nobody starts it any more";
}

TEST_P(KeeperCommands, EndsTheRowOfAProcessThatDiedBeforeItsTestBegan) {
  {
    Keeper dead(drive_, time_, [this] { return history_.get(); });
    EXPECT_TRUE(dead.begin_foreign(place_, TestKind::Short, Source::Module));
  }
  EXPECT_TRUE(look().ended.empty()) << "its tool may still ask the drive";
  time_.wait(minutes(2));
  const DriveStatus status = look();
  ASSERT_EQ(status.ended.size(), 1);
  EXPECT_EQ(status.ended.front().outcome, Outcome::Unknown);
  EXPECT_EQ(status.ended.front().cause,
            "no look showed the test running, and the drive has written no entry in its log");
}

}  // namespace
}  // namespace drivetest

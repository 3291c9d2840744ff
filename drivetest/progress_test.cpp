#include "drivetest/progress.h"

#include <gtest/gtest.h>

namespace drivetest {
namespace {

using std::chrono::hours;
using std::chrono::minutes;

constexpr Time kStart{std::chrono::seconds(1'700'000'000)};

LogEntry entry(int code, TestKind kind = TestKind::Short) {
  LogEntry entry;
  entry.test_code = static_cast<int>(kind) + 1;
  entry.kind = kind;
  entry.result_code = code;
  entry.hours = 100;
  return entry;
}

Look idle(Protocol protocol = Protocol::Ata, std::optional<int> status = 0) {
  Look look;
  look.drive.protocol = protocol;
  look.drive.world_wide_name = "wwn-0x5000000000000001";
  look.drive.place.device = "/dev/sda";
  look.has_log = true;
  look.power_on_hours = 100;
  look.power_cycles = 20;
  for (Ability& ability : look.abilities) ability = {true, 5U};
  if (protocol == Protocol::Ata) look.status_code = status;
  return look;
}

Look running(unsigned remaining, Protocol protocol = Protocol::Ata,
             std::optional<TestKind> kind = {}) {
  Look look = idle(protocol, kRunningCode);
  look.running = RunningTest{kind, remaining};
  return look;
}

TestRow begun(TestKind kind = TestKind::Short) {
  TestRow row;
  row.kind = kind;
  row.started = kStart;
  row.hours_at_start = 100;
  row.power_cycles_at_start = 20;
  return row;
}

// After a look that showed it running.
TestRow seen(unsigned remaining = 90) {
  return progress_of(begun(), running(remaining), {}, kStart + minutes(1), {}).row;
}

ProgressFinding found(const TestRow& row, const Look& look, const std::vector<LogEntry>& added = {},
                      Circumstances circumstances = {true, false}) {
  return progress_of(row, look, {added, true}, kStart + minutes(5), circumstances);
}

TEST(Progress, OfATestThatRunsIsKept) {
  const TestRow row = found(seen(90), running(40)).row;
  EXPECT_FALSE(row.outcome);
  EXPECT_EQ(row.remaining_percent, 40);
  EXPECT_EQ(row.looked, kStart + minutes(5));
  EXPECT_EQ(row.progressed, kStart + minutes(5));
  EXPECT_EQ(found(seen(90), running(90)).row.progressed, kStart + minutes(1));
}

TEST(Progress, EndsByTheTestsOwnEntry) {
  LogEntry failure = entry(7);
  failure.first_bad_block = 4711;
  failure.segment = 2;
  const ProgressFinding finding = found(seen(), idle(Protocol::Ata, 7), {failure}, {});
  EXPECT_EQ(finding.row.outcome, Outcome::Failed);
  EXPECT_EQ(finding.row.cause, "read failure");
  EXPECT_EQ(finding.row.result_code, 7);
  EXPECT_EQ(finding.row.first_bad_block, 4711);
  EXPECT_EQ(finding.row.segment, 2);
  EXPECT_EQ(finding.row.hours, 100);
  EXPECT_EQ(finding.row.ended, kStart + minutes(5));
  EXPECT_FALSE(finding.row.remaining_percent);
  EXPECT_EQ(finding.entry, failure);
}

TEST(Progress, EndsByItsEntryWhileAnotherTestRuns) {
  EXPECT_EQ(found(seen(), running(90), {entry(1)}).row.outcome, Outcome::Aborted);
}

TEST(Progress, OfWhatIsNeitherRunningNorWrittenNeedsASecondLook) {
  const ProgressFinding first = found(seen(), idle(), {}, {});
  EXPECT_TRUE(first.look_again);
  EXPECT_FALSE(first.row.outcome);
  EXPECT_FALSE(found(seen(), idle()).look_again);
}

TEST(Progress, EndsByAtasStatusOnlyAfterALookThatShowedItRunning) {
  EXPECT_EQ(found(seen(), idle()).row.outcome, Outcome::Passed);
  EXPECT_EQ(found(seen(), idle(Protocol::Ata, 7)).row.outcome, Outcome::Failed);
  EXPECT_EQ(found(seen(), idle(Protocol::Ata, 7)).row.result_code, 7);
  const TestRow unseen = found(begun(), idle()).row;
  EXPECT_EQ(unseen.outcome, Outcome::Unknown);
  EXPECT_EQ(unseen.cause,
            "no look showed the test running, and the drive has written no entry in its log");
  EXPECT_FALSE(unseen.result_code);
}

// A drive that was never tested says "passed" before and after a test of which nothing is left.
TEST(Progress, IsNotPassedByAStatusBeforeTheDriveHadItsTime) {
  Look look = idle();
  for (const std::optional<unsigned> announced : {std::optional(6U), std::optional<unsigned>()}) {
    look.abilities[static_cast<std::size_t>(TestKind::Short)].minutes = announced;
    look.status_code = 0;
    EXPECT_EQ(found(seen(), look).row.outcome, Outcome::Unknown);
    EXPECT_EQ(found(seen(), look).row.cause, "the drive has written no entry in its log");
    look.status_code = 7;
    EXPECT_EQ(found(seen(), look).row.outcome, Outcome::Failed);
  }
  TestRow slow = found(seen(), running(70)).row;
  const auto outcome_at = [&](Time now) {
    return progress_of(slow, idle(), {}, now, {true, false}).row.outcome;
  };
  EXPECT_EQ(outcome_at(kStart + minutes(7)), Outcome::Unknown) << "60% of 5 minutes are left";
  EXPECT_EQ(outcome_at(kStart + minutes(8)), Outcome::Passed);
}

// Then the test may have been lost, and what the log got much later is another one's.
TEST(Progress, IsNotToldByALaterEntryAfterALossOfPower) {
  Look look = idle();
  look.power_on_hours = 110;
  LogEntry passed = entry(0);
  const auto outcome_at = [&](std::uint64_t hours) {
    passed.hours = hours;
    return found(begun(), look, {passed}).row;
  };
  EXPECT_EQ(outcome_at(106).outcome, Outcome::Passed);
  look.power_cycles = 21;
  EXPECT_EQ(outcome_at(102).outcome, Outcome::Passed) << "it may have been switched off later";
  EXPECT_EQ(outcome_at(103).outcome, Outcome::Unknown);
  EXPECT_EQ(outcome_at(103).cause,
            "no look showed the test running, and the drive has written entries of later tests "
            "only; the drive was switched off meanwhile");
  look.power_cycles.reset();
  EXPECT_EQ(outcome_at(106).outcome, Outcome::Passed) << "it does not tell";
  look = idle(Protocol::Nvme);
  look.power_on_hours = 110;
  look.power_cycles = 21;
  EXPECT_EQ(outcome_at(106).outcome, Outcome::Passed) << "it may go on with the test";
}

// The status may then be that of a former test.
TEST(Progress, IsNotToldByAStatusThatOutlastedALossOfPower) {
  Look look = idle();
  const auto outcome = [&](int status) {
    look.status_code = status;
    return found(seen(), look).row.outcome;
  };
  look.power_cycles = 21;
  EXPECT_EQ(outcome(0), Outcome::Unknown);
  EXPECT_EQ(outcome(7), Outcome::Unknown);
  EXPECT_EQ(outcome(2), Outcome::Aborted);
  look.power_cycles.reset();
  EXPECT_EQ(outcome(0), Outcome::Unknown) << "it does not tell";
  EXPECT_EQ(outcome(7), Outcome::Failed);
  look.power_cycles = 20;
  EXPECT_EQ(outcome(0), Outcome::Passed);
}

TEST(Progress, IsNotToldByTheStatusOfADriveThatKeepsALog) {
  Look look = idle();
  look.log = {entry(0)};
  EXPECT_EQ(found(seen(), look).row.outcome, Outcome::Unknown);
  look.status_code = 7;
  EXPECT_EQ(found(seen(), look).row.outcome, Outcome::Unknown);
  look.status_code = 1;
  EXPECT_EQ(found(seen(), look).row.outcome, Outcome::Aborted);
}

TEST(Progress, IsNotToldByAStatusThatAnotherTestMayHaveSet) {
  const TestRow row = found(seen(), idle(), {entry(0, TestKind::Long)}).row;
  EXPECT_EQ(row.outcome, Outcome::Unknown);
  EXPECT_EQ(row.cause, "the drive has written entries of other tests only");
  EXPECT_EQ(progress_of(seen(), idle(), {{}, false}, kStart, {true, false}).row.outcome,
            Outcome::Unknown);
}

// Such as a log of equal rows, to which any number may have been added.
LogGrowth doubtful_growth() { return {{entry(1)}, false, {entry(0)}}; }

TEST(Progress, OfATestThatWasStoppedIsToldByTheNewestEntry) {
  const Circumstances stopped{true, true};
  const ProgressFinding finding = progress_of(seen(), idle(), doubtful_growth(), kStart, stopped);
  EXPECT_EQ(finding.row.outcome, Outcome::Aborted);
  EXPECT_EQ(finding.entry, entry(1));
  EXPECT_EQ(progress_of(seen(), idle(), doubtful_growth(), kStart, {true, false}).row.outcome,
            Outcome::Unknown);
}

TEST(Progress, DoesNotSayThatThereIsNoEntryWhereTheLogDoesNotTell) {
  Look look = idle(Protocol::Scsi);
  look.log = {entry(0), entry(0)};
  const LogGrowth growth{{}, false, look.log};
  EXPECT_EQ(progress_of(seen(), look, growth, kStart, {true, true}).row.outcome, Outcome::Unknown);
}

TEST(Progress, IsToldByTheStatusWhereItsRowGaveWayToOneThatMayBeItsResult) {
  Look look = idle();
  look.log = {entry(0), entry(0)};
  LogGrowth growth{{}, false, look.log};
  const Time later = kStart + minutes(10);
  const auto outcome = [&] { return progress_of(seen(), look, growth, later, {true}).row.outcome; };
  EXPECT_EQ(outcome(), Outcome::Unknown);
  growth.is_result_in_doubt = true;
  EXPECT_EQ(outcome(), Outcome::Passed);
  look.status_code = 7;
  EXPECT_EQ(outcome(), Outcome::Unknown);
}

TEST(Progress, DoesNotTakeAnothersTestThatWasStoppedForItsOwn) {
  Look look = idle();
  look.drive.protocol = Protocol::Scsi;
  const TestRow row = found(begun(), look, {entry(1, TestKind::Long)}, {true, true}).row;
  EXPECT_EQ(row.outcome, Outcome::Unknown);
}

TEST(Progress, DoesNotTakeAnothersTestForItsOwnOnceOneOfItsKindHasEnded) {
  const TestRow row =
      progress_of(seen(), running(90), doubtful_growth(), kStart + minutes(5), {true}).row;
  EXPECT_EQ(row.outcome, Outcome::Unknown);
}

TEST(Progress, WithoutEntryOrStatusEndsUnknownAndNeverPassed) {
  for (const Protocol protocol : {Protocol::Scsi, Protocol::Nvme}) {
    TestRow row = found(begun(), running(50, protocol, TestKind::Short)).row;
    EXPECT_FALSE(row.outcome);
    EXPECT_EQ(found(row, idle(protocol)).row.outcome, Outcome::Unknown);
    EXPECT_EQ(found(row, idle(protocol), {}, {true, true}).row.outcome, Outcome::Aborted);
  }
  Look look = idle(Protocol::Scsi);
  look.has_log = false;
  EXPECT_EQ(found(begun(), look, {entry(0)}).row.outcome, Outcome::Unknown);
}

TEST(Progress, TellsAnotherTestThatRunsNow) {
  EXPECT_EQ(found(seen(10), running(90)).row.outcome, Outcome::Unknown);
  EXPECT_FALSE(found(seen(80), running(90)).row.outcome);
  EXPECT_EQ(found(begun(), running(90, Protocol::Nvme, TestKind::Long)).row.outcome,
            Outcome::Unknown);
  TestRow row = begun(TestKind::Long);
  row.remaining_percent = 10;
  EXPECT_FALSE(found(row, running(60, Protocol::Nvme, TestKind::Long)).row.outcome);
}

TEST(Progress, OfOthersIsKeptTheSameWay) {
  const TestRow row = row_of_running(running(60), kStart);
  EXPECT_EQ(row.source, Source::Other);
  EXPECT_FALSE(row.kind);
  EXPECT_FALSE(row.started);
  EXPECT_EQ(row.drive, "wwn-0x5000000000000001");
  const TestRow ended = found(row, idle(), {entry(0, TestKind::Long)}).row;
  EXPECT_EQ(ended.outcome, Outcome::Passed);
  EXPECT_EQ(ended.kind, TestKind::Long);
  const TestRow kept = row_of_entry(idle(), entry(7));
  EXPECT_EQ(kept.outcome, Outcome::Failed);
  EXPECT_EQ(kept.hours, 100);
  EXPECT_FALSE(kept.ended);
}

TEST(Progress, IsStalledAfterThreeTimesTheAnnouncedTimeAndAnHourAtLeast) {
  Abilities abilities{};
  const TestRow row = seen();  // progressed at the first minute
  const Time since = kStart + minutes(1);
  EXPECT_FALSE(is_stalled(row, abilities, since + minutes(59)));
  EXPECT_TRUE(is_stalled(row, abilities, since + hours(1)));
  abilities[0].minutes = 30;
  EXPECT_FALSE(is_stalled(row, abilities, since + minutes(89)));
  EXPECT_TRUE(is_stalled(row, abilities, since + minutes(90)));
  EXPECT_FALSE(is_stalled(found(row, idle()).row, abilities, since + hours(100)));
  EXPECT_TRUE(is_stalled(begun(), abilities, kStart + minutes(90)));
}

TEST(Progress, IsNotStalledForAsLongAsTheTestMayTake) {
  Abilities abilities{};
  for (Ability& one : abilities) one.is_able = true;
  abilities[0].minutes = 2;
  TestRow row = begun();
  row.kind = TestKind::Long;  // the drive does not say how long it takes
  EXPECT_FALSE(is_stalled(row, abilities, kStart + hours(71)));
  EXPECT_TRUE(is_stalled(row, abilities, kStart + hours(72)));
  row.kind.reset();
  EXPECT_FALSE(is_stalled(row, abilities, kStart + hours(71)));
  abilities[1].minutes = 1800;
  EXPECT_FALSE(is_stalled(row, abilities, kStart + hours(89)));
  EXPECT_TRUE(is_stalled(row, abilities, kStart + hours(90)));
}

TEST(Progress, TellsAUsbBridgeThatEndsATest) {
  Look look = idle(Protocol::Ata, 1);
  EXPECT_EQ(found(seen(), look, {entry(1)}).row.cause, "aborted by the host");
  look.drive.is_on_usb = true;
  EXPECT_EQ(found(seen(), look, {entry(1)}).row.cause,
            "aborted by the host, as USB bridges do when they let a drive spin down");
  EXPECT_EQ(found(seen(), look, {entry(2)}).row.cause,
            "interrupted by a reset or a loss of power, of the drive or of its USB bridge");
  EXPECT_EQ(found(seen(), look, {entry(7)}).row.cause, "read failure");
  // By the status alone, of a drive that writes no entry.
  EXPECT_EQ(found(seen(), look).row.cause,
            "aborted by the host, as USB bridges do when they let a drive spin down");
}

TEST(Progress, TellsATestThatWasStoppedHere) {
  Look look = idle();
  look.drive.is_on_usb = true;
  EXPECT_EQ(found(seen(), look, {entry(1)}, {.was_stopped = true}).row.cause,
            "aborted by the host (by 'hddtest stop')");
  EXPECT_EQ(found(seen(), look, {entry(1)}, {.was_stopped = true, .was_replaced = true}).row.cause,
            "aborted by the host (by 'hddtest start --replace')");
  EXPECT_EQ(found(seen(), look, {entry(0)}, {.was_stopped = true}).row.cause,
            "completed without error");
}

TEST(Progress, TakesNoTestOfAKindThatNobodyHereStartsForItsOwn) {
  const Look vendors = running(90, Protocol::Nvme);
  EXPECT_EQ(found(begun(), vendors).row.outcome, Outcome::Unknown);
  Look foreground = running(90, Protocol::Scsi);
  EXPECT_FALSE(found(begun(), foreground).row.outcome) << "its kind cannot be seen";
  foreground.log = {entry(kRunningCode)};
  foreground.log.front().kind.reset();
  EXPECT_EQ(found(begun(), foreground).row.outcome, Outcome::Unknown);
}

TEST(Progress, ClaimsNoTestAsStoppedThatNobodySawRunning) {
  const Circumstances stopped{.is_second_look = true, .was_stopped = true};
  EXPECT_EQ(found(seen(), idle(Protocol::Nvme), {}, stopped).row.outcome, Outcome::Aborted);
  const TestRow unseen = found(begun(), idle(Protocol::Nvme), {}, stopped).row;
  EXPECT_EQ(unseen.outcome, Outcome::Unknown);
  EXPECT_EQ(unseen.cause,
            "no look showed the test running, and the drive has written no entry in its log");
}

}  // namespace
}  // namespace drivetest

#include "cli/report_attention.h"

#include <gmock/gmock.h>

#include <initializer_list>

namespace cli {
namespace {

using drivetest::KeptTest;
using drivetest::Outcome;
using drivetest::TestKind;
using drivetest::Time;
using std::chrono::days;
using std::chrono::hours;
using std::chrono::seconds;
using testing::HasSubstr;

constexpr Time kNow{seconds(1'800'000'000)};  // 2027-01-15T08:00:00Z

KeptTest test(hours age, std::optional<Outcome> outcome, std::optional<TestKind> kind) {
  KeptTest test;
  test.drive.model = "Example Disk";
  test.row.kind = kind;
  test.row.recorded = kNow - age;
  test.row.started = kNow - age;
  if (outcome) test.row.ended = kNow - age + hours(2);
  test.row.outcome = outcome;
  if (outcome == Outcome::Failed) test.row.cause = "read failure";
  return test;
}

ReportedDrive drive(std::initializer_list<KeptTest> tests) {
  ReportedDrive drive;
  for (const KeptTest& one : tests) drive.add(one);
  return drive;
}

Attention attention(const ReportedDrive& drive) { return attention_of(drive, kNow, kNow); }

const KeptTest kFailedLong = test(days(3), Outcome::Failed, TestKind::Long);
const KeptTest kFailedShort = test(days(3), Outcome::Failed, TestKind::Short);
const KeptTest kPassedLong = test(days(2), Outcome::Passed, TestKind::Long);
const KeptTest kPassedShort = test(days(2), Outcome::Passed, TestKind::Short);

struct Case {
  const char* what;
  ReportedDrive drive;
  Need need;
};

TEST(Attention, IsWhatTheTestsSay) {
  const Case cases[] = {
      {"passed lately", drive({kPassedShort}), Need::None},
      {"failed", drive({kFailedLong}), Need::Failed},
      {"a short test answers no long one", drive({kFailedLong, kPassedShort}), Need::Failed},
      {"a long test answers a long one", drive({kFailedLong, kPassedLong}), Need::None},
      {"a long test answers a short one", drive({kFailedShort, kPassedLong}), Need::None},
      {"a long test answers no conveyance test",
       drive({test(days(3), Outcome::Failed, TestKind::Conveyance), kPassedLong}), Need::Failed},
      {"a long test answers an unknown kind",
       drive({test(days(3), Outcome::Failed, std::nullopt), kPassedLong}), Need::None},
      {"an unknown kind answers none",
       drive({test(days(3), Outcome::Failed, std::nullopt),
              test(days(2), Outcome::Passed, std::nullopt)}),
       Need::Failed},
      {"an aborted test says nothing",
       drive({kPassedShort, test(days(1), Outcome::Aborted, TestKind::Long)}), Need::None},
      {"not known", drive({kPassedShort, test(days(1), Outcome::Unknown, TestKind::Long)}),
       Need::Unknown},
      {"no longer unknown", drive({test(days(5), Outcome::Unknown, TestKind::Long), kPassedShort}),
       Need::None},
      {"a short test is overdue",
       drive({test(days(15) + hours(3), Outcome::Passed, TestKind::Short)}), Need::Overdue},
      {"a long test in its place",
       drive({test(days(17), Outcome::Passed, TestKind::Short),
              test(days(12), Outcome::Passed, TestKind::Long)}),
       Need::None},
      {"a long test that is too old for that",
       drive({test(days(18), Outcome::Passed, TestKind::Long),
              test(days(17), Outcome::Passed, TestKind::Short)}),
       Need::Overdue},
      {"short tests do not replace the long one",
       drive({test(days(41), Outcome::Passed, TestKind::Long), kPassedShort}), Need::Overdue},
      {"a conveyance test is none of the regular ones",
       drive({test(days(1), Outcome::Passed, TestKind::Conveyance)}), Need::Overdue},
      {"one second to go", drive({test(days(40), Outcome::Passed, TestKind::Long)}), Need::None},
      {"overdue", drive({test(days(41), Outcome::Passed, TestKind::Long)}), Need::Overdue},
      {"aborted alone", drive({test(days(1), Outcome::Aborted, TestKind::Long)}), Need::Overdue},
      {"running", drive({test(days(1), std::nullopt, TestKind::Long)}), Need::None},
      {"running for days", drive({test(days(4), std::nullopt, TestKind::Long)}), Need::Stalled},
      {"nothing", drive({}), Need::NeverTested}};
  for (const Case& one : cases) EXPECT_EQ(attention(one.drive).need, one.need) << one.what;
}

TEST(Attention, TakesTheTimeOfTheFileForARunningTest) {
  const ReportedDrive running = drive({test(days(4), std::nullopt, TestKind::Long)});
  EXPECT_EQ(attention_of(running, kNow, kNow - days(4) + hours(1)).need, Need::None);
  EXPECT_EQ(attention_of(running, kNow + days(4), kNow - days(4)).need, Need::Stalled)
      << "nobody has looked for a week";
}

TEST(Attention, KnowsWhatWasFoundOfADriveOfThisMachine) {
  ReportedDrive one = drive({kPassedShort});
  one.found = FoundNow{
      .is_here = true, .is_stalled = false, .is_testable = true, .inability = "", .fault = ""};
  EXPECT_EQ(attention(one).need, Need::None);
  one.found->fault = "it does not answer";
  EXPECT_EQ(attention(one).need, Need::Unknown);
  EXPECT_THAT(attention(one).words, HasSubstr("it does not answer"));
  one.found->is_here = false;
  EXPECT_EQ(attention(one).need, Need::Gone);
  EXPECT_EQ(attention_of(one, kNow + kTakenOut, kNow + kTakenOut).need, Need::Former);
  ReportedDrive failed = drive({kFailedLong});
  failed.found = one.found;
  EXPECT_EQ(attention(failed).need, Need::Failed);
  EXPECT_THAT(attention(failed).words, HasSubstr("It is no longer in this machine."));
  EXPECT_EQ(attention_of(failed, kNow + kTakenOut, kNow + kTakenOut).need, Need::Former);

  ReportedDrive untested;
  untested.found = FoundNow{
      .is_here = true, .is_stalled = false, .is_testable = true, .inability = "", .fault = ""};
  EXPECT_EQ(attention(untested).need, Need::NeverTested);
  untested.found->is_testable = false;
  untested.found->inability = "it knows no self-tests";
  EXPECT_EQ(attention(untested).need, Need::Untestable);
  EXPECT_EQ(attention(untested).words, "It knows no self-tests.");
  untested.found->is_testable.reset();
  EXPECT_EQ(attention(untested).need, Need::None) << "it rests, and nobody knows";

  ReportedDrive running = drive({test(days(4), std::nullopt, TestKind::Long)});
  running.found = FoundNow{
      .is_here = true, .is_stalled = false, .is_testable = true, .inability = "", .fault = ""};
  EXPECT_EQ(attention(running).need, Need::None) << "the drive has announced that long";
  running.found->is_stalled = true;
  EXPECT_EQ(attention(running).need, Need::Stalled);
}

TEST(Attention, TakesLongTestsThatNeverPassForOverdue) {
  const KeptTest first = test(days(41), Outcome::Aborted, TestKind::Long);
  const KeptTest last = test(days(11), Outcome::Aborted, TestKind::Long);
  EXPECT_EQ(attention(drive({first, last, kPassedShort})).need, Need::Overdue);
  EXPECT_THAT(attention(drive({first, last, kPassedShort})).words,
              HasSubstr("Long tests have been tried since 2026-12-05, and none has passed."));
  EXPECT_EQ(attention(drive({first, kPassedShort})).need, Need::None) << "by hand";
  EXPECT_EQ(
      attention(drive({test(days(39), Outcome::Aborted, TestKind::Long), last, kPassedShort})).need,
      Need::None);
  EXPECT_EQ(attention(drive({first, test(days(14), Outcome::Passed, TestKind::Long), last})).need,
            Need::None);
}

TEST(Attention, TakesNoTestForRunningInADriveThatRests) {
  ReportedDrive one = drive({kPassedShort, test(days(1), std::nullopt, TestKind::Long)});
  one.found = FoundNow{
      .is_here = true, .is_stalled = false, .is_testable = true, .inability = "", .fault = ""};
  EXPECT_EQ(attention(one).words, "Long test running.");
  one.found->rests = true;
  EXPECT_EQ(attention(one).need, Need::None);
  EXPECT_EQ(attention(one).words,
            "Long test running at the last look; in standby now, which ends tests.");
  ReportedDrive untested = drive({test(days(60), std::nullopt, TestKind::Long)});
  untested.found = one.found;
  EXPECT_EQ(attention(untested).need, Need::Overdue);
  EXPECT_THAT(attention(untested).words, HasSubstr("in standby now, which ends tests."));
}

TEST(Attention, BelievesNoTestThatRunsLongerThanAnyTakes) {
  KeptTest one = test(days(14), std::nullopt, TestKind::Long);
  one.row.progressed = kNow - days(1);
  EXPECT_EQ(attention(drive({kPassedShort, one})).need, Need::Stalled);
  EXPECT_THAT(attention(drive({one})).words,
              HasSubstr("Long test running since 2027-01-01, longer than a test takes."));
  one.row.started = kNow - days(13);
  EXPECT_EQ(attention(drive({kPassedShort, one})).need, Need::None);
}

TEST(Attention, DoesNotMissADriveThatOthersClaimToBe) {
  ReportedDrive one = drive({kPassedShort});
  one.found.emplace();
  one.found->is_known_by_place = true;
  EXPECT_EQ(attention(one).need, Need::Former);
  EXPECT_THAT(attention(one).words, HasSubstr("known by their places"));
  ReportedDrive failed = drive({kFailedLong});
  failed.found = one.found;
  EXPECT_EQ(attention(failed).need, Need::Failed);
}

TEST(Attention, KnowsADriveThatIsGoneByTheLastLookAtIt) {
  ReportedDrive one = drive({test(days(60), Outcome::Passed, TestKind::Short)});
  one.found.emplace();
  EXPECT_EQ(attention(one).need, Need::Former);
  one.heard = kNow - days(1);
  EXPECT_EQ(attention(one).need, Need::Gone);
  EXPECT_THAT(attention(one).words, HasSubstr("last seen on 2027-01-14"));
  ReportedDrive unknown;
  unknown.found.emplace();
  EXPECT_EQ(attention(unknown).need, Need::Former);
  EXPECT_THAT(attention(unknown).words, testing::Not(HasSubstr("1970")));
}

TEST(Attention, DoesNotHideAFailureOfADriveThatHasGoneBehindUnknownDates) {
  const auto undated_and_gone = [](KeptTest test) {
    test.row.recorded = Time{};
    test.row.started.reset();
    test.row.ended.reset();
    ReportedDrive one = drive({test});
    one.found.emplace();
    return attention(one);
  };
  EXPECT_EQ(undated_and_gone(kFailedLong).need, Need::Failed);
  EXPECT_THAT(undated_and_gone(kFailedLong).words, HasSubstr("It is no longer in this machine."));
  EXPECT_EQ(undated_and_gone(kPassedLong).need, Need::Former);
  EXPECT_EQ(undated_and_gone(kPassedLong).words, "When it was last seen is not known.");
}

TEST(Attention, DoesNotTakeADriveWhoseTestsNobodyKnowsForOneWithoutTests) {
  ReportedDrive one;
  one.found.emplace();
  one.found->is_here = true;
  one.found->are_tests_known = false;
  for (const std::optional<bool> is_testable : {std::optional(true), std::optional<bool>()}) {
    one.found->is_testable = is_testable;
    EXPECT_EQ(attention(one).need, Need::Unknown);
    EXPECT_EQ(attention(one).words, "Without the history nobody knows what its tests came to.");
  }
  one.found->is_testable = false;
  one.found->inability = "the drive says that it has no self-test";
  EXPECT_EQ(attention(one).need, Need::Untestable);
  one.found->fault = "it does not answer";
  EXPECT_THAT(attention(one).words, HasSubstr("it does not answer"));
}

TEST(Attention, SaysWhatWasAndWhatToDo) {
  EXPECT_EQ(attention(drive({kFailedLong})).words,
            "Long test failed on 2027-01-12 at 10:00: read failure. Back up its data, then replace "
            "it.");
  EXPECT_THAT(attention(drive({kFailedLong, kPassedShort})).words,
              HasSubstr(" That a short test has passed since does not change that."));
  ReportedDrive advised = drive({kFailedLong});
  advised.advice = "replace what is in slot 3";
  EXPECT_THAT(attention(advised).words, HasSubstr(". Replace what is in slot 3."));
  EXPECT_EQ(attention(drive({test(days(50), Outcome::Passed, TestKind::Long)})).words,
            "The last long test that was seen to pass did so on 2026-11-26. Its machine has "
            "told of other drives since: it may have been taken out.");
}

TEST(Attention, DoesNotTakeATestWithoutDateForARecentOne) {
  KeptTest undated = kPassedShort;
  undated.row.started.reset();
  undated.row.ended.reset();
  undated.row.hours = 4711;
  const ReportedDrive one = drive({undated});
  EXPECT_EQ(attention(one).need, Need::Overdue);
  EXPECT_THAT(attention(one).words, HasSubstr("No short or long test is known to have passed."));
  EXPECT_THAT(attention(one).words, HasSubstr("short test passed at power-on hour 4711"));
  EXPECT_TRUE(one.marks().empty());
  EXPECT_EQ(one.undated, 1U);
}

TEST(ReportedDrive, KeepsLittleOfManyTestsAndCountsAll) {
  ReportedDrive one;
  KeptTest last = kPassedShort;
  last.row.cause = std::string(16384, 'x');
  for (std::size_t i = 0; i < 2 * ReportedDrive::kMostMarks; ++i) one.add(last);
  EXPECT_EQ(one.total(), 2 * ReportedDrive::kMostMarks);
  EXPECT_EQ(one.marks().size(), ReportedDrive::kMostMarks);
  ASSERT_EQ(one.listed().size(), ReportedDrive::kMostListed);
  EXPECT_LT(one.last()->cause.size(), 1000U);
}

}  // namespace
}  // namespace cli

// How a self-test ends: what the readings of the log come to.
#include <gmock/gmock.h>

#include <algorithm>
#include <stdexcept>

#include "engine/captured_log.h"
#include "engine/test_drive.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(SelfTest, TheStatusIsThatOfTheNewestEntry) {
  EXPECT_THAT(poll(kOld, {log(" Completed: read failure")}), ElementsAre(1));
  engine_.ResetResults();
  calls.clear();
  EXPECT_THAT(poll(kOld, {log(" Aborted by host")}), ElementsAre(4));
  engine_.ResetResults();
  calls.clear();
  EXPECT_THAT(poll(kOld, {log(" Self-test Routine In Progress")}), ElementsAre(3));
}

TEST_F(SelfTest, AProgressInCapitalsIsNone) {
  EXPECT_THAT(poll(kOld, {log(" IN PROGRESS"), kPassed}), ElementsAre(3));
  EXPECT_EQ(calls.size(), 4u);
}

TEST_F(SelfTest, AChangedTextWithoutALogFails) {
  EXPECT_THAT(poll(kOld, {"Read Self-test Log failed\n"}), ElementsAre(1));
  EXPECT_THAT(failures(), IsEmpty());
}

TEST_F(SelfTest, AChangedLogWithoutEntriesThrowsAndLeavesNoResult) {
  answers = {{0, kEnabled}, {0, kOld}, {0, kStarted}, {0, "Self-test log\nnothing\n"}};
  std::string device = "/dev/sda";
  CapturedLog log;
  EXPECT_THROW(engine_.SelfTest(device), std::out_of_range);
  EXPECT_THAT(engine_.fResults, IsEmpty());
  EXPECT_EQ(log.take().back(), "3 THDDTest::GetLatestSelfTestStatus -- Entering");
}

TEST_F(SelfTest, AFailingReadIsComparedLikeAnyOther) {
  EXPECT_THAT(Run({{0, kEnabled}, {0, kOld}, {0, kStarted}, {-1, kOld}, {2, kPassed}}),
              ElementsAre(0));
  EXPECT_THAT(failures(), IsEmpty());
}

TEST_F(SelfTest, ALogThatNeverChangesIsRead121TimesWith120Sleeps) {
  EXPECT_THAT(poll(kOld, {kOld}), ElementsAre(1));
  EXPECT_EQ(calls.size(), 3u + 121u);
  EXPECT_EQ(sleeps.size(), 120u);
  EXPECT_THAT(sleeps, Each(5u));
  EXPECT_EQ(std::count(lines_.begin(), lines_.end(),
                       "3 Log entry has not been changed, continue to wait"),
            121);
  EXPECT_THAT(failures(), ElementsAre("Self-Test  on /dev/sda does not finish in pre-set time."));
  EXPECT_EQ(lines_.back(), "3 THDDTest::SelfTest -- Exiting");
}

TEST_F(SelfTest, ATestStillInProgressAtTheLastReadDoesNotFinish) {
  EXPECT_THAT(poll(kOld, {kRunning}), ElementsAre(1));
  EXPECT_EQ(calls.size(), 3u + 121u);
  EXPECT_EQ(sleeps.size(), 120u);
  EXPECT_EQ(std::count(lines_.begin(), lines_.end(), "3 Test is in progress, continue to wait"),
            121);
  EXPECT_THAT(failures(), ElementsAre("Self-Test  on /dev/sda does not finish in pre-set time."));
}

TEST_F(SelfTest, AnEndAtTheLastReadCounts) {
  std::vector<std::string> readings(120, kRunning);
  readings.push_back(kPassed);
  EXPECT_THAT(poll(kOld, readings), ElementsAre(0));
  EXPECT_EQ(sleeps.size(), 120u);
  EXPECT_THAT(failures(), IsEmpty());
}

TEST_F(SelfTest, AFullLogOfLikeEntriesThatNeverChangesGivesTheNewestEntry) {
  const std::string full = log(" Completed without error 1", 21);
  EXPECT_THAT(poll(full, {full}), ElementsAre(0));
  EXPECT_EQ(calls.size(), 3u + 121u);
  EXPECT_THAT(failures(), ElementsAre("Log structure on /dev/sda is full and all entries are in "
                                      "the same stauts, assume Self-Test has been done."));
  ASSERT_GE(lines_.size(), 5u);
  EXPECT_EQ(lines_[lines_.size() - 6], "3 THDDTest::IsEntryFullAndSame -- Exiting");
  EXPECT_EQ(lines_[lines_.size() - 3], "3 Latest log: # 1 Completed without error 1\n");
}

TEST_F(SelfTest, AFullLogOfLikeFailuresFails) {
  const std::string full = log(" Completed: read failure", 21);
  EXPECT_THAT(poll(full, {full}), ElementsAre(1));
  EXPECT_EQ(failures().size(), 1u);
}

TEST_F(SelfTest, AFullLogOfTestsInProgressIsInProgress) {
  const std::string full = log(" Self-test routine in progress", 21);
  EXPECT_THAT(poll(kOld, {full}), ElementsAre(3));
}

TEST_F(SelfTest, ADriveThatLogsNoTestsDoesNotSupportThem) {
  const std::string none = "SMART Self-test log\nNo self-tests have been logged.\n";
  EXPECT_THAT(poll(none, {none}), ElementsAre(4));
  EXPECT_EQ(calls.size(), 3u + 121u);
  EXPECT_THAT(failures(), ElementsAre("Self-Test  on /dev/sda is not supported"));
  EXPECT_EQ(lines_[lines_.size() - 3], "3 THDDTest::IsEntryFullAndSame -- Exiting");
}

TEST_F(SelfTest, ADriveWithoutALogDoesNotSupportTests) {
  const std::string none = "SMART Self-test Log not supported\n";
  EXPECT_THAT(poll(none, {none}), ElementsAre(4));
  EXPECT_THAT(failures(), ElementsAre("Self-Test  on /dev/sda is not supported"));
}

}  // namespace

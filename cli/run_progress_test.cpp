#include "cli/run_progress.h"

#include <gtest/gtest.h>

#include <chrono>

#include "cli/progress_line.h"

namespace cli {
namespace {

TEST(ProgressLine, LosesWhatMattersLeastOnANarrowTerminal) {
  const ProgressLine line{"[1/3] /dev/sda", "testing, 90% remaining, 2 minutes or more",
                          std::chrono::seconds(8)};
  EXPECT_EQ(line_text(line, 0), "[1/3] /dev/sda: testing, 90% remaining, 2 minutes or more (0:08)");
  EXPECT_EQ(line_text(line, 63), "[1/3] /dev/sda: testing, 90% remaining (0:08)");
  EXPECT_EQ(line_text(line, 45), "[1/3] /dev/sda: testing, 90% remaining (0:08)");
  EXPECT_EQ(line_text(line, 43), "[1/3].../sda: testing, 90% remaining (0:08)");
}

const std::string kHead =
    "smartctl 7.3\n\nSMART Self-test log structure revision number 1\n"
    "Num  Test_Description    Status                  Remaining  LifeTime(hours)\n";

std::string in_progress(const std::string& remaining) {
  return kHead + "# 1  Short offline       Self-test routine in progress " + remaining +
         "      1217         -\n";
}

TEST(RemainingPercentage, StandsBehindTheNewestEntryInProgress) {
  EXPECT_EQ(remaining_percentage(in_progress("90%")), 90);
  EXPECT_EQ(remaining_percentage(in_progress("100%")), 100);
  EXPECT_EQ(remaining_percentage(in_progress("  0%")), 0);
}

TEST(RemainingPercentage, IsUnknownWithoutTestInProgress) {
  EXPECT_EQ(remaining_percentage(""), std::nullopt);
  EXPECT_EQ(remaining_percentage(kHead + "No self-tests have been logged.  [To run ..]\n"),
            std::nullopt);
  EXPECT_EQ(remaining_percentage(kHead + "# 1  Short offline  Completed without error  00%  1 -\n" +
                                 "# 2  Short offline  Self-test routine in progress 90%  1 -\n"),
            std::nullopt);
}

TEST(RemainingPercentage, IsUnknownWhenTheDriveDoesNotSay) {
  EXPECT_EQ(
      remaining_percentage(kHead + "# 1  Background short  Self test in progress ...   -  NOW"),
      std::nullopt);
  for (const char* odd : {"", "%", "x%", "-5%", "101%", "90", "99999999999999999999%"})
    EXPECT_EQ(remaining_percentage(in_progress(odd)), std::nullopt) << odd;
}

TEST(Progress, FollowsTheStepsOfARun) {
  Progress progress;
  EXPECT_EQ(progress.step(), RunStep::Waiting);
  EXPECT_TRUE(progress.take(3, "Check SMART support status on /dev/sda"));
  EXPECT_EQ(progress.step(), RunStep::Checking);
  EXPECT_FALSE(progress.take(3, "Check SMART support status on /dev/sda"));
  EXPECT_TRUE(progress.take(3, "Trigger Self-Test on /dev/sda"));
  EXPECT_EQ(progress.step(), RunStep::Starting);
  EXPECT_TRUE(progress.take(3, "Get Self-Test status on /dev/sda"));
  EXPECT_EQ(progress.shown(), "testing");
  EXPECT_TRUE(progress.take(3, "Current Self-Test logs: \n" + in_progress("90%")));
  EXPECT_EQ(progress.shown(), "testing, 90% remaining");
  EXPECT_FALSE(progress.take(3, "Current Self-Test logs: \n" + in_progress("90%")));
  EXPECT_FALSE(progress.take(3, "Current Self-Test logs: \n" + kHead)) << "what is known stays";
  EXPECT_TRUE(progress.take(3, "Test is completed, get test status"));
  EXPECT_EQ(progress.step(), RunStep::Classifying);
}

TEST(Progress, TellsTheTimeThatTheDriveAnnounces) {
  Progress progress(2U);
  progress.take(3, "Trigger Self-Test on /dev/sda");
  EXPECT_FALSE(progress.test());
  progress.take(3, "Get Self-Test status on /dev/sda");
  EXPECT_EQ(progress.shown(), "testing");
  progress.take(3, "Current Self-Test logs: \n" + in_progress("40%"));
  EXPECT_EQ(progress.shown(), "testing, 40% remaining, 1 minute or more");
  EXPECT_EQ(progress.test(),
            (TestProgress{drivetest::TestKind::Short, drivetest::Source::Module, 40U, 1U, false}));
}

TEST(Progress, KeepsTheLastFailureAsReason) {
  Progress progress;
  EXPECT_FALSE(progress.take(3, "theStatusRetCode=1"));
  EXPECT_EQ(progress.reason(), std::nullopt);
  EXPECT_FALSE(progress.take(0, "first"));
  EXPECT_FALSE(progress.take(0, "Trigger Self-Test on /dev/sda Failed"));
  EXPECT_EQ(progress.reason(), "Trigger Self-Test on /dev/sda Failed");
  EXPECT_EQ(progress.step(), RunStep::Waiting) << "a failure is no step";
}

TEST(Progress, ReasonHoldsWhatSmartctlComplainedOf) {
  const auto reason = [](const std::string& message) {
    Progress progress;
    progress.take(3,
                  "Check SMART support status: ErrorRet = 2\n"
                  "Check SMART support status: Smart Message \n" +
                      message);
    progress.take(0, "Check SMART support status /dev/sda Failed");
    return *progress.reason();
  };
  EXPECT_EQ(reason("smartctl 7.3\n\nSmartctl open device: /dev/sda failed: Permission denied\n"),
            "Check SMART support status /dev/sda Failed: "
            "Smartctl open device: /dev/sda failed: Permission denied");
  EXPECT_EQ(reason("x\n\n/dev/sda: Unable to detect device type\nPlease specify"),
            "Check SMART support status /dev/sda Failed: /dev/sda: Unable to detect device type");
  EXPECT_EQ(reason("smartctl 7.3\nModel: x\n"), "Check SMART support status /dev/sda Failed");
  EXPECT_EQ(reason(""), "Check SMART support status /dev/sda Failed");
}

TEST(Progress, KeepsTheEntryThatDecidedOnOneLine) {
  Progress progress;
  EXPECT_FALSE(progress.take(3, "Latest log: # 1  Short offline   Completed: read failure \n\n"));
  EXPECT_EQ(progress.entry(), "# 1 Short offline Completed: read failure");
}

}  // namespace
}  // namespace cli

// The steps of a self-test: what is asked of the drive, what is logged of it, and which failures
// end the run before the first read of the log.
#include <gmock/gmock.h>

#include "engine/captured_log.h"
#include "engine/test_drive.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

TEST_F(SelfTest, RunsTheToolInItsOrderWithTheDeviceLast) {
  EXPECT_THAT(poll(kOld, {kPassed}), ElementsAre(0));
  EXPECT_THAT(calls, ElementsAre("smartctl -i /dev/sda within 20",
                                 "smartctl -l selftest /dev/sda within 20",
                                 "smartctl -t short /dev/sda within 20",
                                 "smartctl -l selftest /dev/sda within 20"));
}

TEST_F(SelfTest, EveryLineOfARunThatSeesTheTestGoOnAndEnd) {
  EXPECT_THAT(poll(kOld, {kRunning, kPassed}), ElementsAre(0));
  EXPECT_THAT(sleeps, ElementsAre(5));
  const std::vector<std::string> expected = {
      "3 THDDTest::SelfTest -- Entering with deviceID=/dev/sda",
      "3 Check SMART support status on /dev/sda",
      "3 THDDTest::CheckSmartStatus -- Entering with deviceID = /dev/sda",
      "3 THDDTest::CheckSmartStatus -- Exiting",
      "3 Check SMART support status: ErrorRet = 0\n"
      "Check SMART support status: Smart Message \n" +
          kEnabled,
      "3 Retrieve test logs recorded before triggering new Self-Test on /dev/sda",
      "3 THDDTest::RetrieveRecordedLog -- Entering with deviceID = /dev/sda",
      "3 THDDTest::RetrieveRecordedLog -- Exiting",
      "3 Retrieve test logs: ErrorRet = 0\nRetrieve test logs: Smart Message \n" + kOld,
      "3 Trigger Self-Test on /dev/sda",
      "3 THDDTest::TriggerSelfTest -- Entering with deviceID = /dev/sda",
      "3 THDDTest::TriggerSelfTest -- Exiting",
      "3 Trigger Self-Test: ErrorRet = 0\nTrigger Self-Test: Smart Message\n" + kStarted,
      "3 Get Self-Test status on /dev/sda",
      "3 THDDTest::RetrieveRecordedLog -- Entering with deviceID = /dev/sda",
      "3 THDDTest::RetrieveRecordedLog -- Exiting",
      "3 Current Self-Test logs: \n" + kRunning,
      "3 Test is in progress, continue to wait",
      "3 THDDTest::RetrieveRecordedLog -- Entering with deviceID = /dev/sda",
      "3 THDDTest::RetrieveRecordedLog -- Exiting",
      "3 Current Self-Test logs: \n" + kPassed,
      "3 Test is completed, get test status",
      "3 THDDTest::GetLatestSelfTestStatus -- Entering",
      "3 Latest log: # 1 Completed without error 2\n",
      "3 THDDTest::GetLatestSelfTestStatus -- Exiting",
      "3 THDDTest::SelfTest -- Exiting",
  };
  EXPECT_THAT(lines_, ElementsAreArray(expected));
}

TEST_F(SelfTest, ATestDoneBeforeTheFirstReadShowsByAChangedLog) {
  EXPECT_THAT(poll(kOld, {kPassed}), ElementsAre(0));
  EXPECT_THAT(sleeps, IsEmpty());
  ASSERT_GE(lines_.size(), 6u);
  EXPECT_EQ(lines_[lines_.size() - 5], "3 Log entry has been changed, get test status");
  EXPECT_EQ(lines_[lines_.size() - 4], "3 THDDTest::GetLatestSelfTestStatus -- Entering");
}

TEST_F(SelfTest, ALogThatGrewByOneBlankHasChanged) {
  EXPECT_THAT(poll(kOld, {kOld, kOld + " "}), ElementsAre(0));
  EXPECT_THAT(sleeps, ElementsAre(5));
}

TEST_F(SelfTest, ALogThatDiffersInItsLastByteHasChanged) {
  const std::string before = kOld.substr(0, kOld.size() - 1);
  EXPECT_THAT(poll(before + "1", {before + "2"}), ElementsAre(0));
  EXPECT_THAT(sleeps, IsEmpty());
}

TEST_F(SelfTest, AProgressAnywhereInTheOutputIsOne) {
  for (const std::string& running :
       {"Self-test execution: in progress, 90%\n" + kOld,
        log(" Completed without error 2") + "# 2 Self-test routine in progress\n",
        std::string("in progress\n")}) {
    engine_.ResetResults();
    calls.clear();
    sleeps.clear();
    EXPECT_THAT(poll(kOld, {running, kPassed}), ElementsAre(0)) << running;
    EXPECT_THAT(sleeps, ElementsAre(5)) << running;
    EXPECT_THAT(lines_, testing::Contains("3 Test is in progress, continue to wait")) << running;
  }
}

TEST_F(SelfTest, ATestThatEndsLikeTheOneBeforeIsSeenByItsProgress) {
  EXPECT_THAT(poll(kOld, {kRunning, kOld}), ElementsAre(0));
}

// Failures before the first read: what is logged, and that nothing is run afterwards.
struct FailingStep {
  const char* name;
  std::vector<Answer> drive;
  const char* failure;
};

class SelfTestStep : public SelfTest, public testing::WithParamInterface<FailingStep> {};

TEST_P(SelfTestStep, FailsTheRunAndEndsIt) {
  EXPECT_THAT(Run(GetParam().drive), ElementsAre(1));
  EXPECT_EQ(calls.size(), GetParam().drive.size());
  EXPECT_THAT(sleeps, IsEmpty());
  ASSERT_GE(lines_.size(), 3u);
  EXPECT_THAT(lines_[lines_.size() - 3],
              testing::HasSubstr("ErrorRet = " + std::to_string(GetParam().drive.back().status)));
  EXPECT_EQ(lines_[lines_.size() - 2], std::string("0 ") + GetParam().failure);
  EXPECT_EQ(lines_[lines_.size() - 1], "3 THDDTest::SelfTest -- Exiting");
}

INSTANTIATE_TEST_SUITE_P(Table, SelfTestStep,
                         testing::Values(FailingStep{"InformationStatus4",
                                                     {{4, kEnabled}},
                                                     "Check SMART support status /dev/sda Failed"},
                                         FailingStep{"InformationNotStarted",
                                                     {{-1, ""}},
                                                     "Check SMART support status /dev/sda Failed"},
                                         FailingStep{"SmartDisabled",
                                                     {{0, "SMART support is: Disabled\n"}},
                                                     "SMART is not enabled on /dev/sda"},
                                         FailingStep{"SmartUnavailable",
                                                     {{0, "SMART support is: Unavailable\n"}},
                                                     "SMART is not enabled on /dev/sda"},
                                         FailingStep{"BaselineStatus2",
                                                     {{0, kEnabled}, {2, kOld}},
                                                     "Retrieve test logs on /dev/sda Failed"},
                                         FailingStep{"StartStatus8",
                                                     {{0, kEnabled}, {0, kOld}, {8, kStarted}},
                                                     "Trigger Self-Test on /dev/sda Failed"}),
                         [](const auto& step) { return step.param.name; });

TEST_F(SelfTest, HigherBitsOfAStatusFailNoStep) {
  EXPECT_THAT(Run({{64, kEnabled}, {128, kOld}, {16, kStarted}, {240, kPassed}}), ElementsAre(0));
  EXPECT_THAT(failures(), IsEmpty());
}

TEST_F(SelfTest, EachRunAppendsOneResult) {
  Run({{4, ""}});
  calls.clear();
  poll(kOld, {kPassed});
  calls.clear();
  EXPECT_THAT(poll(kOld, {log(" Aborted")}), ElementsAre(1, 0, 4));
}

// The drive commands by themselves.
class Command : public SelfTest {
 protected:
  std::string output_ = "from before";
};

TEST_F(Command, CheckSmartStatus) {
  answers = {{64, kEnabled}, {2, kEnabled}, {0, "SMART support is: Disabled"}};
  CapturedLog log;
  bool enabled = false;
  EXPECT_EQ(engine_.CheckSmartStatus("/dev/sdb", output_, enabled), 64);
  EXPECT_TRUE(enabled);
  EXPECT_EQ(output_, kEnabled);
  EXPECT_EQ(calls[0], "smartctl -i /dev/sdb within 20");
  EXPECT_THAT(log.take(),
              ElementsAre("3 THDDTest::CheckSmartStatus -- Entering with deviceID = /dev/sdb",
                          "3 THDDTest::CheckSmartStatus -- Exiting"));
  EXPECT_EQ(engine_.CheckSmartStatus("/dev/sdb", output_, enabled), 2);
  EXPECT_FALSE(enabled);
  enabled = true;
  EXPECT_EQ(engine_.CheckSmartStatus("/dev/sdb", output_, enabled), 0);
  EXPECT_FALSE(enabled);
}

TEST_F(Command, EnableSmart) {
  answers = {{3, "SMART Enabled."}};
  CapturedLog log;
  EXPECT_EQ(engine_.EnableSmart("/dev/sdb", output_), 3);
  EXPECT_EQ(output_, "SMART Enabled.");
  EXPECT_THAT(calls, ElementsAre("smartctl -s on /dev/sdb within 20"));
  EXPECT_THAT(log.take(),
              ElementsAre("3 THDDTest::EnableSmart -- Entering with deviceID = /dev/sdb",
                          "3 THDDTest::EnableSmart -- Exiting"));
}

TEST_F(Command, EachRebuildsTheArguments) {
  answers = {{0, ""}};
  engine_.fToolPath = "/opt/smartctl";
  engine_.TriggerSelfTest("/dev/sdb", output_);
  EXPECT_THAT(engine_.fToolArgs, ElementsAre("-t", "short", "/dev/sdb"));
  engine_.RetrieveRecordedLog("/dev/sdc", output_);
  EXPECT_THAT(engine_.fToolArgs, ElementsAre("-l", "selftest", "/dev/sdc"));
  EXPECT_THAT(calls, ElementsAre("/opt/smartctl -t short /dev/sdb within 20",
                                 "/opt/smartctl -l selftest /dev/sdc within 20"));
}

}  // namespace

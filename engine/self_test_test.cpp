// Self-tests against a drive that is a list of answers: this program's own SpawnProcess and
// sleep take the place of the library's.
#include "engine/self_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "engine/HDDTest.h"
#include "engine/captured_log.h"
#include "platform/support/osspecific.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

struct Answer {
  int status;
  std::string output;
};

std::vector<Answer> answers;       // to the calls of the tool; the last one for all that follow
std::vector<std::string> calls;    // of the tool
std::vector<unsigned int> sleeps;  // in seconds

}  // namespace

extern "C" unsigned int sleep(unsigned int seconds) {
  sleeps.push_back(seconds);
  return 0;
}

int NKVRHVX20::TOSSpecific::SpawnProcess(std::string program, std::vector<std::string> arguments,
                                         std::string& output, int timeoutSeconds) {
  EXPECT_EQ(output, "") << "not emptied before the call";
  const Answer& answer = answers.at(std::min(calls.size(), answers.size() - 1));
  for (const auto& argument : arguments) program += " " + argument;
  calls.push_back(program + " within " + std::to_string(timeoutSeconds));
  output = answer.output;
  return answer.status;
}

namespace {

const std::string kEnabled = "SMART support is: Enabled\n";
const std::string kStarted = "Testing has begun.\n";

std::string Log(const std::string& newest, int entries = 1) {
  std::string text = "SMART Self-test log\nRemaining LBA_of_first_error\n";
  for (int i = 1; i <= entries; ++i) text += "# " + std::to_string(i % 10) + newest + "\n";
  return text;
}

const std::string kOld = Log(" Completed without error 1");
const std::string kRunning = Log(" Self-test routine in progress 90%");
const std::string kPassed = Log(" Completed without error 2");

class SelfTest : public testing::Test {
 protected:
  void SetUp() override {
    calls.clear();
    sleeps.clear();
  }

  // The results of one run on a drive with these answers, the last of which is repeated.
  std::vector<int> Run(std::vector<Answer> drive) {
    answers = std::move(drive);
    Captured_Log log;
    std::string device = "/dev/sda";
    engine.SelfTest(device);
    EXPECT_EQ(device, "/dev/sda");
    lines = log.Take();
    return engine.fResults;
  }

  // A run whose start went well, with these readings of the log after it.
  std::vector<int> Poll(const std::string& baseline, const std::vector<std::string>& readings) {
    std::vector<Answer> drive = {{0, kEnabled}, {0, baseline}, {0, kStarted}};
    for (const auto& reading : readings) drive.push_back({0, reading});
    return Run(drive);
  }

  // Its lines at severity 0.
  std::vector<std::string> Failures() const {
    std::vector<std::string> failures;
    for (const auto& line : lines) {
      if (line.starts_with("0 ")) failures.push_back(line.substr(2));
    }
    return failures;
  }

  THDDTest engine;
  std::vector<std::string> lines;
};

TEST(StepFailed, WhenOneOfTheFourLowestBitsIsSet) {
  for (const int status : {1, 2, 4, 8, 15, 64 | 1, 255, -1}) {
    EXPECT_TRUE(engine::StepFailed(status)) << status;
  }
  for (const int status : {0, 16, 32, 64, 128, 240}) {
    EXPECT_FALSE(engine::StepFailed(status)) << status;
  }
}

TEST(IsSmartEnabled, ByOneOfTwoTexts) {
  EXPECT_TRUE(engine::IsSmartEnabled("SMART support is: Available\nSMART support is: Enabled\n"));
  EXPECT_TRUE(engine::IsSmartEnabled("Device supports SMART and is Enabled\n"));
  EXPECT_FALSE(engine::IsSmartEnabled("SMART support is: Disabled\n"));
  EXPECT_FALSE(engine::IsSmartEnabled("Device supports SMART and is Disabled\n"));
  EXPECT_FALSE(engine::IsSmartEnabled("SMART support is: Available\n"));
  EXPECT_FALSE(engine::IsSmartEnabled("smart support is: enabled\n"));
  EXPECT_FALSE(engine::IsSmartEnabled(""));
}

TEST(KeepsNoLog, ByOneOfTwoTexts) {
  EXPECT_TRUE(engine::KeepsNoLog("No self-tests have been logged.  [To run self-tests, ...]\n"));
  EXPECT_TRUE(engine::KeepsNoLog("SMART Self-test Log not supported\n"));
  EXPECT_FALSE(engine::KeepsNoLog("No self-tests\nNo self-tests are running\n"));
  EXPECT_FALSE(engine::KeepsNoLog(kOld));
  EXPECT_FALSE(engine::KeepsNoLog(""));
}

TEST_F(SelfTest, RunsTheToolInItsOrderWithTheDeviceLast) {
  EXPECT_THAT(Poll(kOld, {kPassed}), ElementsAre(0));
  EXPECT_THAT(calls, ElementsAre("smartctl -i /dev/sda within 20",
                                 "smartctl -l selftest /dev/sda within 20",
                                 "smartctl -t short /dev/sda within 20",
                                 "smartctl -l selftest /dev/sda within 20"));
}

TEST_F(SelfTest, EveryLineOfARunThatSeesTheTestGoOnAndEnd) {
  EXPECT_THAT(Poll(kOld, {kRunning, kPassed}), ElementsAre(0));
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
  EXPECT_THAT(lines, ElementsAreArray(expected));
}

TEST_F(SelfTest, ATestDoneBeforeTheFirstReadShowsByAChangedLog) {
  EXPECT_THAT(Poll(kOld, {kPassed}), ElementsAre(0));
  EXPECT_THAT(sleeps, IsEmpty());
  ASSERT_GE(lines.size(), 6u);
  EXPECT_EQ(lines[lines.size() - 5], "3 Log entry has been changed, get test status");
  EXPECT_EQ(lines[lines.size() - 4], "3 THDDTest::GetLatestSelfTestStatus -- Entering");
}

TEST_F(SelfTest, ALogThatGrewByOneBlankHasChanged) {
  EXPECT_THAT(Poll(kOld, {kOld, kOld + " "}), ElementsAre(0));
  EXPECT_THAT(sleeps, ElementsAre(5));
}

TEST_F(SelfTest, ALogThatDiffersInItsLastByteHasChanged) {
  const std::string before = kOld.substr(0, kOld.size() - 1);
  EXPECT_THAT(Poll(before + "1", {before + "2"}), ElementsAre(0));
  EXPECT_THAT(sleeps, IsEmpty());
}

TEST_F(SelfTest, AProgressAnywhereInTheOutputIsOne) {
  for (const std::string& running :
       {"Self-test execution: in progress, 90%\n" + kOld,
        Log(" Completed without error 2") + "# 2 Self-test routine in progress\n",
        std::string("in progress\n")}) {
    engine.ResetResults();
    calls.clear();
    sleeps.clear();
    EXPECT_THAT(Poll(kOld, {running, kPassed}), ElementsAre(0)) << running;
    EXPECT_THAT(sleeps, ElementsAre(5)) << running;
    EXPECT_THAT(lines, testing::Contains("3 Test is in progress, continue to wait")) << running;
  }
}

TEST_F(SelfTest, ATestThatEndsLikeTheOneBeforeIsSeenByItsProgress) {
  EXPECT_THAT(Poll(kOld, {kRunning, kOld}), ElementsAre(0));
}

TEST_F(SelfTest, TheStatusIsThatOfTheNewestEntry) {
  EXPECT_THAT(Poll(kOld, {Log(" Completed: read failure")}), ElementsAre(1));
  engine.ResetResults();
  calls.clear();
  EXPECT_THAT(Poll(kOld, {Log(" Aborted by host")}), ElementsAre(4));
  engine.ResetResults();
  calls.clear();
  EXPECT_THAT(Poll(kOld, {Log(" Self-test Routine In Progress")}), ElementsAre(3));
}

TEST_F(SelfTest, AProgressInCapitalsIsNone) {
  EXPECT_THAT(Poll(kOld, {Log(" IN PROGRESS"), kPassed}), ElementsAre(3));
  EXPECT_EQ(calls.size(), 4u);
}

TEST_F(SelfTest, AChangedTextWithoutALogFails) {
  EXPECT_THAT(Poll(kOld, {"Read Self-test Log failed\n"}), ElementsAre(1));
  EXPECT_THAT(Failures(), IsEmpty());
}

TEST_F(SelfTest, AChangedLogWithoutEntriesThrowsAndLeavesNoResult) {
  answers = {{0, kEnabled}, {0, kOld}, {0, kStarted}, {0, "Self-test log\nnothing\n"}};
  std::string device = "/dev/sda";
  Captured_Log log;
  EXPECT_THROW(engine.SelfTest(device), std::out_of_range);
  EXPECT_THAT(engine.fResults, IsEmpty());
  EXPECT_EQ(log.Take().back(), "3 THDDTest::GetLatestSelfTestStatus -- Entering");
}

TEST_F(SelfTest, AFailingReadIsComparedLikeAnyOther) {
  EXPECT_THAT(Run({{0, kEnabled}, {0, kOld}, {0, kStarted}, {-1, kOld}, {2, kPassed}}),
              ElementsAre(0));
  EXPECT_THAT(Failures(), IsEmpty());
}

TEST_F(SelfTest, ALogThatNeverChangesIsRead121TimesWith120Sleeps) {
  EXPECT_THAT(Poll(kOld, {kOld}), ElementsAre(1));
  EXPECT_EQ(calls.size(), 3u + 121u);
  EXPECT_EQ(sleeps.size(), 120u);
  EXPECT_THAT(sleeps, Each(5u));
  EXPECT_EQ(
      std::count(lines.begin(), lines.end(), "3 Log entry has not been changed, continue to wait"),
      121);
  EXPECT_THAT(Failures(), ElementsAre("Self-Test  on /dev/sda does not finish in pre-set time."));
  EXPECT_EQ(lines.back(), "3 THDDTest::SelfTest -- Exiting");
}

TEST_F(SelfTest, ATestStillInProgressAtTheLastReadDoesNotFinish) {
  EXPECT_THAT(Poll(kOld, {kRunning}), ElementsAre(1));
  EXPECT_EQ(calls.size(), 3u + 121u);
  EXPECT_EQ(sleeps.size(), 120u);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "3 Test is in progress, continue to wait"), 121);
  EXPECT_THAT(Failures(), ElementsAre("Self-Test  on /dev/sda does not finish in pre-set time."));
}

TEST_F(SelfTest, AnEndAtTheLastReadCounts) {
  std::vector<std::string> readings(120, kRunning);
  readings.push_back(kPassed);
  EXPECT_THAT(Poll(kOld, readings), ElementsAre(0));
  EXPECT_EQ(sleeps.size(), 120u);
  EXPECT_THAT(Failures(), IsEmpty());
}

TEST_F(SelfTest, AFullLogOfLikeEntriesThatNeverChangesGivesTheNewestEntry) {
  const std::string full = Log(" Completed without error 1", 21);
  EXPECT_THAT(Poll(full, {full}), ElementsAre(0));
  EXPECT_EQ(calls.size(), 3u + 121u);
  EXPECT_THAT(Failures(), ElementsAre("Log structure on /dev/sda is full and all entries are in "
                                      "the same stauts, assume Self-Test has been done."));
  ASSERT_GE(lines.size(), 5u);
  EXPECT_EQ(lines[lines.size() - 6], "3 THDDTest::IsEntryFullAndSame -- Exiting");
  EXPECT_EQ(lines[lines.size() - 3], "3 Latest log: # 1 Completed without error 1\n");
}

TEST_F(SelfTest, AFullLogOfLikeFailuresFails) {
  const std::string full = Log(" Completed: read failure", 21);
  EXPECT_THAT(Poll(full, {full}), ElementsAre(1));
  EXPECT_EQ(Failures().size(), 1u);
}

TEST_F(SelfTest, AFullLogOfTestsInProgressIsInProgress) {
  const std::string full = Log(" Self-test routine in progress", 21);
  EXPECT_THAT(Poll(kOld, {full}), ElementsAre(3));
}

TEST_F(SelfTest, ADriveThatLogsNoTestsDoesNotSupportThem) {
  const std::string none = "SMART Self-test log\nNo self-tests have been logged.\n";
  EXPECT_THAT(Poll(none, {none}), ElementsAre(4));
  EXPECT_EQ(calls.size(), 3u + 121u);
  EXPECT_THAT(Failures(), ElementsAre("Self-Test  on /dev/sda is not supported"));
  EXPECT_EQ(lines[lines.size() - 3], "3 THDDTest::IsEntryFullAndSame -- Exiting");
}

TEST_F(SelfTest, ADriveWithoutALogDoesNotSupportTests) {
  const std::string none = "SMART Self-test Log not supported\n";
  EXPECT_THAT(Poll(none, {none}), ElementsAre(4));
  EXPECT_THAT(Failures(), ElementsAre("Self-Test  on /dev/sda is not supported"));
}

// Failures before the first read: what is logged, and that nothing is run afterwards.
struct Failing_Step {
  const char* name;
  std::vector<Answer> drive;
  const char* failure;
};

class SelfTestStep : public SelfTest, public testing::WithParamInterface<Failing_Step> {};

TEST_P(SelfTestStep, FailsTheRunAndEndsIt) {
  EXPECT_THAT(Run(GetParam().drive), ElementsAre(1));
  EXPECT_EQ(calls.size(), GetParam().drive.size());
  EXPECT_THAT(sleeps, IsEmpty());
  ASSERT_GE(lines.size(), 3u);
  EXPECT_THAT(lines[lines.size() - 3],
              testing::HasSubstr("ErrorRet = " + std::to_string(GetParam().drive.back().status)));
  EXPECT_EQ(lines[lines.size() - 2], std::string("0 ") + GetParam().failure);
  EXPECT_EQ(lines[lines.size() - 1], "3 THDDTest::SelfTest -- Exiting");
}

INSTANTIATE_TEST_SUITE_P(Table, SelfTestStep,
                         testing::Values(Failing_Step{"InformationStatus4",
                                                      {{4, kEnabled}},
                                                      "Check SMART support status /dev/sda Failed"},
                                         Failing_Step{"InformationNotStarted",
                                                      {{-1, ""}},
                                                      "Check SMART support status /dev/sda Failed"},
                                         Failing_Step{"SmartDisabled",
                                                      {{0, "SMART support is: Disabled\n"}},
                                                      "SMART is not enabled on /dev/sda"},
                                         Failing_Step{"SmartUnavailable",
                                                      {{0, "SMART support is: Unavailable\n"}},
                                                      "SMART is not enabled on /dev/sda"},
                                         Failing_Step{"BaselineStatus2",
                                                      {{0, kEnabled}, {2, kOld}},
                                                      "Retrieve test logs on /dev/sda Failed"},
                                         Failing_Step{"StartStatus8",
                                                      {{0, kEnabled}, {0, kOld}, {8, kStarted}},
                                                      "Trigger Self-Test on /dev/sda Failed"}),
                         [](const auto& step) { return step.param.name; });

TEST_F(SelfTest, HigherBitsOfAStatusFailNoStep) {
  EXPECT_THAT(Run({{64, kEnabled}, {128, kOld}, {16, kStarted}, {240, kPassed}}), ElementsAre(0));
  EXPECT_THAT(Failures(), IsEmpty());
}

TEST_F(SelfTest, EachRunAppendsOneResult) {
  Run({{4, ""}});
  calls.clear();
  Poll(kOld, {kPassed});
  calls.clear();
  EXPECT_THAT(Poll(kOld, {Log(" Aborted")}), ElementsAre(1, 0, 4));
}

// The drive commands by themselves.
class Command : public SelfTest {
 protected:
  std::string output = "from before";
};

TEST_F(Command, CheckSmartStatus) {
  answers = {{64, kEnabled}, {2, kEnabled}, {0, "SMART support is: Disabled"}};
  Captured_Log log;
  bool enabled = false;
  EXPECT_EQ(engine.CheckSmartStatus("/dev/sdb", output, enabled), 64);
  EXPECT_TRUE(enabled);
  EXPECT_EQ(output, kEnabled);
  EXPECT_EQ(calls[0], "smartctl -i /dev/sdb within 20");
  EXPECT_THAT(log.Take(),
              ElementsAre("3 THDDTest::CheckSmartStatus -- Entering with deviceID = /dev/sdb",
                          "3 THDDTest::CheckSmartStatus -- Exiting"));
  EXPECT_EQ(engine.CheckSmartStatus("/dev/sdb", output, enabled), 2);
  EXPECT_FALSE(enabled);
  enabled = true;
  EXPECT_EQ(engine.CheckSmartStatus("/dev/sdb", output, enabled), 0);
  EXPECT_FALSE(enabled);
}

TEST_F(Command, EnableSmart) {
  answers = {{3, "SMART Enabled."}};
  Captured_Log log;
  EXPECT_EQ(engine.EnableSmart("/dev/sdb", output), 3);
  EXPECT_EQ(output, "SMART Enabled.");
  EXPECT_THAT(calls, ElementsAre("smartctl -s on /dev/sdb within 20"));
  EXPECT_THAT(log.Take(),
              ElementsAre("3 THDDTest::EnableSmart -- Entering with deviceID = /dev/sdb",
                          "3 THDDTest::EnableSmart -- Exiting"));
}

TEST_F(Command, EachRebuildsTheArguments) {
  answers = {{0, ""}};
  engine.fToolPath = "/opt/smartctl";
  engine.TriggerSelfTest("/dev/sdb", output);
  EXPECT_THAT(engine.fToolArgs, ElementsAre("-t", "short", "/dev/sdb"));
  engine.RetrieveRecordedLog("/dev/sdc", output);
  EXPECT_THAT(engine.fToolArgs, ElementsAre("-l", "selftest", "/dev/sdc"));
  EXPECT_THAT(calls, ElementsAre("/opt/smartctl -t short /dev/sdb within 20",
                                 "/opt/smartctl -l selftest /dev/sdc within 20"));
}

}  // namespace

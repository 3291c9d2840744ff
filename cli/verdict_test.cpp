#include "cli/verdict.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

const std::string kHead = "SMART Self-test log structure revision number 1\n";
const std::string kOldEntry =
    "  Short offline       Completed without error       00%      1200  -\n";

std::string log_of(const std::string& status, const std::string& share = "00%",
                   const std::string& block = "-") {
  return kHead + "# 1  Short offline       " + status + "       " + share + "      1217  " + block +
         "\n# 2" + kOldEntry;
}

// A run that began well, and ended with a read of this log.
RunEvidence ended(const std::string& log, bool in_progress = true) {
  return {.information = SmartctlAnswer{0, "SMART support is: Enabled\n"},
          .baseline = SmartctlAnswer{0, kHead + "# 1" + kOldEntry},
          .start = SmartctlAnswer{0, "Testing has begun.\n"},
          .log = log,
          .in_progress = in_progress,
          .ended = true};
}

Verdict of(RunOutcome recorded, const RunEvidence& evidence) {
  return verdict_of(recorded, evidence, "/dev/sda");
}

// What the module calls failed, though the drive did not say so.
void expect_untested(const RunEvidence& evidence, std::string_view cause, std::string_view reason) {
  const Verdict verdict = of(RunOutcome::Failed, evidence);
  EXPECT_EQ(verdict.outcome, std::nullopt) << reason;
  EXPECT_EQ(verdict.cause, cause);
  EXPECT_NE(verdict.reason.find(reason), std::string::npos) << verdict.reason;
}

TEST(Verdict, PassedByTheDrivesOwnEntry) {
  for (const bool in_progress : {false, true}) {
    const Verdict verdict =
        of(RunOutcome::Passed, ended(log_of("Completed without error"), in_progress));
    EXPECT_EQ(verdict.outcome, RunOutcome::Passed);
    EXPECT_EQ(verdict.cause, "");
    EXPECT_EQ(verdict.reason, "");
    EXPECT_EQ(verdict.hours, 1217U);
  }
}

TEST(Verdict, FailedByTheDrivesOwnEntry) {
  const Verdict verdict =
      of(RunOutcome::Failed, ended(log_of("Completed: read failure", "70%", "12345")));
  EXPECT_EQ(verdict.outcome, RunOutcome::Failed);
  EXPECT_EQ(verdict.cause, "read-failure");
  EXPECT_EQ(verdict.reason,
            "the drive reported: read failure, first bad block 12345, at 1217 power-on hours");
  EXPECT_EQ(verdict.block, 12345U);
}

TEST(Verdict, WhatTheModulePassesThoughItIsAFailure) {
  const Verdict verdict = of(RunOutcome::Passed, ended(log_of("Completed: handling damage??")));
  EXPECT_EQ(verdict.outcome, RunOutcome::Failed);
  EXPECT_EQ(verdict.cause, "handling-damage");
}

TEST(Verdict, AbortedByTheDrivesOwnEntry) {
  const Verdict verdict = of(RunOutcome::Aborted, ended(log_of("Aborted by host", "80%")));
  EXPECT_EQ(verdict.outcome, RunOutcome::Aborted);
  EXPECT_EQ(verdict.cause, "aborted");
  EXPECT_EQ(verdict.reason, "the drive reported: Aborted by host");
}

TEST(Verdict, AnOldEntryProvesNothing) {
  const std::string same = kHead + "# 1" + kOldEntry;
  for (const RunOutcome recorded : {RunOutcome::Passed, RunOutcome::Failed, RunOutcome::Aborted}) {
    const Verdict verdict = of(recorded, ended("Warning: something\n" + same));
    EXPECT_EQ(verdict.outcome, std::nullopt);
    EXPECT_EQ(verdict.cause, "unknown-result");
  }
}

TEST(Verdict, AFullLogOfEqualEntriesNeedsATestInProgress) {
  std::string full = kHead;
  for (int number = 1; number <= 21; ++number)
    full += (number < 10 ? "# " : "#") + std::to_string(number) + kOldEntry;
  RunEvidence evidence = ended(full);
  evidence.baseline->output = full;
  EXPECT_EQ(of(RunOutcome::Passed, evidence).outcome, RunOutcome::Passed);
  evidence.in_progress = false;
  EXPECT_EQ(of(RunOutcome::Passed, evidence).outcome, std::nullopt);
  evidence.ended = false;  // as the module does after ten minutes: it assumes an end
  EXPECT_EQ(of(RunOutcome::Passed, evidence).cause, "not-ended");
}

TEST(Verdict, AnEntryOfAnotherTestOrOfNoKnownStatusProvesNothing) {
  expect_untested(ended(kHead + "# 1  Extended offline  Completed: read failure  90%  1217  1\n"),
                  "unknown-result", "of another test");
  expect_untested(ended(log_of("Unknown status (0x9)")), "unknown-result", "Unknown status (0x9)");
}

TEST(Verdict, WhatWasNotTestedIsNotFailed) {
  expect_untested(
      {.information = SmartctlAnswer{2, "Smartctl open device: x failed: Permission denied\n"}},
      "no-permission", "CAP_SYS_RAWIO and the right to open the drive");
  expect_untested({.information = SmartctlAnswer{0, "SMART support is: Disabled\n"}}, "smart-off",
                  "'smartctl -s on /dev/sda'");
  RunEvidence evidence = ended("");
  evidence.start.reset();
  evidence.baseline = SmartctlAnswer{-1, ""};
  expect_untested(evidence, "no-answer", "hddtest check");
}

TEST(Verdict, ARefusedStartIsNotFailed) {
  RunEvidence evidence = ended("");
  evidence.start = SmartctlAnswer{
      4, "Can't start self-test without aborting current test (60% remaining),\nadd '-t force'\n"};
  expect_untested(evidence, "running", "a test runs in it already, 60% remaining");
  EXPECT_EQ(of(RunOutcome::Failed, evidence).remaining, 60);
  evidence.start =
      SmartctlAnswer{4, "Command \"Execute SMART Short self-test\" failed: aborted command\n"};
  expect_untested(evidence, "refused", "the drive refused the test: Command ");
  evidence.start = SmartctlAnswer{-1, ""};
  expect_untested(evidence, "no-answer", "the drive may be testing");
}

TEST(Verdict, NoSelfTestIsAborted) {
  RunEvidence evidence = ended("");
  evidence.start = SmartctlAnswer{4, "Short offline self test failed [unsupported scsi opcode]\n"};
  EXPECT_EQ(of(RunOutcome::Failed, evidence).outcome, RunOutcome::Aborted);
  evidence = ended(kHead + "No self-tests have been logged.\n", false);
  evidence.ended = false;
  EXPECT_EQ(of(RunOutcome::Aborted, evidence).outcome, RunOutcome::Aborted);
  EXPECT_EQ(of(RunOutcome::Aborted, evidence).cause, "no-self-test");
}

TEST(Verdict, ADriveThatGoesFails) {
  for (const char* words : {"Smartctl open device: /dev/sda failed: No such device",
                            "Smartctl open device: /dev/sda failed: No such device or address",
                            "Read Device Identity failed: Input/output error"}) {
    const Verdict verdict =
        of(RunOutcome::Failed, ended(std::string("smartctl 7.3\n\n") + words + "\n"));
    EXPECT_EQ(verdict.outcome, RunOutcome::Failed);
    EXPECT_EQ(verdict.cause, "drive-gone");
    EXPECT_EQ(verdict.reason, std::string("the drive disappeared during the test: ") + words);
  }
}

TEST(Verdict, ASmartctlThatGoesIsNoFailureOfTheDrive) {
  expect_untested(ended(""), "unknown-result", "smartctl ended without an answer");
  expect_untested(ended("Smartctl open device: /dev/sda failed: Permission denied\n"),
                  "unknown-result", "Permission denied");
}

TEST(Verdict, ATestThatHasNotEnded) {
  RunEvidence evidence = ended(log_of("Self-test routine in progress", "10%"));
  evidence.ended = false;
  expect_untested(evidence, "not-ended", "has not ended after ten minutes, 10% remaining;");
  evidence.log = kHead + "# 1" + kOldEntry;
  expect_untested(evidence, "not-ended", "has not ended after ten minutes;");
}

TEST(Verdict, AnOlderEntryInProgressDoesNotHideTheNewest) {
  RunEvidence evidence = ended(log_of("Completed without error") +
                               "# 3  Extended offline  Self-test routine in progress  90%  7  -\n");
  evidence.ended = false;
  EXPECT_EQ(of(RunOutcome::Failed, evidence).outcome, RunOutcome::Passed);
}

TEST(Verdict, AfterTenMinutesALookTellsMore) {
  RunEvidence evidence = ended(kHead + "# 1" + kOldEntry);
  evidence.ended = false;
  const Verdict open = of(RunOutcome::Failed, evidence);
  EXPECT_TRUE(open.open);
  const DriveLook running{.readiness = Readiness::Running, .remaining = 40};
  EXPECT_EQ(verdict_after(open, running, "/dev/sda").remaining, 40);
  EXPECT_EQ(verdict_after(open, running, "/dev/sda").cause, "not-ended");
  EXPECT_EQ(verdict_after(open, {}, "/dev/sda").cause, "unknown-result");
}

TEST(Verdict, AfterASmartctlWithoutAnswerALookTellsWhetherTheDriveIsThere) {
  const Verdict open = of(RunOutcome::Failed, ended(""));
  EXPECT_TRUE(open.open);
  EXPECT_EQ(verdict_after(open, {}, "/dev/sda").cause, "unknown-result");
  const DriveLook none{.readiness = Readiness::NoDevice, .words = "x failed: No such device"};
  const Verdict gone = verdict_after(open, none, "/dev/sda");
  EXPECT_EQ(gone.outcome, RunOutcome::Failed);
  EXPECT_EQ(gone.cause, "drive-gone");
  EXPECT_EQ(gone.reason, "the drive disappeared during the test: x failed: No such device");
  EXPECT_FALSE(of(RunOutcome::Failed, ended(log_of("Unknown status (0x9)"))).open);
}

TEST(Verdict, WithoutEvidenceThereIsNone) {
  EXPECT_EQ(of(RunOutcome::Passed, {}).outcome, std::nullopt);
  EXPECT_EQ(verdict_of(std::nullopt, ended(log_of("Completed without error")), "x").outcome,
            std::nullopt)
      << "no record";
}

}  // namespace
}  // namespace cli

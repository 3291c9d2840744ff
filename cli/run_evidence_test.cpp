#include "cli/run_evidence.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

TEST(RunEvidence, TakesSmartctlsAnswersFromTheLines) {
  RunEvidence evidence;
  evidence.take(3,
                "Check SMART support status: ErrorRet = 0\n"
                "Check SMART support status: Smart Message \nSMART support is: Enabled\n");
  evidence.take(
      3, "Retrieve test logs: ErrorRet = 64\nRetrieve test logs: Smart Message \nlog\n# 1\n");
  evidence.take(3, "Trigger Self-Test: ErrorRet = -1\nTrigger Self-Test: Smart Message\n");
  ASSERT_TRUE(evidence.information && evidence.baseline && evidence.start);
  EXPECT_EQ(evidence.information->status, 0);
  EXPECT_EQ(evidence.information->output, "SMART support is: Enabled\n");
  EXPECT_EQ(evidence.baseline->status, 64);
  EXPECT_EQ(evidence.baseline->output, "log\n# 1\n");
  EXPECT_EQ(evidence.start->status, -1);
  EXPECT_FALSE(evidence.started());
  evidence.take(3, "Trigger Self-Test: ErrorRet = 0\nTrigger Self-Test: Smart Message\nbegun\n");
  EXPECT_TRUE(evidence.started());
}

TEST(RunEvidence, TakesReadsAndTheEnd) {
  RunEvidence evidence;
  evidence.take(3, "Current Self-Test logs: \none");
  evidence.take(3, "Log entry has not been changed, continue to wait");
  EXPECT_FALSE(evidence.in_progress || evidence.ended);
  evidence.take(3, "Test is in progress, continue to wait");
  evidence.take(3, "Current Self-Test logs: \ntwo");
  evidence.take(3, "Test is completed, get test status");
  EXPECT_TRUE(evidence.in_progress && evidence.ended);
  EXPECT_EQ(evidence.log, "two");
}

TEST(RunEvidence, WhatReadsOtherwiseProvesNothing) {
  RunEvidence evidence;
  for (const char* line :
       {"Trigger Self-Test: ErrorRet = ", "Trigger Self-Test: ErrorRet = 0",
        "Trigger Self-Test: ErrorRet = 0\n", "Trigger Self-Test: ErrorRet = 0\nx\n"})
    evidence.take(3, line);
  evidence.take(0, "Trigger Self-Test: ErrorRet = 0\nTrigger Self-Test: Smart Message\n");
  EXPECT_FALSE(evidence.start);
}

}  // namespace
}  // namespace cli

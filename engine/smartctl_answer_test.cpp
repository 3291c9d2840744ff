#include "engine/smartctl_answer.h"

#include <gtest/gtest.h>

#include "engine/test_drive.h"

namespace {

TEST(StepFailed, WhenOneOfTheFourLowestBitsIsSet) {
  for (const int status : {1, 2, 4, 8, 15, 64 | 1, 255, -1}) {
    EXPECT_TRUE(engine::step_failed(status)) << status;
  }
  for (const int status : {0, 16, 32, 64, 128, 240}) {
    EXPECT_FALSE(engine::step_failed(status)) << status;
  }
}

TEST(IsSmartEnabled, ByOneOfTwoTexts) {
  EXPECT_TRUE(engine::is_smart_enabled("SMART support is: Available\nSMART support is: Enabled\n"));
  EXPECT_TRUE(engine::is_smart_enabled("Device supports SMART and is Enabled\n"));
  EXPECT_FALSE(engine::is_smart_enabled("SMART support is: Disabled\n"));
  EXPECT_FALSE(engine::is_smart_enabled("Device supports SMART and is Disabled\n"));
  EXPECT_FALSE(engine::is_smart_enabled("SMART support is: Available\n"));
  EXPECT_FALSE(engine::is_smart_enabled("smart support is: enabled\n"));
  EXPECT_FALSE(engine::is_smart_enabled(""));
}

TEST(KeepsNoLog, ByOneOfTwoTexts) {
  EXPECT_TRUE(engine::keeps_no_log("No self-tests have been logged.  [To run self-tests, ...]\n"));
  EXPECT_TRUE(engine::keeps_no_log("SMART Self-test Log not supported\n"));
  EXPECT_FALSE(engine::keeps_no_log("No self-tests\nNo self-tests are running\n"));
  EXPECT_FALSE(engine::keeps_no_log(kOld));
  EXPECT_FALSE(engine::keeps_no_log(""));
}

}  // namespace

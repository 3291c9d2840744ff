#include "cli/run_outcome.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

constexpr std::nullopt_t kNone = std::nullopt;
constexpr RunOutcome kPassed = RunOutcome::Passed;
constexpr RunOutcome kFailed = RunOutcome::Failed;
constexpr RunOutcome kAborted = RunOutcome::Aborted;

TEST(OutcomeOf, KnowsTheThreeStatesOfARecord) {
  EXPECT_EQ(outcome_of(2), kPassed);
  EXPECT_EQ(outcome_of(5), kFailed);
  EXPECT_EQ(outcome_of(6), kAborted);
  for (const std::uint64_t other : {0, 1, 3, 4, 7, 0x10002}) EXPECT_EQ(outcome_of(other), kNone);
}

TEST(OutcomeWord, IsTheOneOfTheOutput) {
  EXPECT_EQ(outcome_word(kPassed), "passed");
  EXPECT_EQ(outcome_word(kFailed), "failed");
  EXPECT_EQ(outcome_word(kAborted), "aborted");
}

TEST(ExitStatus, IsThatOfTheWorstDrive) {
  EXPECT_EQ(exit_status({kPassed}), 0);
  EXPECT_EQ(exit_status({kFailed}), 1);
  EXPECT_EQ(exit_status({kAborted}), 2);
  EXPECT_EQ(exit_status({kNone}), 3);
  EXPECT_EQ(exit_status({kPassed, kAborted}), 2);
  EXPECT_EQ(exit_status({kAborted, kFailed, kPassed}), 1);
  EXPECT_EQ(exit_status({kFailed, kNone, kAborted}), 3);
}

}  // namespace
}  // namespace cli

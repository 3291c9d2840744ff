#include "cli/outcome.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

constexpr std::nullopt_t none = std::nullopt;
constexpr Outcome passed = Outcome::passed;
constexpr Outcome failed = Outcome::failed;
constexpr Outcome aborted = Outcome::aborted;

TEST(OutcomeOf, KnowsTheThreeStatesOfARecord) {
  EXPECT_EQ(outcome_of(2), passed);
  EXPECT_EQ(outcome_of(5), failed);
  EXPECT_EQ(outcome_of(6), aborted);
  for (const std::uint64_t other : {0, 1, 3, 4, 7, 0x10002}) EXPECT_EQ(outcome_of(other), none);
}

TEST(OutcomeWord, IsTheOneOfTheOutput) {
  EXPECT_EQ(outcome_word(passed), "passed");
  EXPECT_EQ(outcome_word(failed), "failed");
  EXPECT_EQ(outcome_word(aborted), "aborted");
}

TEST(ExitStatus, IsThatOfTheWorstDrive) {
  EXPECT_EQ(exit_status({passed}), 0);
  EXPECT_EQ(exit_status({failed}), 1);
  EXPECT_EQ(exit_status({aborted}), 2);
  EXPECT_EQ(exit_status({none}), 3);
  EXPECT_EQ(exit_status({passed, aborted}), 2);
  EXPECT_EQ(exit_status({aborted, failed, passed}), 1);
  EXPECT_EQ(exit_status({failed, none, aborted}), 3);
}

}  // namespace
}  // namespace cli

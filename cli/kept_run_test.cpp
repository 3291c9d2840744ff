#include "cli/kept_run.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

using drivetest::Protocol;
using drivetest::TestRow;

TestRow row(drivetest::Outcome outcome, int code, const std::string& cause) {
  TestRow row;
  row.outcome = outcome;
  row.result_code = code;
  row.cause = cause;
  row.first_bad_block = 4711;
  row.hours = 100;
  return row;
}

TEST(KeptRun, LetsTheDrivesOwnEntryDecide) {
  const Verdict passed{.outcome = RunOutcome::Passed};
  const TestRow failed = row(drivetest::Outcome::Failed, 7, "read failure");
  const Verdict verdict = verdict_by_entry(passed, failed, Protocol::Ata);
  EXPECT_EQ(verdict.outcome, RunOutcome::Failed);
  EXPECT_EQ(verdict.cause, "read-failure");
  EXPECT_EQ(verdict.block, 4711);
  EXPECT_EQ(verdict.hours, 100);
  EXPECT_EQ(verdict.reason,
            "the drive's own log says: failed: read failure, first bad block 4711; the module "
            "recorded: passed");
  EXPECT_EQ(verdict_by_entry(passed, failed, Protocol::Scsi).cause, "segment-failed");
}

TEST(KeptRun, TakesTheEntryWhereTheModuleKnowsNoEnd) {
  const Verdict unknown{.cause = std::string(kCauseUnknown), .reason = "not known"};
  const Verdict verdict =
      verdict_by_entry(unknown, row(drivetest::Outcome::Aborted, 2, "reset"), Protocol::Ata);
  EXPECT_EQ(verdict.outcome, RunOutcome::Aborted);
  EXPECT_EQ(verdict.cause, "interrupted");
  EXPECT_EQ(verdict.reason, "the drive's own log says: aborted: reset, first bad block 4711");
}

TEST(KeptRun, LeavesTheVerdictWhereBothAgreeOrTheEntryTellsNothing) {
  const Verdict failed{
      .outcome = RunOutcome::Failed, .cause = "read-failure", .reason = "the drive reported: ..."};
  EXPECT_EQ(verdict_by_entry(failed, row(drivetest::Outcome::Failed, 7, "x"), Protocol::Ata).reason,
            failed.reason);
  EXPECT_EQ(
      verdict_by_entry(failed, row(drivetest::Outcome::Unknown, 9, "x"), Protocol::Ata).reason,
      failed.reason);
  EXPECT_EQ(verdict_by_entry(failed, TestRow(), Protocol::Ata).reason, failed.reason);
}

TEST(KeptRun, BelievesNoPassedBeforeTheDriveTellsAnEnd) {
  const Verdict verdict =
      verdict_by_entry({.outcome = RunOutcome::Passed}, TestRow(), Protocol::Ata);
  EXPECT_FALSE(verdict.outcome);
  EXPECT_EQ(verdict.cause, kCauseUnknown);
}

TEST(KeptRun, BelievesNoPassedThatTheDrivesLogDoesNotTell) {
  TestRow unknown;
  unknown.outcome = drivetest::Outcome::Unknown;
  unknown.cause = "the drive has written no entry in its log";
  const Verdict verdict = verdict_by_entry({.outcome = RunOutcome::Passed}, unknown, Protocol::Ata);
  EXPECT_FALSE(verdict.outcome);
  EXPECT_EQ(verdict.cause, kCauseUnknown);
  EXPECT_EQ(verdict.reason,
            "the module recorded: passed; by the drive's own log the result is not known: the "
            "drive has written no entry in its log");
}

}  // namespace
}  // namespace cli

#include "cli/row_verdict.h"

#include <gtest/gtest.h>

#include <utility>

namespace cli {
namespace {

using drivetest::LookFault;
using drivetest::Protocol;
using drivetest::TestKind;
using drivetest::TestRow;

TestRow ended(drivetest::Outcome outcome, std::optional<int> code, const std::string& cause) {
  TestRow row;
  row.kind = TestKind::Long;
  row.outcome = outcome;
  row.result_code = code;
  row.cause = cause;
  return row;
}

// A drive without a name of its own for the history, such as one of many behind one device.
TEST(VerdictOfRow, NamesAListThatHasTheTest) {
  const TestRow row = ended(drivetest::Outcome::Unknown, 0, "its entry is gone");
  EXPECT_EQ(verdict_of_row(row, Protocol::Ata, "EX0011").reason,
            "how the test ended is not known: its entry is gone; 'hddtest history EX0011' shows "
            "its tests");
  EXPECT_EQ(
      verdict_of_row(row, Protocol::Ata, "").reason,
      "how the test ended is not known: its entry is gone; 'hddtest history' shows all tests");
}

TEST(VerdictOfRow, HasTheDrivesOwnWordsAndNumbers) {
  TestRow row = ended(drivetest::Outcome::Failed, 7, "read failure");
  row.first_bad_block = 4711;
  row.hours = 4660;
  const Verdict verdict = verdict_of_row(row, Protocol::Ata, "/dev/sda");
  EXPECT_EQ(verdict.outcome, RunOutcome::Failed);
  EXPECT_EQ(verdict.cause, "read-failure");
  EXPECT_EQ(verdict.reason,
            "the drive reported: read failure, first bad block 4711, at 4660 power-on hours");
  EXPECT_EQ(verdict.block, 4711U);
  EXPECT_EQ(verdict.hours, 4660U);
  row.segment = 2;
  EXPECT_EQ(verdict_of_row(row, Protocol::Nvme, "").cause, "segment-failed");
  EXPECT_EQ(verdict_of_row(row, Protocol::Nvme, "").reason,
            "the drive reported: read failure, segment 2, first bad block 4711, at 4660 power-on "
            "hours");
}

TEST(VerdictOfRow, HasACauseForEachCodeOfEachProtocol) {
  const auto cause = [](Protocol protocol, int code) {
    const auto known = drivetest::result_meaning(protocol, code);
    return verdict_of_row(ended(known->outcome, code, known->cause), protocol, "/dev/sda").cause;
  };
  for (const Protocol protocol : {Protocol::Ata, Protocol::Scsi, Protocol::Nvme}) {
    EXPECT_EQ(cause(protocol, 0), "");
    for (int code = 1; code < 15; ++code) EXPECT_NE(cause(protocol, code), "") << code;
    EXPECT_EQ(cause(protocol, 14), kCauseUnknown);
  }
  EXPECT_EQ(cause(Protocol::Nvme, 5), "unknown-error");
  EXPECT_EQ(cause(Protocol::Nvme, 9), "aborted");
  EXPECT_EQ(cause(Protocol::Ata, 5), "electrical-failure");
}

TEST(VerdictOfRow, NeverCallsPassedWhatIsNotKnown) {
  const TestRow row = ended(drivetest::Outcome::Unknown, {}, "the log has no entry of it");
  const Verdict verdict = verdict_of_row(row, Protocol::Ata, "/dev/sda");
  EXPECT_EQ(verdict.outcome, std::nullopt);
  EXPECT_EQ(verdict.cause, kCauseUnknown);
  EXPECT_EQ(verdict.reason,
            "how the test ended is not known: the log has no entry of it; 'hddtest history "
            "/dev/sda' shows its tests");
  EXPECT_EQ(verdict_of_row(TestRow(), Protocol::Ata, "").outcome, std::nullopt) << "it runs";
}

TEST(VerdictOfRow, IsAbortedWhereWeHaveEndedItWithoutAnEntry) {
  const TestRow row = ended(drivetest::Outcome::Aborted, {}, "stopped by hddtest");
  EXPECT_EQ(verdict_of_row(row, Protocol::Ata, "").cause, "aborted");
}

TEST(VerdictOfFault, HasAWordForEach) {
  drivetest::Look look;
  look.reason = "why";
  for (const auto& [fault, cause] :
       {std::pair(LookFault::Standby, "standby"), std::pair(LookFault::ToolMissing, "no-tool"),
        std::pair(LookFault::ToolTooOld, "no-tool"),
        std::pair(LookFault::NotPermitted, "no-permission"),
        std::pair(LookFault::NoSuchDrive, "no-device"),
        std::pair(LookFault::CannotBeReached, "unreachable")}) {
    look.fault = fault;
    EXPECT_EQ(verdict_of_fault(look).cause, cause);
    EXPECT_EQ(verdict_of_fault(look).outcome, std::nullopt);
  }
}

TEST(VerdictOfBusy, TellsWhoseTestItIs) {
  TestRow row;
  row.source = drivetest::Source::Other;
  row.kind = TestKind::Long;
  row.remaining_percent = 40;
  const std::string advice =
      "; wait for its end, which 'hddtest watch /dev/sda' shows, or end it with 'hddtest stop "
      "/dev/sda'";
  const Verdict verdict = verdict_of_busy(row, false, true, "/dev/sda");
  EXPECT_EQ(verdict.cause, "running");
  EXPECT_EQ(verdict.remaining, 40);
  EXPECT_EQ(
      verdict.reason,
      "a test runs in it already, 40% remaining (long test of another program or person)" + advice);
  EXPECT_EQ(verdict_of_busy(row, false, false, "/dev/sda").reason,
            "a test runs in it already, 40% remaining (long test)" + advice);
  EXPECT_EQ(verdict_of_busy(TestRow(), false, false, "/dev/sda").reason,
            "a test runs in it already" + advice);
}

// Nobody is to wait for the end of a test that may have none.
TEST(VerdictOfBusy, TellsThatTheTestHasStalled) {
  TestRow row;
  row.kind = TestKind::Long;
  row.remaining_percent = 50;
  const Verdict verdict = verdict_of_busy(row, true, false, "/dev/sda");
  EXPECT_EQ(verdict.cause, "running");
  EXPECT_EQ(verdict.remaining, 50);
  EXPECT_EQ(verdict.reason,
            "a test runs in it already and has stalled, 50% remaining (long test); it may still "
            "end: 'hddtest watch /dev/sda' shows it, 'hddtest stop /dev/sda' ends it");
}

}  // namespace
}  // namespace cli

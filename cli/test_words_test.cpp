#include "cli/test_words.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

using drivetest::Outcome;
using drivetest::Source;
using drivetest::TestKind;
using drivetest::TestRow;
using drivetest::Time;
using std::chrono::days;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr Time kNow{seconds(1'700'000'000)};

TestRow ended(Outcome outcome, const std::string& cause) {
  TestRow row;
  row.kind = TestKind::Short;
  row.outcome = outcome;
  row.cause = cause;
  row.ended = kNow - hours(3);
  return row;
}

TEST(TestWords, TellAnAge) {
  EXPECT_EQ(age_text(seconds(59)), "just now");
  EXPECT_EQ(age_text(minutes(1)), "1 minute ago");
  EXPECT_EQ(age_text(hours(2)), "2 hours ago");
  EXPECT_EQ(age_text(days(400)), "400 days ago");
  EXPECT_EQ(age_text(seconds(-30)), "just now");
  EXPECT_EQ(age_text(seconds(-61)), "in the future");
}

TEST(TestWords, TellTheNewestTest) {
  EXPECT_EQ(newest_test_text({}, false, true, kNow), "no test known");
  EXPECT_EQ(newest_test_text(ended(Outcome::Passed, "completed without error"), false, true, kNow),
            "short test passed 3 hours ago");
  EXPECT_EQ(newest_test_text(ended(Outcome::Unknown, "no entry"), false, true, kNow),
            "short test result not known 3 hours ago: no entry");
  TestRow failed = ended(Outcome::Failed, "read failure");
  failed.first_bad_block = 4711;
  EXPECT_EQ(newest_test_text(failed, false, true, kNow),
            "short test failed 3 hours ago: read failure, first bad block 4711");
  failed.ended.reset();
  failed.hours = 1234;
  failed.kind.reset();
  EXPECT_EQ(newest_test_text(failed, false, true, kNow),
            "test failed at power-on hour 1234: read failure, first bad block 4711");
}

TEST(TestWords, TellARunningTest) {
  TestRow row;
  row.kind = TestKind::Long;
  EXPECT_EQ(newest_test_text(row, false, true, kNow), "long test running");
  row.remaining_percent = 40;
  EXPECT_EQ(newest_test_text(row, false, true, kNow), "long test running, 40% remaining");
  row.source = Source::Other;
  EXPECT_EQ(newest_test_text(row, true, true, kNow),
            "long test stalled, 40% remaining, started by another program or person; it may "
            "still end, and 'hddtest stop' ends it");
}

TEST(TestWords, TellTheSourceOfAnEndedTestOfOthers) {
  TestRow row = ended(Outcome::Failed, "read failure");
  row.source = Source::Other;
  EXPECT_EQ(newest_test_text(row, false, true, kNow),
            "short test failed 3 hours ago: read failure (by another program or person)");
  EXPECT_EQ(newest_test_text(row, false, false, kNow),
            "short test failed 3 hours ago: read failure");
  row.source = Source::Module;
  EXPECT_EQ(newest_test_text(row, false, true, kNow),
            "short test failed 3 hours ago: read failure");
  EXPECT_EQ(starter_text(row), "the module");
}

TEST(TestWords, AreFewWhereThereIsLittleRoom) {
  EXPECT_EQ(brief_test_text({}, false, true, kNow), "no test known");
  EXPECT_EQ(brief_test_text(ended(Outcome::Failed, "read failure"), false, true, kNow),
            "short failed 3 hours ago");
  EXPECT_EQ(brief_test_text(ended(Outcome::Unknown, "no entry"), false, true, kNow),
            "short result not known 3 hours ago");
  TestRow row;
  row.kind = TestKind::Long;
  EXPECT_EQ(brief_test_text(row, false, true, kNow), "long running");
  row.remaining_percent = 40;
  row.source = Source::Other;
  EXPECT_EQ(brief_test_text(row, false, true, kNow), "long, 40% remaining, others");
  EXPECT_EQ(brief_test_text(row, true, false, kNow), "long stalled, 40% remaining");
}

TEST(TestWords, SayNothingOfOthersWithoutAHistory) {
  TestRow row;
  row.kind = TestKind::Long;
  row.source = Source::Other;
  EXPECT_EQ(newest_test_text(row, false, false, kNow), "long test running");
  EXPECT_EQ(newest_test_text({}, false, false, kNow), "no test runs");
  EXPECT_EQ(owned_test_text(row, false), "long test");
  EXPECT_EQ(owned_test_text(row, true), "long test of another program or person");
}

TEST(TestWords, TellWhatToDoWhereADriveWasNotLookedAt) {
  drivetest::Look look;
  look.reason = "Permission denied";
  look.fault = drivetest::LookFault::Standby;
  EXPECT_EQ(fault_text(look), "it is in standby; --wake asks it all the same");
  look.fault = drivetest::LookFault::NotPermitted;
  EXPECT_EQ(fault_text(look).find("Permission denied; "), 0U);
  look.fault = drivetest::LookFault::CannotBeReached;
  EXPECT_EQ(fault_text(look), "Permission denied");
}

TEST(TestWords, TellAnOutcome) {
  EXPECT_EQ(outcome_text(ended(Outcome::Passed, "completed without error")), "passed");
  TestRow row = ended(Outcome::Failed, "a segment failed");
  row.segment = 3;
  EXPECT_EQ(outcome_text(row), "failed: a segment failed, segment 3");
  EXPECT_EQ(outcome_text({}), "running");
  EXPECT_EQ(outcome_text(ended(Outcome::Aborted, "aborted by the host")), "aborted: by the host");
  EXPECT_EQ(newest_test_text(ended(Outcome::Aborted, "aborted by a format"), false, true, kNow),
            "short test aborted 3 hours ago: by a format");
  EXPECT_EQ(outcome_text(ended(Outcome::Aborted, "interrupted by a reset")),
            "aborted: interrupted by a reset");
}

TEST(TestWords, NameADriveBehindAControllerWithItsType) {
  EXPECT_EQ(shown_name("/dev/bus/8", {"/dev/bus/8", "sat+megaraid,0"}),
            "/dev/bus/8 sat+megaraid,0");
  EXPECT_EQ(shown_name("EX0001", {"/dev/bus/8", "megaraid,0"}), "EX0001");
  EXPECT_EQ(shown_name("/dev/sda", {"/dev/sda", "sat"}), "/dev/sda");
  EXPECT_EQ(name_in_command("/dev/bus/8", {"/dev/bus/8", "sat+megaraid,0"}, ""),
            "--type sat+megaraid,0 /dev/bus/8");
  EXPECT_EQ(name_in_command("EX0001", {"/dev/bus/8", "megaraid,0"}, ""), "EX0001");
  EXPECT_EQ(name_in_command("/dev/sda", {"/dev/sda", "sat"}, ""), "/dev/sda");
  EXPECT_EQ(name_in_command("x y", {"x y", "sat"}, ""), "DEVICE");
  EXPECT_EQ(name_in_command("/dev/sg1", {"/dev/sg1", "cciss,0; x"}, ""), "--type TYPE /dev/sg1");
}

TEST(TestWords, KeepTheTypeThatTheUserGaveInACommand) {
  EXPECT_EQ(name_in_command("/dev/sdc", {"/dev/sdc", "sat"}, "sat"), "--type sat /dev/sdc");
  EXPECT_EQ(name_in_command("./sdc", {"/dev/sdc", "cciss,0"}, "cciss,0"), "--type cciss,0 ./sdc");
  EXPECT_EQ(name_in_command("EX0003", {"/dev/sdc", "sat"}, "sat"), "--type sat EX0003");
}

}  // namespace
}  // namespace cli

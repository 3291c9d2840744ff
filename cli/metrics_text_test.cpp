#include "cli/metrics_text.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <chrono>

namespace cli {
namespace {

using drivetest::LookFault;
using drivetest::Outcome;
using drivetest::TestKind;
using drivetest::TestRow;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

constexpr drivetest::Time kNow{1'800'000'000s};

MeasuredDrive drive(const std::string& identity = "wwn-0x5000000000000001") {
  MeasuredDrive one;
  one.identity = identity;
  drivetest::Look look;
  look.drive.place.device = "/dev/sda";
  look.drive.protocol = drivetest::Protocol::Ata;
  look.drive.model = "Example Disk";
  look.drive.serial_number = "S1";
  look.drive.firmware = "F1";
  look.abilities[0] = {true, 2U};
  one.look = look;
  return one;
}

TestRow test(Outcome outcome, TestKind kind = TestKind::Short) {
  TestRow row;
  row.kind = kind;
  row.started = kNow;
  row.ended = kNow + 120s;
  row.outcome = outcome;
  return row;
}

std::string text_of(const MeasuredDrive& one) { return metrics_of({one}, 0).text; }

testing::Matcher<std::string> has_line(const std::string& line) {
  return HasSubstr("\n" + line + "\n");
}

const std::string kLabel = "{drive=\"wwn-0x5000000000000001\"";

TEST(MetricsText, SaysWhatTheDriveIs) {
  const std::string text = text_of(drive());
  EXPECT_THAT(text, HasSubstr("# HELP hddtest_drive_info A drive"));
  EXPECT_THAT(text, has_line("# TYPE hddtest_drive_info gauge"));
  EXPECT_THAT(text, has_line("hddtest_drive_info" + kLabel +
                             ",device=\"/dev/sda\",serial=\"S1\",model=\"Example Disk\","
                             "firmware=\"F1\",protocol=\"ATA\"} 1"));
  EXPECT_THAT(text, has_line("hddtest_drive_present" + kLabel + "} 1"));
  EXPECT_THAT(text, has_line("hddtest_drive_testable" + kLabel + "} 1"));
  EXPECT_THAT(text, has_line("hddtest_test_running" + kLabel + "} 0"));
  EXPECT_THAT(text, HasSubstr("# TYPE hddtest_tests_total counter"));
  EXPECT_TRUE(text.ends_with("\nhddtest_scrape_errors 0\n"));
  // Nothing is known of tests: a head without a sample says nothing.
  EXPECT_THAT(text, Not(HasSubstr("hddtest_last_")));
}

TEST(MetricsText, SaysOfAMachineWithoutDrivesThatNothingWentWrong) {
  const std::string text = metrics_of({}, 0).text;
  EXPECT_THAT(text, Not(HasSubstr("{")));
  EXPECT_TRUE(text.ends_with("\nhddtest_scrape_errors 0\n"));
}

TEST(MetricsText, TellsTheLastTestOfEachKind) {
  MeasuredDrive one = drive();
  one.tests = {test(Outcome::Aborted), test(Outcome::Failed, TestKind::Long), test(Outcome::Passed),
               test(Outcome::Passed, TestKind::Long)};
  one.tests[2].ended = kNow - 500s;  // before its start: a clock went back
  one.tests[3].ended = kNow - 900s;
  const std::string text = text_of(one);
  const std::string outcome = "hddtest_last_test_outcome" + kLabel;
  EXPECT_THAT(text, has_line(outcome + ",test=\"short\",outcome=\"aborted\"} 1"));
  for (const std::string other : {"passed", "failed", "unknown"})
    EXPECT_THAT(text,
                has_line(fmt::format("{},test=\"short\",outcome=\"{}\"}} 0", outcome, other)));
  EXPECT_THAT(text, has_line(outcome + ",test=\"long\",outcome=\"failed\"} 1"));
  EXPECT_THAT(text, has_line("hddtest_last_test_end_timestamp_seconds" + kLabel +
                             ",test=\"short\"} 1800000120"));
  EXPECT_THAT(text,
              has_line("hddtest_last_test_duration_seconds" + kLabel + ",test=\"long\"} 120"));
  EXPECT_THAT(text, has_line("hddtest_last_passed_timestamp_seconds" + kLabel +
                             ",test=\"short\"} 1799999500"));
  EXPECT_THAT(text, has_line("hddtest_last_passed_timestamp_seconds" + kLabel +
                             ",test=\"long\"} 1799999100"));
  EXPECT_THAT(text, Not(HasSubstr("conveyance")));
  const std::string total = "hddtest_tests_total" + kLabel + ",outcome=";
  EXPECT_THAT(text, has_line(total + "\"passed\"} 2"));
  EXPECT_THAT(text, has_line(total + "\"failed\"} 1"));
  EXPECT_THAT(text, has_line(total + "\"unknown\"} 0"));
}

TEST(MetricsText, TellsAFailureUntilATestThatCanAnswerItPasses) {
  using enum Outcome;
  const auto is_open = [](const std::vector<TestRow>& newest_first, const std::string& kind) {
    MeasuredDrive one = drive();
    one.tests = newest_first;
    const std::string series = "\nhddtest_failure_open" + kLabel + ",test=\"" + kind + "\"} ";
    const std::string text = text_of(one);
    const std::size_t place = text.find(series);
    return place == std::string::npos ? std::string() : text.substr(place + series.size(), 1);
  };
  EXPECT_EQ(is_open({test(Failed)}, "short"), "1");
  EXPECT_EQ(is_open({test(Passed), test(Failed)}, "short"), "0");
  EXPECT_EQ(is_open({test(Failed), test(Passed)}, "short"), "1");
  // Nobody learns anything good of a drive by a test that does not end.
  EXPECT_EQ(is_open({test(Aborted), test(Unknown), test(Failed)}, "short"), "1");
  EXPECT_EQ(is_open({TestRow{}, test(Aborted), test(Failed), test(Passed)}, "short"), "1");
  EXPECT_EQ(is_open({test(Aborted)}, "short"), "0");
  // The long test does all that the short one does, and no other test does what another one does.
  const TestRow long_passed = test(Passed, TestKind::Long);
  EXPECT_EQ(is_open({test(Aborted), long_passed, test(Failed)}, "short"), "0");
  EXPECT_EQ(is_open({test(Passed), test(Failed, TestKind::Long)}, "long"), "1");
  EXPECT_EQ(is_open({long_passed, test(Failed, TestKind::Conveyance)}, "conveyance"), "1");
  EXPECT_EQ(is_open({long_passed}, "long"), "0");
  EXPECT_EQ(is_open({long_passed}, "short"), "");
  // One that somebody else started, and that nobody saw, has no time and no kind.
  TestRow other = test(Failed);
  other.kind.reset();
  other.started = other.ended = std::nullopt;
  EXPECT_EQ(is_open({test(Passed), other}, "other"), "1");
  EXPECT_EQ(is_open({long_passed, other}, "other"), "0");
  TestRow other_passed = other;
  other_passed.outcome = Passed;
  EXPECT_EQ(is_open({other_passed, other}, "other"), "1") << "they may have tested other things";
}

TEST(MetricsText, InventsNoTimeWhereNobodySawTheTest) {
  MeasuredDrive one = drive();
  one.tests = {test(Outcome::Passed)};
  one.tests[0].started.reset();
  one.tests[0].ended.reset();
  one.tests[0].kind.reset();
  const std::string text = text_of(one);
  EXPECT_THAT(text, has_line("hddtest_last_test_outcome" + kLabel +
                             ",test=\"other\",outcome=\"passed\"} 1"));
  EXPECT_THAT(text, Not(HasSubstr("_seconds")));
}

TEST(MetricsText, TellsOfTheRunningTest) {
  MeasuredDrive one = drive();
  TestRow running;
  running.kind = TestKind::Long;
  running.remaining_percent = 40;
  one.tests = {test(Outcome::Passed), running};  // somebody else's was found in the log since
  one.is_stalled = true;
  const std::string text = text_of(one);
  EXPECT_THAT(text, has_line("hddtest_test_running" + kLabel + "} 1"));
  EXPECT_THAT(text, has_line("hddtest_test_remaining_ratio" + kLabel + "} 0.4"));
  EXPECT_THAT(text, has_line("hddtest_test_stalled" + kLabel + "} 1"));
  EXPECT_THAT(text, Not(HasSubstr("test=\"long\"")));
}

TEST(MetricsText, TellsOfNoRunningTestInADriveThatRestsOrCannotBeAsked) {
  MeasuredDrive one = drive();
  TestRow running;
  running.remaining_percent = 70;
  one.tests = {running};
  one.look->fault = LookFault::Standby;
  EXPECT_THAT(text_of(one), has_line("hddtest_test_running" + kLabel + "} 0"));
  EXPECT_THAT(text_of(one), Not(HasSubstr("remaining_ratio")));
  one.look->fault = LookFault::CannotBeReached;
  EXPECT_THAT(text_of(one), Not(HasSubstr("hddtest_test_running")));
  EXPECT_THAT(text_of(one), Not(HasSubstr("remaining_ratio")));
}

TEST(MetricsText, TellsSinceWhenATestIsTriedThatNeverPasses) {
  MeasuredDrive one = drive();
  TestRow first = test(Outcome::Aborted, TestKind::Long);
  first.started = kNow - 900s;
  TestRow undated = test(Outcome::Passed, TestKind::Long);
  undated.started = undated.ended = std::nullopt;
  one.tests = {test(Outcome::Unknown, TestKind::Long), test(Outcome::Passed), undated, first};
  const std::string tried = "hddtest_tried_since_timestamp_seconds" + kLabel + ",test=";
  EXPECT_THAT(text_of(one), has_line(tried + "\"long\"} 1799999100"));
  EXPECT_THAT(text_of(one), Not(HasSubstr(tried + "\"short")));
  one.tests.insert(one.tests.begin(), test(Outcome::Passed, TestKind::Long));
  EXPECT_THAT(text_of(one), Not(HasSubstr(tried)));
}

TEST(MetricsText, KnowsADriveThatIsGoneByTheHistory) {
  MeasuredDrive one = drive();
  one.drive = one.look->drive;
  one.look.reset();
  TestRow running;
  running.remaining_percent = 40;
  one.tests = {running, test(Outcome::Passed)};
  const std::string text = text_of(one);
  EXPECT_THAT(text, HasSubstr("device=\"\",serial=\"S1\",model=\"Example Disk\""));
  EXPECT_THAT(text, has_line("hddtest_drive_present" + kLabel + "} 0"));
  EXPECT_THAT(text, has_line("hddtest_drive_testable" + kLabel + "} 0"));
  EXPECT_THAT(text, has_line("hddtest_test_running" + kLabel + "} 0"));
  EXPECT_THAT(text, Not(HasSubstr("remaining_ratio")));
  EXPECT_THAT(text, has_line("hddtest_tests_total" + kLabel + ",outcome=\"passed\"} 1"));
  EXPECT_THAT(text, has_line("hddtest_scrape_errors 0"));
}

TEST(MetricsText, SaysOfADriveInStandbyWhatTheHistoryKnows) {
  MeasuredDrive one = drive();
  one.drive = one.look->drive;
  one.look->fault = LookFault::Standby;
  one.look->drive.model.clear();
  one.look->drive.protocol = drivetest::Protocol::Unknown;
  std::string text = text_of(one);
  EXPECT_THAT(text, HasSubstr("model=\"Example Disk\",firmware=\"F1\",protocol=\"ATA\""));
  EXPECT_THAT(text, Not(HasSubstr("hddtest_drive_testable")));
  EXPECT_THAT(text, has_line("hddtest_scrape_errors 0"));
  one.tests = {test(Outcome::Failed)};
  text = text_of(one);
  EXPECT_THAT(text, has_line("hddtest_drive_testable" + kLabel + "} 1"));
}

TEST(MetricsText, SaysOfADriveThatCannotBeTestedThatItCannot) {
  MeasuredDrive one = drive();
  one.look->abilities = {};
  EXPECT_THAT(text_of(one), has_line("hddtest_drive_testable" + kLabel + "} 0"));
  one = drive();
  one.look->inability = "the bridge does not let tests through";
  EXPECT_THAT(text_of(one), has_line("hddtest_drive_testable" + kLabel + "} 0"));
  EXPECT_THAT(text_of(one), has_line("hddtest_scrape_errors 0"));
}

TEST(MetricsText, SaysOfADriveThatCannotBeAskedWhatItsTestsTell) {
  MeasuredDrive one = drive();
  one.look->fault = LookFault::CannotBeReached;
  const std::string testable = "hddtest_drive_testable";
  EXPECT_THAT(text_of(one), Not(HasSubstr(testable)));
  EXPECT_THAT(text_of(one), has_line("hddtest_scrape_errors 1"));
  one.tests = {test(Outcome::Passed)};
  one.tests[0].source = drivetest::Source::Other;
  EXPECT_THAT(text_of(one), Not(HasSubstr(testable)));
  one.tests.push_back(test(Outcome::Aborted));
  EXPECT_THAT(text_of(one), has_line(testable + kLabel + "} 1"));
  one.tests[1].source = drivetest::Source::Module;
  EXPECT_THAT(text_of(one), has_line(testable + kLabel + "} 1"));
}

TEST(MetricsText, HasEachSeriesOnceAlsoOfDrivesWithOneName) {
  MeasuredDrive second = drive();
  second.look->drive.place.device = "/dev/sdb";
  MeasuredDrive gone = drive();
  gone.look.reset();
  const Metrics metrics = metrics_of({drive(), second, gone}, 2);
  EXPECT_THAT(metrics.text, has_line("hddtest_drive_present" + kLabel + "} 1"));
  EXPECT_THAT(metrics.text,
              has_line("hddtest_drive_present{drive=\"wwn-0x5000000000000001 (2)\"} 1"));
  EXPECT_THAT(metrics.text,
              has_line("hddtest_drive_present{drive=\"wwn-0x5000000000000001 (3)\"} 0"));
  EXPECT_THAT(metrics.text, has_line("hddtest_scrape_errors 4"));
  ASSERT_EQ(metrics.clashes.size(), 2U);
  EXPECT_THAT(metrics.clashes[0], HasSubstr("/dev/sdb"));
}

TEST(MetricsText, CountsDrivesThatAreKnownByTheirPlaces) {
  MeasuredDrive first = drive("wwn-0x5000000000000001\nat /dev/sda");
  MeasuredDrive second = drive("wwn-0x5000000000000001\nat /dev/sdb");
  first.look->drive.shares_identity = second.look->drive.shares_identity = true;
  const Metrics metrics = metrics_of({first, second}, 0);
  EXPECT_THAT(metrics.text,
              has_line("hddtest_drive_present{drive=\"wwn-0x5000000000000001 at /dev/sda\"} 1"));
  EXPECT_THAT(metrics.text, has_line("hddtest_scrape_errors 2"));
  EXPECT_TRUE(metrics.clashes.empty());
  second.look.reset();
  EXPECT_THAT(metrics_of({first, second}, 0).text, has_line("hddtest_scrape_errors 0"))
      << "the other one has gone, and nobody else claims to be the first";
  MeasuredDrive silent = drive("\nat /dev/sdc");
  EXPECT_THAT(metrics_of({first, silent}, 0).text, has_line("hddtest_scrape_errors 0"));
  silent.look->fault = LookFault::Standby;
  EXPECT_THAT(metrics_of({first, silent}, 0).text, has_line("hddtest_scrape_errors 1")) << "it may";
}

TEST(MetricsText, LetsNoTextOfADriveForgeALineOrEndTheFile) {
  MeasuredDrive one = drive("Ex\"a\\m\nple\r\x1b" + std::string(1, '\0') + "\xff");
  one.look->drive.model = "a\nhddtest_forged 1";
  const std::string text = text_of(one);
  EXPECT_THAT(text, HasSubstr("{drive=\"Ex\\\"a\\\\m ple"
                              "\uFFFD\uFFFD\uFFFD\uFFFD\""));
  EXPECT_THAT(text, HasSubstr("model=\"a\\nhddtest_forged 1\""));
  EXPECT_THAT(text, Not(HasSubstr("\nhddtest_forged")));
  for (const char letter : text)
    EXPECT_TRUE(letter == '\n' || static_cast<unsigned char>(letter) >= 0x20);
}

TEST(MetricsText, KnowsADriveThatSaysNothing) {
  EXPECT_THAT(text_of(drive("\nat /dev/sda")), HasSubstr("{drive=\"at /dev/sda\""));
  EXPECT_THAT(text_of(drive("")), HasSubstr("{drive=\"unknown\""));
}

}  // namespace
}  // namespace cli

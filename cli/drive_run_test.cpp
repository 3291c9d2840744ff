// Whole runs in this process: the real module, a stand-in smartctl, and no waiting.
#include "cli/drive_run.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/fsuid.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "cli/drive_result.h"
#include "cli/json.h"
#include "cli/log_texts.h"
#include "cli/manager.h"
#include "cli/readable.h"
#include "cli/run_evidence.h"
#include "platform/support/logger.h"

// What the module calls between two reads of a drive's log.
extern "C" __attribute__((visibility("default"))) unsigned sleep(unsigned) { return 0; }

namespace cli {
namespace {

namespace fs = std::filesystem;

// Reads of the log after the test was started take the next file while there is one.
constexpr const char* kStandIn = R"sh(#!/bin/sh
cd "${0%/*}"
case $1 in
-i) cat information ;;
-c) [ ! -e started ] || cat capabilities ;;
-t) [ ! -e refusal ] || { cat refusal; exit 4; }
    : > started ;;
-l) echo 'SMART Self-test log structure revision number 1'
    [ -e started ] || exit 0
    echo x >> reads
    cat "log$(wc -l < reads)" 2>/dev/null || cat last ;;
esac
)sh";

class DriveRun : public testing::Test {
 protected:
  DriveRun() {
    std::string name = fs::temp_directory_path() / "hddtest_cli.XXXXXX";
    folder_ = mkdtemp(name.data());
    write("smartctl", kStandIn);
    write("information", "SMART support is: Enabled\n");
    fs::permissions(folder_ / "smartctl", fs::perms::owner_all);
    path_ = getenv("PATH");
    setenv("PATH", (folder_.string() + ":" + path_).c_str(), 1);
    places_.data = HDDTEST_DATA_DIR;
    places_.registration = places_.data / "hddtest/hddtest.reg";
    places_.libraries = {HDDTEST_LIBRARY_DIR};
  }
  ~DriveRun() override {
    setenv("PATH", path_.c_str(), 1);
    fs::current_path("/");
    fs::remove_all(folder_);
  }

  void write(const char* name, const std::string& text) {
    std::ofstream(folder_ / name) << text << std::flush;
  }

  static std::string entry(const std::string& text) {
    return "# 1  Short offline       " + text + "      1217         -\n";
  }

  DriveResult test(const std::string& device = "/dev/fake") {
    const auto manager = make_manager(places_);
    return test_drive(*manager, device, [](const Progress&) {});
  }

  fs::path folder_;
  std::string path_;
  Places places_;
};

TEST_F(DriveRun, PassedHasRecordAndJobOfTheRun) {
  write("last", entry("Completed without error       00%"));
  const DriveResult result = test();
  EXPECT_EQ(result.verdict.outcome, RunOutcome::Passed);
  EXPECT_EQ(result.verdict.reason, "");
  EXPECT_EQ(result.entry, "# 1 Short offline Completed without error 00% 1217 -");
  ASSERT_FALSE(result.job.is_null() || result.record.is_null());
  EXPECT_EQ(result.job["InstanceID"], result.record["InstanceID"]);
  EXPECT_EQ(result.record["ManagedElementName"], "/dev/fake");
  EXPECT_TRUE(result.record["RecordData"].get<std::string>().starts_with("HDST-000: "));
}

TEST_F(DriveRun, LaterRunsFindTheirOwnRecord) {
  write("last", entry("Completed without error       00%"));
  const auto manager = make_manager(places_);
  for (const char* device : {"/dev/one", "/dev/two", "/dev/three"}) {
    fs::remove(folder_ / "started");
    const DriveResult result = test_drive(*manager, device, [](const Progress&) {});
    ASSERT_FALSE(result.record.is_null());
    EXPECT_EQ(result.record["ManagedElementName"], device);
  }
}

TEST_F(DriveRun, TimeOutIsNoOutcome) {
  write("last", entry("Self-test routine in progress 10%"));
  const DriveResult result = test();
  EXPECT_EQ(result.verdict.outcome, std::nullopt);
  EXPECT_EQ(result.verdict.cause, "not-ended");
  EXPECT_EQ(result.verdict.remaining, 10);
  EXPECT_TRUE(result.record.is_null()) << "which calls the drive failed";
}

TEST_F(DriveRun, TimeOutOfASilentLogAsksTheDriveOnceMore) {
  write("last", "");
  write("capabilities", "Self-test execution status:      ( 244)\tin progress\n");
  const DriveResult result = test();
  EXPECT_EQ(result.verdict.cause, "not-ended");
  EXPECT_EQ(result.verdict.remaining, 40);
}

TEST_F(DriveRun, FailureHasWhatTheDriveReported) {
  write("information", "Device Model:     M 1\nSerial Number:    S1\nSMART support is: Enabled\n");
  write("last", "# 1  Short offline       Completed: read failure       70%      1217    12345\n");
  const DriveResult result = test();
  EXPECT_EQ(result.verdict.outcome, RunOutcome::Failed);
  EXPECT_EQ(result.verdict.cause, "read-failure");
  EXPECT_EQ(result.verdict.block, 12345U);
  EXPECT_EQ(result.verdict.hours, 1217U);
  EXPECT_EQ(result.model, "M 1");
  EXPECT_EQ(result.serial, "S1");
  EXPECT_TRUE(result.record["RecordData"].get<std::string>().starts_with("HDST-100: "));
}

// The log file has only the beginning of these.
TEST_F(DriveRun, AnswersLongerThanALineOfTheLogAreReadWhole) {
  const std::string much(20'000, 'x');
  write("information", much + "\nSMART support is: Enabled\n");
  write("last", much + "\n" + entry("Completed without error       00%"));
  const DriveResult result = test();
  EXPECT_EQ(result.verdict.outcome, RunOutcome::Passed) << result.verdict.reason;
  EXPECT_EQ(result.entry, "# 1 Short offline Completed without error 00% 1217 -");
}

TEST_F(DriveRun, ADriveThatIsNotReadyIsNotHandedToTheModule) {
  write("information", "SMART support is: Disabled\n");
  const auto manager = make_manager(places_);
  bool asked = false;
  const DriveResult result =
      test_drive(*manager, "/dev/fake", [&](const Progress&) { asked = true; });
  EXPECT_FALSE(asked);
  EXPECT_EQ(result.verdict.outcome, std::nullopt);
  EXPECT_EQ(result.verdict.cause, "smart-off");
  EXPECT_TRUE(result.begin);
}

// Between the look and the start somebody else's test began: the module calls that failed.
TEST_F(DriveRun, ATestThatBeganMeanwhileIsNoFailure) {
  write("refusal", "Can't start self-test without aborting current test (70% remaining),\n");
  const DriveResult result = test();
  EXPECT_EQ(result.verdict.outcome, std::nullopt);
  EXPECT_EQ(result.verdict.cause, "running");
  EXPECT_EQ(result.verdict.remaining, 70);
  EXPECT_TRUE(result.job.is_null() && result.record.is_null());
}

TEST_F(DriveRun, RefusedNameHasReasonButNoOutcome) {
  for (const char* device : {"", "-x"}) {
    const DriveResult result = test(device);
    EXPECT_EQ(result.verdict.outcome, std::nullopt);
    EXPECT_TRUE(result.job.is_null() && result.record.is_null());
    EXPECT_EQ(result.verdict.cause, "no-device");
    EXPECT_TRUE(result.verdict.reason.starts_with("not the name of a device"))
        << result.verdict.reason;
  }
}

TEST_F(DriveRun, UnreadableLogIsAnErrorOfTheCall) {
  write("last", "no entry\n");  // a log without any, which no drive should print
  const DriveResult result = test();
  EXPECT_EQ(result.verdict.outcome, std::nullopt);
  EXPECT_EQ(result.verdict.cause, "module-error");
  EXPECT_NE(result.verdict.reason.find("CIM_ERR_FAILED"), std::string::npos)
      << result.verdict.reason;
}

// The table of log texts against the module's own lines.
TEST_F(DriveRun, ModuleWritesEveryTextOfTheTable) {
  static std::vector<std::string> lines;
  NKVRHVX20::set_log_sink([](NKVRHVX20::ILogger::EHVXLogSeverity severity, const std::string& text,
                             void*) { lines.push_back(std::to_string(severity) + text); },
                          nullptr);
  const auto manager = make_manager(places_);
  const auto run = [&] {
    fs::remove(folder_ / "started");
    fs::remove(folder_ / "reads");
    manager->invoke_method(
        broker::ObjectPath::parse(
            "KAVRO_HDDTest_DiagnosticService.SystemCreationClassName=\"KAVRO_ComputerSystem\","
            "SystemName=\"\",CreationClassName=\"KAVRO_HDDTest_DiagnosticService\","
            "Name=\"Hard Drive: Self Test\""),
        "RunDiagnostic",
        {{"ManagedElement",
          broker::ObjectPath::parse("KAVRO_DiskDrive.DeviceID=\"/dev/fake\",SystemName=\"\","
                                    "SystemCreationClassName=\"\",CreationClassName=\"\"")}});
  };
  write("last", entry("Completed without error       00%"));
  run();  // ends because the log has changed
  write("log1", entry("Self-test routine in progress 90%"));
  run();  // ends because the test is over
  NKVRHVX20::set_log_sink(nullptr, nullptr);

  const auto written = [](std::string_view begins) {
    for (const std::string& line : lines)
      if (line.starts_with("3" + std::string(begins))) return true;
    return false;
  };
  for (const LogText& text : kStepTexts) EXPECT_TRUE(written(text.begins)) << text.begins;
  for (const AnswerText& text : kAnswerTexts) EXPECT_TRUE(written(text.begins)) << text.begins;
  EXPECT_TRUE(written(kPollText));
  EXPECT_TRUE(written(kStillInProgressText));
  RunEvidence evidence;
  for (const std::string& line : lines) evidence.take(line[0] - '0', line.substr(1));
  EXPECT_TRUE(evidence.information && evidence.baseline && evidence.started() && evidence.log);
  EXPECT_TRUE(written(kLatestEntryText));
  Progress progress;
  bool shown = false;
  for (const std::string& line : lines) {
    progress.take(line[0] - '0', line.substr(1));
    shown = shown || progress.shown() == "testing, 90% remaining";
  }
  EXPECT_TRUE(shown);
}

TEST_F(DriveRun, EachTextOfEnabledSmartLetsTheEngineTest) {
  write("last", entry("Completed without error       00%"));
  for (const std::string_view text : kSmartEnabledTexts) {
    fs::remove(folder_ / "started");
    write("information", std::string(text) + "\n");
    EXPECT_EQ(test().verdict.outcome, RunOutcome::Passed) << text;
  }
  write("information", "SMART support is: Available\n");
  EXPECT_EQ(test().verdict.cause, "no-smart");
}

TEST_F(DriveRun, TellsOfEachChange) {
  write("log1", entry("Self-test routine in progress 90%"));
  write("last", entry("Completed without error       00%"));
  const auto manager = make_manager(places_);
  std::vector<std::string> shown;
  test_drive(*manager, "/dev/fake",
             [&](const Progress& progress) { shown.push_back(progress.shown()); });
  EXPECT_EQ(shown,
            (std::vector<std::string>{"checking SMART", "reading its log", "starting the test",
                                      "testing", "testing, 90% remaining", "reading the result"}));
}

// Their schema types are an 8-bit unsigned and two 8-bit signed integers, which are easily taken
// for characters.
TEST_F(DriveRun, JobNumbersAreNumbersInCmpiTextAndJson) {
  write("last", entry("Completed without error       00%"));
  const auto manager = make_manager(places_);
  const DriveResult result = test_drive(*manager, "/dev/fake", [](const Progress&) {});
  const broker::Instance job = manager->enumerate_instances("KAVRO_HDDTest_ConcreteJob").at(0);
  EXPECT_EQ(*job.property("RunMonth"), broker::Value(std::uint8_t{4}));
  EXPECT_EQ(*job.property("RunDay"), broker::Value(std::int8_t{1}));
  EXPECT_EQ(*job.property("RunDayOfWeek"), broker::Value(std::int8_t{0}));

  const std::string text = readable(job, 0);
  EXPECT_NE(text.find("  RunMonth               4\n"), std::string::npos) << text;
  EXPECT_NE(text.find("  RunDay                 1\n"), std::string::npos) << text;
  EXPECT_NE(text.find("  RunDayOfWeek           0\n"), std::string::npos) << text;

  const Json& json = result.job;
  EXPECT_EQ(json["RunMonth"].dump(), "4");
  EXPECT_EQ(json["RunDay"].dump(), "1");
  EXPECT_EQ(json["RunDayOfWeek"].dump(), "0");
}

TEST(Refusal, TakesBlockDevicesOnly) {
  for (const char* const path : {"/dev/null", "/etc/passwd", "/dev"})
    EXPECT_EQ(why_not_a_drive(path)->reason, "not a block device; 'hddtest status' shows all");
  const std::optional<Verdict> missing = why_not_a_drive("/no/such");
  EXPECT_EQ(missing->reason, "there is no such drive; 'hddtest status' shows all");
  EXPECT_EQ(missing->cause, "no-device");
}

TEST_F(DriveRun, SaysWhatToDoAboutAPathThatMayNotBeFollowed) {
  fs::create_directory(folder_ / "closed");
  fs::permissions(folder_ / "closed", fs::perms::none);
  const std::string path = folder_ / "closed/sda";
  // Only this thread's rights, and only those over files.
  constexpr uid_t kNobody = 65534;
  setfsuid(geteuid() == 0 ? kNobody : geteuid());
  const std::optional<Verdict> why = why_not_a_drive(path);
  setfsuid(geteuid());
  // Else nobody but root could remove it.
  fs::permissions(folder_ / "closed", fs::perms::owner_all);
  ASSERT_TRUE(why);
  EXPECT_EQ(why->cause, "no-permission");
  EXPECT_TRUE(why->reason.starts_with("Permission denied; ")) << why->reason;
  EXPECT_TRUE(why->reason.ends_with("the right to open the drive")) << why->reason;
}

}  // namespace
}  // namespace cli

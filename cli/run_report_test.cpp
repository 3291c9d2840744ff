#include "cli/run_report.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <stdlib.h>

#include "cli/drive_result.h"
#include "cli/drive_run.h"
#include "platform/descriptor.h"

namespace cli {
namespace {

const Output kNone(-1);

DriveResult result(const std::string& device, std::optional<RunOutcome> outcome,
                   const std::string& cause = "") {
  DriveResult made = not_tested(device, cause, cause.empty() ? "" : "why");
  made.verdict.outcome = outcome;
  made.begin = std::chrono::sys_seconds(std::chrono::seconds(1'000'000'000));
  made.elapsed = std::chrono::seconds(75);
  std::string code = "HDST-000";
  if (outcome == RunOutcome::Failed) code = "HDST-100";
  if (outcome == RunOutcome::Aborted) code = "HDST-200";
  if (outcome) made.record = {{"RecordData", code + ": text\n1. do\n"}};
  return made;
}

TEST(Summary, Counts) {
  const DriveResult passed = result("a", RunOutcome::Passed);
  EXPECT_EQ(summary({passed}, 0), "1 drive: 1 passed\n");
  EXPECT_EQ(summary({passed, result("c", std::nullopt, "running")}, 2),
            "4 drives: 1 passed, 1 could not be tested, 2 not tested\n");
  EXPECT_EQ(summary({passed, result("c", std::nullopt, "not-ended")}, 0),
            "2 drives: 1 passed, 1 without a result\n");
  EXPECT_EQ(summary({result("b", RunOutcome::Aborted, "no-self-test"),
                     result("c", RunOutcome::Aborted, "aborted")},
                    0),
            "2 drives: 1 aborted, 1 no self-test\n");
}

TEST(ShortReport, BreaksItsLinesAtBlanksOnATerminal) {
  int ends[2] = {-1, -1};
  winsize size{24, 40, 0, 0};
  ASSERT_EQ(openpty(&ends[0], &ends[1], nullptr, nullptr, &size), 0);
  const platform::Descriptor master(ends[0]);
  const platform::Descriptor slave(ends[1]);
  setenv("TERM", "xterm", 1);
  unsetenv("NO_COLOR");
  const Output terminal(slave.get());
  DriveResult failed = result("/dev/sdb", RunOutcome::Failed);
  failed.verdict.reason = "the drive reported: read failure\x1b, first bad block 4711";
  EXPECT_EQ(short_report(failed, terminal),
            "/dev/sdb: \x1b[1;31mfailed\x1b[0m (1:15): the drive\n"
            "reported: read failure\\x1b, first bad\n"
            "block 4711\n");
  EXPECT_EQ(
      short_report(failed, kNone),
      "/dev/sdb: failed (1:15): the drive reported: read failure\\x1b, first bad block 4711\n");
}

TEST(Advice, ComesOnceForDrivesWithTheSameCause) {
  DriveResult one = result("/dev/a", RunOutcome::Failed, "read-failure");
  one.model = "M\x1b 1";
  one.serial = "S1";
  const std::string text = advice(
      {one, result("/dev/b", RunOutcome::Failed, "electrical-failure"),
       result("/dev/c", RunOutcome::Passed), result("/dev/d", RunOutcome::Failed, "drive-gone"),
       result("/dev/e", std::nullopt, "running")},
      kNone);
  EXPECT_EQ(text,
            "\n/dev/a (M\\x1b 1, serial number S1), /dev/b:\n"
            "HDST-100: Back up the data on this drive now, then replace it, even if it still seems "
            "to work.\n"
            "\n/dev/d:\n"
            "HDST-100: Back up what can still be read. Check cable, power and controller of the "
            "drive; replace it if that happens again.\n");
}

TEST(FullReport, HasTheDriveAndTheAdvice) {
  DriveResult failed = result("/dev/a", RunOutcome::Failed, "read-failure");
  failed.model = "M 1";
  EXPECT_EQ(full_report(failed, true, kNone),
            "/dev/a: failed (1:15)\n"
            "  Drive:   M 1\n"
            "  Reason:  why\n"
            "  Advice:  HDST-100: Back up the data on this drive now, then replace it, even if it "
            "still seems to work.\n");
  EXPECT_EQ(full_report(failed, false, kNone).find("HDST-100"), std::string::npos);
  EXPECT_EQ(run_json(result("/dev/a", RunOutcome::Passed))["advice_text"], nullptr);
}

TEST(FullReport, HasTheAdviceOfTheDrivesOwnRowInThePlaceOfTheModules) {
  DriveResult aborted = result("/dev/a", RunOutcome::Aborted, "aborted");
  aborted.advice = "keep it awake";
  EXPECT_NE(full_report(aborted, true, kNone).find("  Advice:  keep it awake\n"),
            std::string::npos);
  EXPECT_EQ(advice({aborted}, kNone), "\n/dev/a:\nkeep it awake\n");
  EXPECT_EQ(run_json(aborted)["advice_text"], "keep it awake");
  aborted.advice = "";
  EXPECT_EQ(full_report(aborted, true, kNone).find("Advice"), std::string::npos);
  EXPECT_EQ(advice({aborted}, kNone), "");
}

// By its name somebody would pull the drive that the controller shows there.
TEST(FullReport, OfADriveBehindAControllerNamesNoOtherDrive) {
  DriveResult failed = result("/dev/a", RunOutcome::Failed, "read-failure");
  failed.place = {"/dev/a", "megaraid,5"};
  EXPECT_NE(full_report(failed, true, kNone)
                .find("  Bay:     megaraid,5 of the RAID controller at /dev/a"),
            std::string::npos);
  EXPECT_EQ(run_json(failed)["bay"]["controller"], "megaraid,5");
  failed.verdict.cause = "drive-gone";
  EXPECT_EQ(run_json(failed)["bay"], nullptr);
}

TEST(Complaint, SaysNotTestedOnlyOfWhatWasNot) {
  EXPECT_EQ(complaint(result("/dev/a", {}, "running")), "/dev/a was not tested: why");
  EXPECT_EQ(complaint(result("", {}, "running")), "'' was not tested: why");
  EXPECT_EQ(complaint(result("/dev/a", {}, "not-ended")), "/dev/a: why");
  EXPECT_EQ(complaint(result("/dev/a", {}, "unknown-result")), "/dev/a: why");
}

TEST(RunJson, HasEveryMemberOfTheFormat) {
  DriveResult failed = result("/dev/a", RunOutcome::Failed, "read-failure");
  failed.verdict.block = 12345;
  failed.verdict.hours = 1217;
  failed.model = "M";
  failed.serial = "S";
  failed.place = {"/dev/a", "sat"};
  const Json json = run_json(failed);
  EXPECT_EQ(json.dump(),
            R"({"format":1,"device":"/dev/a","type":"sat","outcome":"failed","reason":"why",)"
            R"("job":null,"record":{"RecordData":"HDST-100: text\n1. do\n"},"status":1,)"
            R"("test":"short","cause":"read-failure","remaining":null,"block":12345,)"
            R"("hours":1217,"model":"M",)"
            R"("serial":"S","begin":"2001-09-09T01:46:40Z","end":"2001-09-09T01:47:55Z",)"
            R"("duration":75,"advice":"HDST-100","advice_text":"HDST-100: Back up the data on )"
            R"(this drive now, then replace it, even if it still seems to work.",)"
            R"("bay":{"by_path":null,"enclosure":null,"enclosure_name":null,"enclosure_id":null,)"
            R"("slot":null,"controller":null,"locate":null}})");
}

TEST(RunJson, OfADriveThatWasNotAsked) {
  const Json json = run_json(not_tested("/dev/a", "left-out", "USB"));
  EXPECT_EQ(json["outcome"], nullptr);
  EXPECT_EQ(json["reason"], "USB");
  EXPECT_EQ(json["status"], 3);
  for (const char* name :
       {"begin", "end", "duration", "model", "advice", "advice_text", "record", "job", "bay"})
    EXPECT_EQ(json[name], nullptr) << name;
  EXPECT_EQ(failure_json("command-line", "x")[0]["device"], nullptr);
  EXPECT_EQ(failure_json("command-line", "x")[0]["test"], nullptr) << "no test is meant";
  EXPECT_EQ(failure_json("command-line", "x")[0].size(), json.size());
}

TEST(RunReport, SaysWhichTestsGoOn) {
  EXPECT_EQ(go_on_words({}), "");
  EXPECT_EQ(go_on_words({"/dev/a"}),
            "; the test goes on in the drive; 'hddtest watch /dev/a' shows it, 'hddtest stop "
            "/dev/a' ends it");
  EXPECT_EQ(go_on_words({"/dev/a", "DEVICE"}),
            "; the tests go on in the drives; 'hddtest watch /dev/a DEVICE' shows them, 'hddtest "
            "stop /dev/a DEVICE' ends them");
  EXPECT_EQ(go_on_words({"--type megaraid,1 /dev/bus/8"}),
            "; the test goes on in the drive; 'hddtest watch --type megaraid,1 /dev/bus/8' shows "
            "it, 'hddtest stop --type megaraid,1 /dev/bus/8' ends it");
  EXPECT_EQ(go_on_words({"--type cciss,0 /dev/sg1", "--type cciss,0 /dev/sg2"}),
            "; the tests go on in the drives; 'hddtest watch --type cciss,0 /dev/sg1 /dev/sg2' "
            "shows them, 'hddtest stop --type cciss,0 /dev/sg1 /dev/sg2' ends them");
  EXPECT_EQ(go_on_words({"/dev/a", "--type megaraid,1 /dev/bus/8", "/dev/b"}),
            "; the tests go on in the drives; 'hddtest watch' shows them, 'hddtest stop /dev/a "
            "/dev/b' and 'hddtest stop --type megaraid,1 /dev/bus/8' end them");
}

TEST(RunReport, LeavesOutHowLongSomebodyElsesTestTook) {
  DriveResult other = result("/dev/a", RunOutcome::Passed);
  other.begin.reset();
  other.elapsed = std::chrono::seconds(0);
  EXPECT_EQ(short_report(other, standard_error()).find('('), std::string::npos);
}

TEST(ProgressJson, HasNullsForWhatIsNotKnown) {
  TestProgress progress{.kind = drivetest::TestKind::Long, .percent = 50U, .minutes = 42U};
  const drivetest::Time time{std::chrono::seconds(0)};
  EXPECT_EQ(progress_json("/dev/a", "sat", progress, time).dump(),
            R"({"format":1,"event":"progress","device":"/dev/a","type":"sat","test":"long",)"
            R"("remaining":50,"minutes":42,)"
            R"("stalled":false,"source":"hddtest","time":"1970-01-01T00:00:00Z"})");
  const Json unknown = progress_json("/dev/a", "", {}, time);
  for (const char* const name : {"type", "test", "remaining", "minutes"})
    EXPECT_TRUE(unknown[name].is_null());
}

}  // namespace
}  // namespace cli

#include "drivetest/smartctl_report.h"

#include <gmock/gmock.h>

#include <utility>

#include "drivetest/inability.h"
#include "drivetest/log_growth.h"
#include "drivetest/outcome.h"

namespace drivetest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// What smartctl 7.5 would print of a drive, with these further members.
Look look(const std::string& protocol, const std::string& members, const std::string& lines = "",
          const std::string& type = "auto", const std::string& version = "7,5", int status = 0) {
  const std::string text = R"({"smartctl":{"version":[)" + version + R"(],"output":[)" + lines +
                           R"(]},"device":{"protocol":")" + protocol + R"(","type":")" + type +
                           "\"}" + (members.empty() ? "" : ",") + members + "}";
  return read_smartctl({"/dev/example", ""}, {text, "", status}).look;
}

Look ata(const std::string& self_test, const std::string& log = "", const std::string& lines = "") {
  return look("ATA",
              R"("ata_smart_data":{"self_test":{)" + self_test +
                  R"(},"capabilities":{"self_tests_supported":true}},"ata_smart_self_test_log":{)" +
                  log + "}",
              lines);
}

std::string row(int type, int status, int hours = 100) {
  return R"({"type":{"value":)" + std::to_string(type) + R"(},"status":{"value":)" +
         std::to_string(status) + R"(,"passed":true},"lifetime_hours":)" + std::to_string(hours) +
         "}";
}

TEST(AtaReport, BelievesNoPassedButTheCode) {
  const Look seen = ata(R"("status":{"value":144,"passed":true})",
                        R"("standard":{"table":[)" + row(1, 0x90) + "," + row(1, 0xF9) + "]}");
  EXPECT_EQ(seen.status_code, 9);
  EXPECT_EQ(result_meaning(Protocol::Ata, seen.log.at(0).result_code)->outcome, Outcome::Unknown);
  EXPECT_FALSE(result_meaning(Protocol::Ata, seen.log.at(1).result_code));
  EXPECT_FALSE(seen.running) << "a row that a loss of power left behind";
}

TEST(AtaReport, TellsTheRunningTestByTheStatus) {
  const std::string log = R"("standard":{"table":[)" + row(2, 0xF9) + "," + row(1, 0) + "]}";
  EXPECT_EQ(ata(R"("status":{"value":243})", log).running,
            (RunningTest{TestKind::Long, 30, false}));
  EXPECT_EQ(ata(R"("status":{"value":240})").running, (RunningTest{std::nullopt, 0, false}));
  EXPECT_EQ(ata(R"("status":{"value":255})").running,
            (RunningTest{std::nullopt, std::nullopt, false}));
  EXPECT_FALSE(ata(R"("status":{"value":9})", log).running);
}

// Drives for which smartctl prints these words say 240 after the test has ended, too.
TEST(AtaReport, DoubtsTheStatusOfDrivesThatAlwaysSayThatATestRuns) {
  const std::string line = R"("with unknown result or self-test in")";
  const Look seen = ata(R"("status":{"value":240})", "", line);
  ASSERT_TRUE(seen.running);
  EXPECT_TRUE(seen.running->is_doubtful);
}

TEST(AtaReport, TakesNoMinutesThatMayStandForOthers) {
  const Look seen = ata(R"("polling_minutes":{"short":2,"extended":255})");
  EXPECT_EQ(seen.abilities[0].minutes, 2);
  EXPECT_TRUE(seen.abilities[1].is_able);
  EXPECT_FALSE(seen.abilities[1].minutes);
  EXPECT_FALSE(seen.abilities[2].is_able) << "conveyance is told by itself";
  EXPECT_EQ(ata(R"("polling_minutes":{"extended":1804})").abilities[1].minutes, 1804);
  EXPECT_FALSE(ata(R"("polling_minutes":{"extended":70000})").abilities[1].minutes);
}

TEST(AtaReport, TakesTheLogThatGoesFurtherBack) {
  const std::string one = R"({"table":[)" + row(1, 0, 1) + "]}";
  const std::string two = R"({"table":[)" + row(1, 0, 2) + "," + row(1, 0, 1) + "]}";
  EXPECT_EQ(ata("", "\"standard\":" + two + ",\"extended\":" + one).log.size(), 2U);
  EXPECT_EQ(ata("", "\"standard\":" + one + ",\"extended\":" + two).log.size(), 2U);
  EXPECT_TRUE(ata("", "\"standard\":{\"count\":0}").has_log);
  EXPECT_FALSE(ata("").has_log);
}

// A block of more than 32 bits stands in the extended log only, which has room for fewer rows.
TEST(AtaReport, TakesTheRowsOfTheExtendedLogAndThoseThatOnlyTheStandardOneHas) {
  constexpr std::uint64_t kBlock = 5'000'000'000;
  const auto log = [](int newest, int rows, bool has_block) {
    std::string table;
    for (int i = 0; i < rows; ++i) {
      std::string one = row(2, 0x77, newest - i);
      if (has_block) one.insert(one.size() - 1, ",\"lba\":" + std::to_string(kBlock));
      table += (i > 0 ? "," : "") + one;
    }
    return R"({"table":[)" + table + "]}";
  };
  const auto logs = [&](int newest, int extended, int standard) {
    return ata("", "\"extended\":" + log(newest, extended, true) +
                       ",\"standard\":" + log(newest, standard, false))
        .log;
  };
  const std::vector<LogEntry> before = logs(900, 19, 19);
  const std::vector<LogEntry> now = logs(901, 19, 20);
  ASSERT_EQ(now.size(), 20U);
  EXPECT_EQ(now.at(18).first_bad_block, kBlock);
  EXPECT_FALSE(now.at(19).first_bad_block);
  EXPECT_EQ(now.at(19).hours, 882U);
  EXPECT_EQ(growth_of(before, now).added.size(), 1U);
  EXPECT_TRUE(growth_of(before, now).is_certain);
  EXPECT_EQ(logs(900, 25, 21).size(), 25U);
}

TEST(AtaReport, LetsNoTestBeStartedWhereSmartctlWouldSendTheCommandAllTheSame) {
  Look seen = look("ATA", R"("ata_smart_data":{"capabilities":{"self_tests_supported":false}})");
  settle(seen);
  EXPECT_EQ(seen.inability, "the drive says that it has no self-test");
}

TEST(Report, OfABridgeThatWritesOrLetsNothingThroughIsAnInability) {
  const std::string able = R"("ata_smart_data":{"capabilities":{"self_tests_supported":true}})";
  for (const char* const type : {"jmb39x,0", "jmb39x-q,1", "jms56x,2+sat"}) {
    EXPECT_TRUE(is_writing_type(type)) << type;
    Look seen = look("ATA", able, "", type);
    settle(seen);
    EXPECT_THAT(seen.inability, HasSubstr("writing")) << type;
    EXPECT_FALSE(seen.abilities[0].is_able) << type;
  }
  EXPECT_FALSE(is_writing_type("sat"));
  const std::string log = R"("nvme_self_test_log":{"current_self_test_operation":{"value":0}})";
  EXPECT_THAT(look("NVMe", log, "", "sntrealtek").inability, HasSubstr("USB bridge"));
  EXPECT_THAT(look("NVMe", log, "", "sntjmicron").inability, IsEmpty());
}

TEST(ScsiReport, ReadsThePercentageOfTheTextAndOfTheJson) {
  const std::string line = R"("Self-test execution status:\t\t75% of test remaining")";
  EXPECT_EQ(look("SCSI", "", line).running, (RunningTest{std::nullopt, 75, false}));
  EXPECT_EQ(look("SCSI", R"("scsi_self_test_status":{"in_progress":true,"completion_percent":30})")
                .running,
            (RunningTest{std::nullopt, 70, false}));
  EXPECT_FALSE(
      look("SCSI", R"("scsi_self_test_status":{"in_progress":false,"completion_percent":100})")
          .running);
  const std::string absurd =
      R"("Self-test execution status:\t\t-7% of test","no 5% of test remaining")";
  EXPECT_FALSE(look("SCSI", "", absurd).running);
}

TEST(ScsiReport, TellsTheRunningTestByItsRowWhateverItsHours) {
  const std::string row =
      R"("scsi_self_test_0":{"code":{"value":2},"result":{"value":15},"power_on_time":{"hours":7}})";
  EXPECT_EQ(look("SCSI", row).running, (RunningTest{TestKind::Long, std::nullopt, false}));
}

TEST(ScsiReport, KnowsAnEmptyLogByItsText) {
  Look seen = look("SCSI", "", R"("No Self-tests have been logged")");
  settle(seen);
  EXPECT_EQ(seen.fault, LookFault::None);
  EXPECT_TRUE(seen.has_log);
  EXPECT_TRUE(seen.abilities[1].is_able);
  seen = look("SCSI", "", R"("Device does not support Self Test logging")");
  settle(seen);
  EXPECT_FALSE(seen.has_log);
  EXPECT_THAT(seen.inability, HasSubstr("keeps no log"));
}

TEST(ScsiReport, OfAVolumeNamesTheDrivesBehindIt) {
  Look seen = look("SCSI", R"("model_name":"Example Raid 1 Volume")",
                   R"("Device does not support Self Test logging")");
  settle(seen);
  EXPECT_THAT(seen.inability, HasSubstr("volume of a RAID controller"));
}

TEST(ScsiReport, TakesASegmentOfFailedTestsOnly) {
  const auto row = [](int result) {
    return R"("scsi_self_test_0":{"code":{"value":1},"failed_segment":{"value":96},"result":{"value":)" +
           std::to_string(result) + "}}";
  };
  EXPECT_FALSE(look("SCSI", row(0)).log.at(0).segment);
  EXPECT_EQ(look("SCSI", row(7)).log.at(0).segment, 96);
}

TEST(NvmeReport, SkipsRowsThatAreNullOrUnused) {
  const std::string used = R"({"self_test_code":{"value":1},"self_test_result":{"value":0},)"
                           R"("power_on_hours":5,"nsid":4294967295,"lba":18446744073709551600})";
  const Look seen =
      look("NVMe", R"("nvme_self_test_log":{"nsid":-1,"current_self_test_operation":)"
                   R"({"value":0},"table":[null,)" +
                       used +
                       R"(,{},7,)"
                       R"({"self_test_code":{"value":0},"self_test_result":{"value":0}}]})");
  ASSERT_EQ(seen.log.size(), 1U);
  EXPECT_EQ(seen.log[0].namespace_id, -1);
  EXPECT_EQ(seen.log[0].first_bad_block, 18446744073709551600U);
  EXPECT_FALSE(seen.running);
}

TEST(NvmeReport, LeavesOutTheRowsThatABridgeSpoils) {
  std::string rows;
  for (int count = 0; count < 20; ++count)
    rows += std::string(count == 0 ? "" : ",") +
            R"({"self_test_code":{"value":1},"self_test_result":{"value":0}})";
  const std::string log = R"("nvme_self_test_log":{"current_self_test_operation":{"value":0},)"
                          R"("table":[)" +
                          rows + "]}";
  EXPECT_EQ(look("NVMe", log).log.size(), 20U);
  EXPECT_EQ(look("NVMe", log, "", "sntjmicron").log.size(), 19U);
  EXPECT_EQ(look("NVMe", log, "", "sntasmedia", "7,4").log.size(), 18U);
  EXPECT_EQ(look("NVMe", log, "", "sntasmedia", "7,5").log.size(), 20U);
}

TEST(NvmeReport, ReadsTheAbilityOfTheTextBefore75) {
  const std::string able = R"("Optional Admin Commands (0x0017):   Security Format Self_Test")";
  EXPECT_TRUE(look("NVMe", "", able, "nvme", "7,3").abilities[0].is_able);
  const std::string unable = R"("Optional Admin Commands (0x0007):   Security Format")";
  EXPECT_EQ(look("NVMe", "", unable, "nvme", "7,4").inability,
            "the drive says that it has no self-test");
  EXPECT_EQ(look("NVMe", "", R"("Self-tests not supported")").inability,
            "the drive says that it has no self-test");
}

// A command that failed once must not look like the end of a test.
TEST(Report, ThatLacksTheStateOfTheTestsIsAFault) {
  const auto settled = [](Look seen) {
    settle(seen);
    return std::pair(seen.fault, seen.reason);
  };
  using testing::Pair;
  constexpr auto kFault = LookFault::CannotBeReached;
  EXPECT_THAT(settled(look("ATA", "", R"("Read SMART Data failed: Input/output error")")),
              Pair(kFault,
                   "the drive did not tell the state of its self-tests: Read SMART Data "
                   "failed: Input/output error"));
  EXPECT_THAT(settled(look("SCSI", "", "")),
              Pair(kFault, "the drive's log of self-tests could not be read"));
  EXPECT_THAT(settled(look("NVMe", R"("nvme_optional_admin_commands":{"self_test":true})")),
              Pair(kFault, "the drive's log of self-tests could not be read"));
  const std::string lost = "Read SMART Self-test Log failed: Input/output error";
  EXPECT_THAT(settled(ata(R"("status":{"value":0})", "", "\"" + lost + "\"")),
              Pair(kFault, "the drive's log of self-tests could not be read: " + lost));
  for (const char* const line :
       {R"("SMART Self-test Log not supported")",
        R"("Read SMART Self-test Log failed: scsi error aborted command")"})
    EXPECT_EQ(settled(ata(R"("status":{"value":0})", "", line)).first, LookFault::None) << line;
  EXPECT_EQ(settled(look("NVMe", "")).first, LookFault::None) << "without a test";
}

TEST(Identity, OfAnNvmeDriveIsThatOfItsOnlyNamespace) {
  const auto name = [](const std::string& count) {
    return look("NVMe", R"("nvme_number_of_namespaces":)" + count +
                            R"(,"nvme_namespaces":[{"id":1,"eui64":{"oui":9528,"ext_id":1}}])")
        .drive.world_wide_name;
  };
  EXPECT_EQ(name("1"), "eui-0025380000000001");
  EXPECT_EQ(name("32"), "");
}

TEST(Identity, IsNotToldByZerosOrByWhatIsTooLarge) {
  const auto name = [](const char* wwn) { return look("ATA", wwn).drive.world_wide_name; };
  EXPECT_EQ(name(R"("wwn":{"naa":5,"oui":3152,"id":1})"), "wwn-0x5000c50000000001");
  EXPECT_EQ(name(R"("wwn":{"naa":0,"oui":0,"id":0})"), "");
  EXPECT_EQ(name(R"("wwn":{"naa":16,"oui":0,"id":0})"), "");
  EXPECT_EQ(look("SCSI", R"("logical_unit_id":"0x5000c50000000001")").drive.world_wide_name,
            "wwn-0x5000c50000000001");
  EXPECT_EQ(look("SCSI", R"("logical_unit_id":"0x5000\nc5000000001")").drive.world_wide_name, "");
}

TEST(Report, OfAnOldToolIsReadAndSaysWhichIsNeeded) {
  const Look seen = look("ATA", R"("model_name":"Example Disk")", "", "sat", "7,2");
  EXPECT_EQ(seen.fault, LookFault::ToolTooOld);
  EXPECT_THAT(seen.reason, HasSubstr("7.3 is needed (package smartmontools)"));
  EXPECT_EQ(seen.drive.model, "Example Disk");
  EXPECT_EQ(look("ATA", "", "", "sat", "6,9").fault, LookFault::ToolTooOld);
  EXPECT_EQ(look("ATA", "", "", "sat", "10,0").fault, LookFault::None);
}

TEST(SmartctlVersion, IsThatOfItsFirstLine) {
  EXPECT_EQ(smartctl_version({"smartctl 7.3 2022-02-28 r5338 [x86_64-linux]\n", "", 0}),
            (ToolVersion{7, 3}));
  EXPECT_EQ(smartctl_version({"smartctl pre-7.3", "", 0}), ToolVersion{});
  EXPECT_EQ(smartctl_version({"", "", -1}), ToolVersion{});
}

TEST(Report, OfAFaultQuotesTheFirstError) {
  const std::string text =
      R"({"smartctl":{"version":[7,3],"messages":[{"string":"a note","severity":"information"},)"
      R"({"string":"/dev/sda: Unknown USB bridge [0x1]","severity":"error"},)"
      R"({"string":"=======> VALID ARGUMENTS ARE: x","severity":"error"}]}})";
  const Look seen = read_smartctl({}, {text, "", 1}).look;
  EXPECT_EQ(seen.fault, LookFault::CannotBeReached);
  EXPECT_EQ(seen.reason, "/dev/sda: Unknown USB bridge [0x1]; a --type may reach it, such as sat");
  EXPECT_THAT(seen.notes, ElementsAre("a note"));
  EXPECT_EQ(read_smartctl({}, {text, "", 64}).look.fault, LookFault::None);
}

TEST(Report, OfADriveThatMayNotAnswerIsNoRest) {
  const auto of_mode = [](const std::string& mode) {
    const std::string text =
        R"({"smartctl":{"version":[7,3],"messages":[{"string":"Device is in )" + mode +
        R"x( mode, exit(3)","severity":"information"}]}})x";
    return read_smartctl({}, {text, "", 3}).look;
  };
  for (const char* mode : {"STANDBY", "STANDBY_Y", "IDLE", "IDLE_B"})
    EXPECT_EQ(of_mode(mode).fault, LookFault::Standby) << mode;
  const Look seen = of_mode("SLEEP");
  EXPECT_EQ(seen.fault, LookFault::CannotBeReached);
  EXPECT_EQ(seen.reason, "it does not say whether it rests: it sleeps, or does not answer");
  EXPECT_THAT(seen.notes, IsEmpty());
}

TEST(Report, OfAFaultInWordsQuotesTheLineThatTellsIt) {
  const auto reason = [](const std::string& lines) {
    return look("SCSI", "", lines, "scsi", "7,3", 2).reason;
  };
  const std::string given_up =
      R"("A mandatory SMART command failed: exiting. To continue, add one or more options.")";
  EXPECT_EQ(reason(R"("Read Device Identity failed: scsi error aborted command","",)" + given_up),
            "Read Device Identity failed: scsi error aborted command");
  EXPECT_EQ(reason(R"("device Test Unit Ready  [medium or hardware error]",)" + given_up),
            "device Test Unit Ready  [medium or hardware error]");
  EXPECT_THAT(reason(R"("",)" + given_up), HasSubstr("A mandatory SMART command failed"));
  EXPECT_THAT(reason(given_up), HasSubstr("A mandatory SMART command failed"));
  EXPECT_EQ(reason(""), "smartctl ended with status 2");
}

TEST(Report, OfWhatIsNoReportIsAFault) {
  for (const char* const text : {"", "[]", "null", "{", "{}", "\xFF", "{\"smartctl\":3}"})
    EXPECT_EQ(read_smartctl({}, {text, "", 0}).look.fault, LookFault::CannotBeReached) << text;
  EXPECT_EQ(read_smartctl({}, {"", "", -1}).look.reason, "smartctl printed nothing");
}

TEST(Report, TakesWrongTypesAndAbsurdNumbersAsNotTold) {
  const Look seen =
      look("ATA", R"("model_name":7,"serial_number":["S"],"rotation_rate":-1,)"
                  R"("user_capacity":{"bytes":1e30},"power_on_time":{"hours":1e18},)"
                  R"("wwn":"x","ata_smart_data":[],"ata_smart_self_test_log":{)"
                  R"("standard":{"table":[{"type":1,"status":{"value":-3}},5,null]}})");
  EXPECT_EQ(seen.drive.model, "");
  EXPECT_EQ(seen.drive.serial_number, "");
  EXPECT_FALSE(seen.drive.size);
  EXPECT_FALSE(seen.drive.is_rotational);
  EXPECT_FALSE(seen.power_on_hours);
  EXPECT_THAT(seen.log, IsEmpty());
}

}  // namespace
}  // namespace drivetest

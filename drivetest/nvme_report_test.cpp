#include "drivetest/nvme_report.h"

#include <gmock/gmock.h>

#include "drivetest/inability.h"

namespace drivetest {
namespace {

using testing::ElementsAre;

const std::string kEntry =
    R"({"Self test result":7,"Self test code":2,"Segment number":3,"Power on hours":9,)"
    R"("Namespace Identifier":1,"Failing LBA":12,"Status Code Type":2,"Status Code":129})";

std::string log_with(int operation, int completion, const std::string& rows = "") {
  return R"({"Current Device Self-Test Operation":)" + std::to_string(operation) +
         R"(,"Current Device Self-Test Completion":)" + std::to_string(completion) +
         R"(,"List of Valid Reports":[)" + rows + "]}";
}

Look with_log(const std::string& text) {
  Look look;
  add_nvme_log(look, {text, "", 0});
  return look;
}

TEST(NvmeCliReport, IsJoinedToWhatSmartctlTold) {
  Look look;
  look.drive.model = "Example Drive";
  add_nvme_identity(look, {R"({"mn":"Other  ","sn":" S1 ","oacs":16,"edstt":30})", "", 0});
  add_nvme_log(look, {log_with(0, 0, kEntry), "", 0});
  settle(look);
  EXPECT_EQ(look.drive.model, "Example Drive");
  EXPECT_EQ(look.drive.serial_number, "S1");
  EXPECT_TRUE(look.abilities[0].is_able);
  EXPECT_EQ(look.abilities[1].minutes, 30);
  EXPECT_EQ(look.inability, "");
  ASSERT_EQ(look.log.size(), 1U);
  EXPECT_EQ(look.log[0].segment, 3);
  EXPECT_THAT(look.log[0].error_codes, ElementsAre(2, 129));
}

TEST(NvmeCliReport, OfADriveWithoutSelfTestSaysSo) {
  Look look;
  add_nvme_identity(look, {R"({"oacs":15,"edstt":10})", "", 0});
  settle(look);
  EXPECT_EQ(look.inability, "the drive says that it has no self-test");
  EXPECT_FALSE(look.abilities[1].is_able);
}

TEST(NvmeCliReport, MasksBothBytesOfTheRunningTest) {
  EXPECT_EQ(with_log(log_with(0xF1, 0x80 + 42)).running, (RunningTest{TestKind::Short, 58, false}));
  EXPECT_EQ(with_log(log_with(0, 100)).running, std::nullopt) << "stale";
  EXPECT_EQ(with_log(log_with(2, 0)).running, (RunningTest{TestKind::Long, 100, false}));
  EXPECT_EQ(with_log(log_with(3, 127)).running, (RunningTest{std::nullopt, std::nullopt, false}));
}

TEST(NvmeCliReport, SkipsUnusedRows) {
  const std::string unused = R"({"Self test result":15})";
  EXPECT_EQ(with_log(log_with(0, 0, unused + "," + kEntry + "," + unused)).log.size(), 1U);
}

TEST(NvmeCliReport, OfARefusalIsANoteOrAFault) {
  Look look;
  add_nvme_log(look, {"", "\nNVMe status: Invalid Field in Command(0x4002)\n", 1});
  EXPECT_EQ(look.fault, LookFault::None);
  EXPECT_THAT(look.notes, ElementsAre("NVMe status: Invalid Field in Command(0x4002)"));
  EXPECT_FALSE(look.has_log);
  add_nvme_log(look, {"", "/dev/nvme0: Permission denied\nUsage: nvme\n", 1});
  EXPECT_EQ(look.fault, LookFault::NotPermitted);
  EXPECT_EQ(look.reason, "/dev/nvme0: Permission denied");
}

// As nvme 2.13 prints it.
TEST(NvmeCliReport, TakesTheErrorFromTheJson) {
  Look look;
  add_nvme_log(look, {"{\n  \"error\":\"self test log: Input/output error\"\n}\n", "", 1});
  EXPECT_EQ(look.fault, LookFault::None);
  EXPECT_THAT(look.notes, ElementsAre("self test log: Input/output error"));
  add_nvme_identity(look, {"{\n  \"error\":\"/dev/nvme0: Permission denied\"\n}\n",
                           "\x1b[1mUsage: nvme id-ctrl <device> [OPTIONS]\x1b[0m\n", 1});
  EXPECT_EQ(look.fault, LookFault::NotPermitted);
  EXPECT_EQ(look.reason, "/dev/nvme0: Permission denied");
}

TEST(NvmeCliVersion, IsThatOfItsFirstLine) {
  EXPECT_EQ(nvme_version({"nvme version 2.3 (git 2.3)\nlibnvme version 1.3\n", "", 0}),
            (ToolVersion{2, 3}));
  EXPECT_EQ(nvme_version({"nvme version 2.13\n", "", 0}), (ToolVersion{2, 13}));
  EXPECT_EQ(nvme_version({"bash: nvme", "", 127}), ToolVersion{});
  EXPECT_LT((ToolVersion{2, 3}), (ToolVersion{2, 13}));
}

}  // namespace
}  // namespace drivetest

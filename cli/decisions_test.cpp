#include "cli/decisions.h"

#include <gtest/gtest.h>

#include "cli/drive_list.h"

namespace cli {
namespace {

const std::string kExitText =
    "Exiting KAVRO_HDDTest_AvailableDiagnosticService_Provider::enum_instances, ";

TEST(Decisions, AreThoseOfTheLog) {
  Decisions decisions;
  decisions.take(3, "Initializing HDD instance for /dev/sda");
  decisions.take(3, "Device /dev/sdb is an LSI RAID device, omitting from HDD Test");
  decisions.take(3, "Device /dev/sdc is an LSI device, omitting from HDD Test");
  decisions.take(3, "Device /dev/sdd is a USB device, omitting from HDD Test");
  decisions.take(3, "Device /dev/sde is a MicroFlash device, omitting from HDD Test");
  decisions.take(3, "Device /dev/sdf is NOT a disk device, omitting from HDD Test");
  EXPECT_EQ(decisions.reason("/dev/sda"), "");
  EXPECT_EQ(decisions.reason("/dev/sdb"), "RAID");
  EXPECT_EQ(decisions.reason("/dev/sdc"), "RAID");
  EXPECT_EQ(decisions.reason("/dev/sdd"), "USB");
  EXPECT_EQ(decisions.reason("/dev/sde"), "micro-flash");
  EXPECT_EQ(decisions.reason("/dev/sdf"), "not a disk");
  EXPECT_EQ(decisions.reason("/dev/sdg"), std::nullopt);
  EXPECT_EQ(decisions.reason("/dev/sd"), std::nullopt);
}

TEST(Decisions, OtherLinesTellNothing) {
  Decisions decisions;
  decisions.take(3, "Device /dev/sda is a USB device");  // a finding, before the decision
  decisions.take(3, " Device /dev/sda is a USB device, omitting from HDD Test");
  decisions.take(0, "Device /dev/sda is a USB device, omitting from HDD Test");
  decisions.take(3, "Device ");
  decisions.take(3, "");
  decisions.take(3, kExitText + "MT(EX01) is supported");
  EXPECT_EQ(decisions.reason("/dev/sda"), std::nullopt);
}

TEST(Decisions, ExcludedMachineLeavesOutEveryDrive) {
  for (const char* what : {"MT(1234)", "BIOSID(1234)"}) {
    Decisions decisions;
    decisions.take(3, kExitText + what + " is not supported!");
    EXPECT_EQ(decisions.reason("/dev/sda"), "excluded machine type") << what;
  }
}

TEST(ReasonWords, NameAMissingHwinfo) {
  EXPECT_EQ(reason_words("not a disk", true), "not a disk");
  EXPECT_EQ(reason_words("not a disk", false), "hwinfo missing");
  EXPECT_EQ(reason_words("USB", false), "USB");
  EXPECT_EQ(reason_words("", false), "");
  EXPECT_EQ(reason_words(std::nullopt, true), "not looked at");
}

TEST(Decisions, TellWhatADriveIsBehind) {
  Decisions decisions;
  decisions.take(3, "Device /dev/sda is a LSI_IR Volume");
  decisions.take(3, "Device /dev/sdb is a LSI_IR Device");
  decisions.take(3, "JBOD: Device /dev/sdc is a MegaRaid Device");
  decisions.take(3, "Device /dev/sdd is NOT a LSI_IR Device");
  EXPECT_EQ(decisions.found("/dev/sda"), "beside a RAID volume");
  EXPECT_EQ(decisions.found("/dev/sdb"), "not on an onboard controller");
  EXPECT_EQ(decisions.found("/dev/sdc"), "behind a RAID controller");
  EXPECT_EQ(decisions.found("/dev/sdd"), "");
  EXPECT_EQ(decisions.count(), 0u) << "none was decided on";
}

TEST(LeftOutWords, SayWhatKeepsADriveFromATest) {
  Decisions decisions;
  decisions.take(3, "Device /dev/sda is a LSI_IR Device");
  const auto words = [&](const std::string& reason, const std::string& device,
                         const std::string& connection) {
    return left_out_words(reason, decisions, device, connection);
  };
  EXPECT_EQ(words("RAID", "/dev/sda", "SCSI (virtio_scsi)"), "not on an onboard controller");
  EXPECT_EQ(words("RAID", "/dev/sda", "SAS/RAID (megaraid_sas)"), "behind a RAID controller");
  EXPECT_EQ(words("RAID", "/dev/sda", "SAS/RAID (mpt3sas)"), "not on an onboard controller");
  EXPECT_EQ(words("RAID", "/dev/sdb", "SATA"), "hwinfo's report was unreadable");
  EXPECT_EQ(words("USB", "/dev/sda", "USB"), "on USB");
  EXPECT_EQ(words("not a disk", "/dev/sda", ""), "not a disk");
  EXPECT_EQ(words("", "/dev/sda", ""), "");
  decisions.take(3, kExitText + "BIOSID(1708) is not supported!");
  EXPECT_EQ(words("excluded machine type", "/dev/sda", ""), "excluded: BIOS 1708");
}

TEST(ListedDrive, SaysInOneWordWhatCanBeDone) {
  ListedDrive drive{.device = "/dev/sda", .reason = ""};
  EXPECT_EQ(drive.words(), "testable");
  EXPECT_FALSE(drive.ready());
  drive.look = DriveLook{.readiness = Readiness::SmartOff};
  EXPECT_EQ(drive.words(), "SMART is off");
  EXPECT_FALSE(drive.ready());
  drive.look = DriveLook{};
  EXPECT_EQ(drive.words(), "ready");
  EXPECT_TRUE(drive.ready());
  drive.reason = "USB";
  drive.left_out = "on USB";
  EXPECT_EQ(drive.words(), "on USB");
  EXPECT_FALSE(drive.ready());
}

TEST(SmartOf, IsUnknownWhereSmartctlDidNotTell) {
  for (const Readiness on : {Readiness::Ready, Readiness::Running, Readiness::NoSelfTest})
    EXPECT_EQ(smart_of({.readiness = on}), true);
  for (const Readiness off : {Readiness::SmartOff, Readiness::NoSmart, Readiness::NotUnderstood})
    EXPECT_EQ(smart_of({.readiness = off}), false);
  for (const Readiness unknown : {Readiness::NoPermission, Readiness::NoDevice,
                                  Readiness::NoSmartctl, Readiness::NoAnswer, Readiness::Refused})
    EXPECT_EQ(smart_of({.readiness = unknown}), std::nullopt);
}

}  // namespace
}  // namespace cli

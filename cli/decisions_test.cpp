#include "cli/decisions.h"

#include <gtest/gtest.h>

#include "cli/drive_list.h"

namespace cli {
namespace {

const std::string exit_text =
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
  decisions.take(3, exit_text + "MT(7X06) is supported");
  EXPECT_EQ(decisions.reason("/dev/sda"), std::nullopt);
}

TEST(Decisions, ExcludedMachineLeavesOutEveryDrive) {
  for (const char* what : {"MT(1234)", "BIOSID(1234)"}) {
    Decisions decisions;
    decisions.take(3, exit_text + what + " is not supported!");
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

TEST(SmartOf, IsTrueWithEitherText) {
  EXPECT_EQ(smart_of(0, "x\nSMART support is: Enabled\n"), true);
  EXPECT_EQ(smart_of(4, "   Device supports SMART and is Enabled\n"), true);
}

TEST(SmartOf, IsFalseWhereTheDriveWasKnown) {
  for (const int status : {0, 4, 8, 64, 0xfc})
    EXPECT_EQ(smart_of(status, "SMART support is: Disabled\n"), false) << status;
}

TEST(SmartOf, IsUnknownWhereSmartctlDidNotComeToKnowTheDrive) {
  for (const int status : {-1, 1, 2, 3, 6}) EXPECT_EQ(smart_of(status, ""), std::nullopt) << status;
}

}  // namespace
}  // namespace cli

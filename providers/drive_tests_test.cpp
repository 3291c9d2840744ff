// Each test by which the available-diagnostic-service provider leaves drives out.
#include <tuple>

#include "providers/discovery_test.h"

namespace ovk_cimple {
namespace {

using testing::Contains;
using testing::ElementsAre;

TEST_F(DriveTest, DiskAndUsbAreAskedOfTheirReports) {
  provider_.diskBuffer = "Device File: /dev/sda";
  provider_.usbBuffer = "Device File: /dev/sdb";
  take_log();
  EXPECT_TRUE(provider_.isDiskDevice("/dev/sda"));
  EXPECT_FALSE(provider_.isUSBDevice("/dev/sda"));
  EXPECT_FALSE(provider_.isDiskDevice("/dev/sdb"));
  EXPECT_TRUE(provider_.isUSBDevice("/dev/sdb"));
  EXPECT_THAT(
      take_log(),
      ElementsAre("3 Entering " + operation("isDiskDevice, device=/dev/sda"),
                  "3 Device /dev/sda is a disk device", "3 Exiting " + operation("isDiskDevice"),
                  "3 Entering " + operation("isUSBDevice, device=/dev/sda"),
                  "3 Device /dev/sda is NOT a USB device", "3 Exiting " + operation("isUSBDevice"),
                  "3 Entering " + operation("isDiskDevice, device=/dev/sdb"),
                  "3 Device /dev/sdb is NOT a disk device",
                  "3 Exiting " + operation("isDiskDevice"),
                  "3 Entering " + operation("isUSBDevice, device=/dev/sdb"),
                  "3 Device /dev/sdb is a USB device", "3 Exiting " + operation("isUSBDevice")));
}

TEST_F(DriveTest, EmptyReportsListNothing) {
  EXPECT_FALSE(provider_.isDiskDevice("/dev/sda"));
  EXPECT_FALSE(provider_.isUSBDevice("/dev/sda"));
}

TEST_F(DriveTest, MicroFlashNeedsNameAndPqiOnOneDeviceAndALaterOneMayDecide) {
  add(bus_device_instance(0, "/dev/sda", "Flash pqi"));
  add(bus_device_instance(1, "/dev/sdb", "PQI"));
  add(bus_device_instance(2, "/dev/sda1", "xPQIx"));
  add(bus_device_instance(3, "/dev/sda", "PQI"));
  take_log();
  EXPECT_TRUE(provider_.isMicroFlashDevice("/dev/sda"));
  EXPECT_THAT(take_log(), ElementsAre("3 Entering " + operation("isMicroFlashDevice"),
                                      "3 Device /dev/sda is NOT a MicroFlash Device",
                                      "3 Device /dev/sda is NOT a MicroFlash Device",
                                      "3 Device /dev/sda is a MicroFlash Device",
                                      "3 Exiting " + operation("isMicroFlashDevice")));
  EXPECT_FALSE(provider_.isMicroFlashDevice("/dev/sdc"));
}

TEST_F(DriveTest, LogicalVolumeMakesEveryDriveAskedAboutARaidDrive) {
  add(bus_device_instance(0, "/dev/sdz", "LSILOGIC Logical Volume"));
  EXPECT_TRUE(is_raid("/dev/sda"));
  const auto log = take_log();
  EXPECT_THAT(log, ElementsAre("3 Entering " + operation("isLSIRAIDDevice"), testing::_,
                               "3 Device /dev/sda is a LSI_IR Volume"));
  std::string statuses;
  for (int i = 0; i < 100; ++i) statuses += "1 ";
  EXPECT_EQ(log[1], "3 Size of fRefInst is : 1 Content of iStatusOfRefInst is : " + statuses);
  EXPECT_TRUE(take_calls().empty());
}

TEST_F(DriveTest, EveryEntryOfTheTableIsLoggedHoweverManyBusDevicesThereAre) {
  for (const int count : {0, 1, 100, 101}) {
    provider_.fRefInst.clear();
    for (int i = 0; i < count; ++i) add(bus_device_instance(i, "/dev/sda", "Disk", ""));
    std::string entries;
    for (int i = 0; i < 100; ++i) {
      readable_[i] = i % 3 ? 1 : 0;
      entries += i % 3 ? "1 " : "0 ";
    }
    EXPECT_FALSE(is_raid("/dev/sda"));
    EXPECT_EQ(take_log()[1], "3 Size of fRefInst is : " + std::to_string(count) +
                                 " Content of iStatusOfRefInst is : " + entries);
  }
}

TEST_F(DriveTest, AhciIsOnboardWhateverTheBusDeviceIsCalled) {
  write_reports(test_block("0:0:0:0", "ahci", "/dev/sda", 0), "");
  for (const char* description : {"Vellacore R5", "LSILOGIC", "LSI MegaRAID SAS", "PQI", ""}) {
    provider_.fRefInst = {bus_device_instance(0, "/dev/sda", description)};
    EXPECT_FALSE(is_raid("/dev/sda")) << description;
    EXPECT_EQ(take_log().back(), "3 Device /dev/sda is Onboard hdd");
  }
}

TEST_F(DriveTest, AddressWithoutPortGoesOn) {
  add(bus_device_instance(0, "/dev/sda", "Disk", ""));
  add(bus_device_instance(1, "/dev/sda", "Disk", "Target:1 Bus:0 Lun:0"));
  EXPECT_FALSE(is_raid("/dev/sda"));
  const std::string from = "3 " + operation("isLSIRAIDDevice - BusID from scsidev: ");
  EXPECT_THAT(
      take_log(),
      ElementsAre(
          testing::_, testing::_, from, "3 Device /dev/sda is NOT a LSI_IR Device no continue",
          from + "Target:1 Bus:0 Lun:0", "3 Device /dev/sda is NOT a LSI_IR Device no continue",
          "3 Exiting " + operation("isLSIRAIDDevice, non-zero rc from enuminstances, "
                                   "returning false")));
}

TEST_F(DriveTest, BlockOfTheBusIdDecides) {
  struct {
    const char* driver;
    bool last;
    bool raid;
    const char* line;
  } const rows[] = {{"ahci", false, false, " is Onboard hdd"},
                    {"ata_piix", false, false, " is Onboard hdd"},
                    {"mptsas", false, true, " is a LSI_IR Device"},
                    {"ahci", true, false, " is Onboard hdd"},
                    {"ata_piix", true, false, " is Onboard hdd"},
                    {"mptsas", true, true, " is a LSI_IR Device"}};
  add(bus_device_instance(3, "/dev/sda", "Disk"));
  for (const auto& row : rows) {
    write_reports(test_block("0:0:3:0", row.driver, "/dev/sda", 3) +
                      (row.last ? "" : test_block("0:0:4:0", "x", "/dev/sdb", 4)),
                  "");
    EXPECT_EQ(is_raid("/dev/sda"), row.raid) << row.driver;
    const auto log = take_log();
    EXPECT_THAT(log, Contains("3 " + operation("isLSIRAIDDevice - BusID parsed: 0:0:3:0")));
    EXPECT_EQ(log.back(), "3 Device /dev/sda" + std::string(row.line));
  }
  EXPECT_EQ(take_calls().size(), std::size(rows));
}

TEST_F(DriveTest, UnlistedBusIdAndAnotherDrivesBlockGoOn) {
  add(bus_device_instance(7, "/dev/sda", "Disk"));
  add(bus_device_instance(3, "/dev/sdb", "Disk"));
  write_reports(test_block("0:0:3:0", "mptsas", "/dev/sdb", 3), "");
  EXPECT_FALSE(is_raid("/dev/sda"));
  const auto log = take_log();
  EXPECT_THAT(log, Contains("3 Device /dev/sda is NOT a LSI_IR Device"));
  EXPECT_THAT(log, Contains("3 Device /dev/sda is not a LSI_IR Device"));
  EXPECT_EQ(take_calls().size(), 2u);
}

TEST_F(DriveTest, TwoDigitTargetMayMatchAnotherDisk) {
  add(bus_device_instance(12, "/dev/sdb", "Disk"));
  write_reports(test_block("0:0:1:0", "mptsas", "/dev/sda", 1), "");
  EXPECT_TRUE(is_raid("/dev/sda"));
}

TEST_F(DriveTest, AddressWithoutTargetLooksAtTheBeginningOfTheReport) {
  add(bus_device_instance(0, "/dev/sda", "Disk", "Port:0 Bus:0 Lun:0"));
  write_reports("Driver: \"mptsas\" /dev/sda Unique ID", "");
  EXPECT_TRUE(is_raid("/dev/sda"));
  EXPECT_THAT(take_log(), Contains("3 " + operation("isLSIRAIDDevice - BusID parsed: ")));
}

TEST_F(DriveTest, UnreadableBusDevicesAreSkipped) {
  add(bus_device_instance(0, "/dev/sda", "Logical Volume"));
  add(bus_device_instance(1, "/dev/sda", "Logical Volume"));
  readable_.fill(0);
  EXPECT_FALSE(is_raid("/dev/sda"));
  readable_[1] = 1;
  EXPECT_TRUE(is_raid("/dev/sda"));
}

TEST_F(DriveTest, ReportThatCannotBeReadLeavesTheDriveOut) {
  add(bus_device_instance(0, "/dev/sda", "Vellacore Disk"));
  write_reports(test_block("0:0:0:0", "ahci", "/dev/sda", 0), "");
  provider_.diskBuffer = "Driver: \"ahci\" /dev/sda";
  EXPECT_FALSE(is_raid("/dev/sda"));
  lose_scratch_file();
  EXPECT_TRUE(is_raid("/dev/sda"));
  EXPECT_EQ(take_log().back(), "3 " + operation("isLSIRAIDDevice - BusID parsed: 0:0:0:0"));
  EXPECT_TRUE(provider_.isLSIMegaRAIDDevice("/dev/sda"));
  EXPECT_EQ(take_log().back(), "3 JBOD: Device /dev/sda is not a MegaRaid or mpt2sas Device");
}

TEST_F(DriveTest, WhatIsInPlaceOfTheScratchFileIsOutOfTheWay) {
  add(bus_device_instance(0, "/dev/sda", "Disk"));
  write_reports(test_block("0:0:0:0", "ahci", "/dev/sda", 0), "");
  std::filesystem::remove_all("/tmp/sgMap.txt");
  std::filesystem::create_directories("/tmp/sgMap.txt/inner");
  EXPECT_FALSE(is_raid("/dev/sda"));
  std::filesystem::create_symlink("/nonexistent/place", "/tmp/sgMap.txt");
  EXPECT_FALSE(is_raid("/dev/sda"));
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status("/tmp/sgMap.txt")));
}

TEST_F(DriveTest, ReportIsCutAtItsFirstNul) {
  add(bus_device_instance(0, "/dev/sda", "Disk"));
  const std::string raid = test_block("0:0:0:0", "mptsas", "/dev/sda", 0);
  write_reports(raid, "");
  EXPECT_TRUE(is_raid("/dev/sda"));
  write_reports(std::string("x\0", 2) + raid, "");
  EXPECT_FALSE(is_raid("/dev/sda"));
  provider_.getDiskDeviceList();
  EXPECT_FALSE(provider_.isDiskDevice("/dev/sda"));
}

TEST_F(DriveTest, FirstBusDeviceThatAnswersForTheDriveDecides) {
  const auto volume = bus_device_instance(9, "/dev/sdz", "Logical Volume");
  const auto disk = bus_device_instance(0, "/dev/sda", "Disk");
  const auto other = bus_device_instance(1, "/dev/sdb", "Disk");
  write_reports(
      test_block("0:0:0:0", "ahci", "/dev/sda", 0) + test_block("0:0:1:0", "mptsas", "/dev/sdb", 1),
      "");
  add(disk);
  add(other);
  add(volume);
  EXPECT_FALSE(is_raid("/dev/sda"));
  EXPECT_EQ(take_log().back(), "3 Device /dev/sda is Onboard hdd");
  EXPECT_TRUE(is_raid("/dev/sdb"));
  EXPECT_EQ(take_log().back(), "3 Device /dev/sdb is a LSI_IR Device");
  EXPECT_TRUE(is_raid("/dev/sdc"));
  EXPECT_EQ(take_log().back(), "3 Device /dev/sdc is a LSI_IR Volume");
  provider_.fRefInst = {volume, disk, other};
  for (const char* name : {"/dev/sda", "/dev/sdb", "/dev/sdc"}) {
    EXPECT_TRUE(is_raid(name));
    EXPECT_EQ(take_log().back(), "3 Device " + std::string(name) + " is a LSI_IR Volume");
  }
}

// A drive may be published with two addresses. The first of the list decides.
TEST_F(DriveTest, OnboardAndRaidBlocksOfOneDriveInBothOrders) {
  const auto onboard = bus_device_instance(0, "/dev/sda", "Disk");
  const auto raid = bus_device_instance(1, "/dev/sda", "Disk");
  write_reports(
      test_block("0:0:0:0", "ahci", "/dev/sda", 0) + test_block("0:0:1:0", "mptsas", "/dev/sda", 1),
      "");
  provider_.fRefInst = {onboard, raid};
  EXPECT_FALSE(is_raid("/dev/sda"));
  provider_.fRefInst = {raid, onboard};
  EXPECT_TRUE(is_raid("/dev/sda"));
}

TEST_F(DriveTest, OneCharacterOfEachNumberIsLookedUp) {
  write_reports(test_block("1:2:3:4", "mptsas", "/dev/sda", 0), "");
  for (const auto& [address, parsed, raid] :
       {std::tuple{"Port:1 Target:3 Bus:2 Lun:4", "1:2:3:4", true},
        {"Port:17 Target:3 Bus:2 Lun:4", "1:2:3:4", true},
        {"Port:1 Target:35 Bus:2 Lun:4", "1:2:3:4", true},
        {"Port:1 Target:3 Bus:29 Lun:4", "1:2:3:4", true},
        {"Port:1 Target:3 Bus:2 Lun:40", "1:2:3:4", true},
        {"Port:71 Target:3 Bus:2 Lun:4", "7:2:3:4", false}}) {
    provider_.fRefInst = {bus_device_instance(0, "/dev/sda", "Disk", address)};
    EXPECT_EQ(is_raid("/dev/sda"), raid) << address;
    EXPECT_THAT(take_log(),
                Contains("3 " + operation("isLSIRAIDDevice - BusID parsed: ") + parsed));
  }
}

TEST_F(DriveTest, LastDriverLineBeforeTheNameCountsWhereverOthersStand) {
  for (const auto& [report, raid] :
       {std::pair{"Driver: \"megaraid_sas\" Driver: \"ahci\" /dev/sda", false},
        {"Driver: \"ahci\" Driver: \"megaraid_sas\" /dev/sda", true},
        {"Driver: \"ahci\" Driver: \"mpt2sas\" /dev/sda", true},
        {"Driver: \"ahci\" /dev/sda Driver: \"megaraid_sas\"", false},
        {"/dev/sda Driver: \"megaraid_sas\"", false},
        {"Driver: \"megaraid_sas\" /dev/sdb Unique ID: x /dev/sda", true},
        {"Driver: \"mpt2sas\" /dev/sdb Driver: \"ahci\" /dev/sda", false},
        {"Driver: \"megaraid_sa\" /dev/sda", false},
        {"Driver: \"mpt2sa\" /dev/sda", false},
        {"Driver: \"mpt2sas\", \"megaraid_sas\" /dev/sda", true}}) {
    provider_.diskBuffer = report;
    take_log();
    EXPECT_EQ(provider_.isLSIMegaRAIDDevice("/dev/sda"), raid) << report;
  }
  // A report that names both counts by the word that is looked for first.
  EXPECT_EQ(take_log().back(), "3 JBOD: Device /dev/sda is a MegaRaid Device");
}

TEST_F(DriveTest, DriverLineBeforeTheNameDecidesMegaRaid) {
  struct {
    const char* report;
    bool raid;
    std::vector<std::string> lines;
  } const rows[] = {
      {"", false, {"JBOD: Device /dev/sda cannot be found in diskBuffer"}},
      {"/dev/sda Driver: \"x\"", false, {"JBOD: Device /dev/sda cannot find Driver: informaton"}},
      {"Driver: \"ahci\" /dev/sda",
       false,
       {"JBOD: Device /dev/sda DRIVER INFO: Driver: \"ahci\" ",
        "JBOD: Device /dev/sda is not a MegaRaid or mpt2sas Device"}},
      {"Driver: \"megaraid_sas\" /dev/sda",
       true,
       {"JBOD: Device /dev/sda DRIVER INFO: Driver: \"megaraid_sas\" ",
        "JBOD: Device /dev/sda is a MegaRaid Device"}},
      {"Driver: \"mpt2sas\" /dev/sda",
       true,
       {"JBOD: Device /dev/sda DRIVER INFO: Driver: \"mpt2sas\" ",
        "JBOD: Device /dev/sda is a mpt2sas Device"}}};
  for (const auto& row : rows) {
    provider_.diskBuffer = row.report;
    take_log();
    EXPECT_EQ(provider_.isLSIMegaRAIDDevice("/dev/sda"), row.raid) << row.report;
    std::vector<std::string> expected = {"3 Entering " + operation("isLSIMegaRAIDDevice")};
    for (const std::string& line : row.lines) expected.push_back("3 " + line);
    if (!row.raid)
      expected.push_back("3 Exiting " + operation("isLSIMegaRAIDDevice, non-zero rc from "
                                                  "enuminstances, returning false"));
    EXPECT_EQ(take_log(), expected) << row.report;
  }
}

TEST_F(DriveTest, VellacoreAdapterNeedsTheDriveAndItsIdentifierOnOneLine) {
  add(bus_device_instance(1, "/dev/sda", "Disk"));
  add(bus_device_instance(2, "/dev/sdb", "Vellacore R5"));
  write_reports("/dev/sda (/dev/sg1)\n/dev/sdb (/dev/sg2)\n", "");
  take_log();
  EXPECT_FALSE(provider_.isLSIMegaRAIDDevice("/dev/sda"));
  EXPECT_THAT(take_log(), Contains("3 Device /dev/sda is NOT a MegaRaid Device"));
  EXPECT_TRUE(provider_.isLSIMegaRAIDDevice("/dev/sdb"));
  EXPECT_EQ(take_log().back(), "3 Device /dev/sdb is a MegaRaid Device");
  EXPECT_EQ(take_calls().size(), 2u);
}

}  // namespace
}  // namespace ovk_cimple

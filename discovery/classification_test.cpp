#include "discovery/classification.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>

#include "discovery/excluded_machine_types.h"
#include "platform/words.h"

namespace discovery {
namespace {

std::string block(const std::string& bus, const std::string& driver, const std::string& device) {
  return "  Unique ID: x\n  SysFS BusID: " + bus + "\n  Driver: \"" + driver +
         "\", \"sd\"\n  Device File: " + device + " (/dev/sg0)\n";
}

TEST(ListsDevice, FindsTheNameAnywhereInTheReport) {
  EXPECT_TRUE(lists_device("Device File: /dev/sda (/dev/sg0)", "/dev/sda"));
  EXPECT_FALSE(lists_device("Device File: /dev/sdb", "/dev/sda"));
  EXPECT_FALSE(lists_device("", "/dev/sda"));
}

TEST(ListsDevice, APrefixOfAnotherNameCountsAsListed) {
  EXPECT_TRUE(lists_device("Device File: /dev/sdaa", "/dev/sda"));
}

TEST(ListsDevice, TheSearchStopsAtTheFirstNul) {
  EXPECT_FALSE(lists_device(std::string("head\0/dev/sda", 13), "/dev/sda"));
  EXPECT_TRUE(lists_device(std::string("/dev/sda\0tail", 13), "/dev/sda"));
}

TEST(BusId, TakesOneCharacterOfEachValue) {
  EXPECT_EQ(bus_id("Port:0 Target:1 Bus:2 Lun:3"), "0:2:1:3");
  EXPECT_EQ(bus_id("Port:0 Target:12 Bus:0 Lun:0"), "0:0:1:0");
  EXPECT_EQ(bus_id("Port:10 Target:0 Bus:0 Lun:0"), "1:0:0:0");
  EXPECT_EQ(bus_id("Port: Target: Bus: Lun:"), " : : :");
}

// "Bus" and "Lun" are keys without a colon: whatever one character follows them is passed over.
TEST(BusId, OneCharacterOfAnyKindStandsBetweenBusOrLunAndItsValue) {
  EXPECT_EQ(bus_id("Port:0 Target:1 Bus=2 Lun 3"), "0:2:1:3");
  EXPECT_EQ(bus_id("Port:0 Target:1 Bus2 Lun3"), "0: :1:");
  EXPECT_EQ(bus_id("Port:0 Target=1 Bus:2 Lun:3"), "") << "the colon is part of the other keys";
  EXPECT_EQ(bus_id("Port=0 Target:1 Bus:2 Lun:3"), std::nullopt);
}

TEST(BusId, WithoutPortThereIsNone) {
  EXPECT_EQ(bus_id(""), std::nullopt);
  EXPECT_EQ(bus_id("Target:1 Bus:2 Lun:3"), std::nullopt);
}

TEST(BusId, WithPortButWithoutAnotherKeyItIsEmpty) {
  for (const char* address : {"Port:0", "Port:", "Port:0 Bus:2 Lun:3", "Port:0 Target:1 Lun:3",
                              "Port:0 Target:1 Bus:2", "Target:1 Bus:2 Lun:3 Port:0"})
    EXPECT_EQ(bus_id(address), "") << address;
}

TEST(BusId, KeysAtTheVeryEndLeaveTheirValuesEmpty) {
  EXPECT_EQ(bus_id("Port:0 Target:1 Bus:2 Lun"), "0:2:1:");
}

TEST(ControllerOf, BlockOfTheBusIdDecidesByItsDriver) {
  const std::string report = block("0:0:0:0", "ahci", "/dev/sda") +
                             block("1:0:0:0", "ata_piix", "/dev/sdb") +
                             block("2:0:0:0", "mptsas", "/dev/sdc");
  EXPECT_EQ(controller_of(report, "0:0:0:0", "/dev/sda"), Controller::Onboard);
  EXPECT_EQ(controller_of(report, "1:0:0:0", "/dev/sdb"), Controller::Onboard);
  EXPECT_EQ(controller_of(report, "2:0:0:0", "/dev/sdc"), Controller::Raid);
  EXPECT_EQ(controller_of(report, "0:0:0:0", "/dev/sdb"), Controller::AnotherDevice);
  EXPECT_EQ(controller_of(report, "2:0:0:0", "/dev/sda"), Controller::AnotherDevice);
  EXPECT_EQ(controller_of(report, "9:0:0:0", "/dev/sda"), Controller::BusIdNotListed);
}

TEST(ControllerOf, LastBlockHasNoUniqueIdBehindIt) {
  for (const auto& [driver, controller] : {std::pair{"ata_piix", Controller::Onboard},
                                           {"ahci", Controller::Onboard},
                                           {"megaraid_sas", Controller::Raid},
                                           {"ahci_platform", Controller::Raid}})
    EXPECT_EQ(controller_of(block("0:0:0:0", driver, "/dev/sda"), "0:0:0:0", "/dev/sda"),
              controller)
        << driver;
}

TEST(ControllerOf, ABlockEndsAtTheWordsUniqueIdWhateverFollowsThem) {
  for (const char* next : {"Unique ID: x", "Unique ID = x", "Unique ID"}) {
    const std::string report = "0:0:0:0\n Device File: /dev/sdb\n " + std::string(next) +
                               "\n Driver: \"ahci\"\n Device File: /dev/sda\n";
    EXPECT_EQ(controller_of(report, "0:0:0:0", "/dev/sda"), Controller::AnotherDevice) << next;
    EXPECT_EQ(controller_of(report, "0:0:0:0", "/dev/sdb"), Controller::Raid) << next;
  }
}

TEST(ControllerOf, EmptyBusIdMatchesAtTheBeginning) {
  const std::string report = "27: IDE 100.0: 10600 Disk\n" + block("0:0:0:0", "ahci", "/dev/sda");
  // Before the first "Unique ID" there is no device's name.
  EXPECT_EQ(controller_of(report, "", "/dev/sda"), Controller::AnotherDevice);
  const std::string tail = "Driver: \"ahci\"\n /dev/sda\n";
  EXPECT_EQ(controller_of("0123456" + tail, "", "/dev/sda"), Controller::Onboard);
  EXPECT_EQ(controller_of("", "", "/dev/sda"), Controller::AnotherDevice);
  EXPECT_EQ(controller_of("short", "", "/dev/sda"), Controller::AnotherDevice);
}

TEST(ControllerOf, ReportIsCutAtItsFirstNul) {
  std::string report = block("0:0:0:0", "ahci", "/dev/sda");
  report.insert(0, 1, '\0');
  EXPECT_EQ(controller_of(report, "0:0:0:0", "/dev/sda"), Controller::BusIdNotListed);
}

TEST(ControllerOf, DriverIsReadWithItsQuotes) {
  EXPECT_EQ(controller_of("0:0:0:0 Driver: ahci /dev/sda", "0:0:0:0", "/dev/sda"),
            Controller::Raid);
}

TEST(ControllerOf, OnboardDriversCountInADriverLineAlone) {
  for (const std::string name : {"\"ata_piix\"", "\"ahci\""})
    for (const std::string end : {"", "Unique ID"}) {
      std::string modules = "0:0:0:0 Driver: \"mptsas\" Driver Modules: ";
      modules.append(name).append(" Model: ").append(name).append(" /dev/sda ").append(end);
      EXPECT_EQ(controller_of(modules, "0:0:0:0", "/dev/sda"), Controller::Raid) << name;
      std::string no_blank = "0:0:0:0 Driver:";
      no_blank.append(name).append(" /dev/sda ").append(end);
      EXPECT_EQ(controller_of(no_blank, "0:0:0:0", "/dev/sda"), Controller::Raid)
          << name << " without the blank";
    }
}

TEST(DriverOf, LastLineBeforeTheNameCounts) {
  const std::string report = "Driver: \"one\"\n Driver: \"two\"\n /dev/sda\n Driver: \"three\"";
  const Driver driver = driver_of(report, "/dev/sda");
  EXPECT_EQ(driver.lookup, DriverLookup::Found);
  EXPECT_EQ(driver.information, "Driver: \"two\"\n ");
}

TEST(DriverOf, ALineOfAnEarlierBlockCountsWhenNoneLiesBetween) {
  const std::string report = "Driver: \"megaraid_sas\"\n /dev/sdb\n Unique ID: y\n /dev/sda\n";
  EXPECT_EQ(driver_of(report, "/dev/sda").information,
            "Driver: \"megaraid_sas\"\n /dev/sdb\n Unique ID: y\n ");
}

TEST(DriverOf, TheLineNeedsNoBlankBehindItsColon) {
  const Driver driver = driver_of("Driver: \"one\"\n Driver:\"two\"\n /dev/sda", "/dev/sda");
  EXPECT_EQ(driver.information, "Driver:\"two\"\n ");
}

TEST(DriverOf, ReportIsCutAtItsFirstNul) {
  EXPECT_EQ(driver_of(std::string("Driver: \"x\"\n\0/dev/sda", 21), "/dev/sda").lookup,
            DriverLookup::DeviceNotListed);
  EXPECT_EQ(driver_of(std::string("Driver: \"x\"\n/dev/sda\0", 21), "/dev/sda").lookup,
            DriverLookup::Found);
}

TEST(DriverOf, MissingDeviceAndMissingLine) {
  EXPECT_EQ(driver_of("Driver: \"x\"", "/dev/sda").lookup, DriverLookup::DeviceNotListed);
  EXPECT_EQ(driver_of("", "/dev/sda").lookup, DriverLookup::DeviceNotListed);
  EXPECT_EQ(driver_of("/dev/sda\nDriver: \"x\"", "/dev/sda").lookup, DriverLookup::NoDriverLine);
}

TEST(ExcludedMachineTypes, AreDifferentCodesOfFourDigits) {
  std::set<std::string> codes(kExcludedMachineTypes.begin(), kExcludedMachineTypes.end());
  EXPECT_EQ(codes.size(), kExcludedMachineTypes.size());
  bool leading_zero = false;
  for (const std::string& code : codes) {
    EXPECT_EQ(code.size(), 4u) << code;
    EXPECT_TRUE(platform::only_digits(code)) << code;
    leading_zero |= code.front() == '0';
  }
  EXPECT_TRUE(leading_zero);
}

}  // namespace
}  // namespace discovery

// Whole enumerations of the available-diagnostic-service provider.
#include <algorithm>
#include <cstddef>
#include <tuple>

#include "discovery/excluded_machine_types.h"
#include "model/KAVRO_DiskDrive.h"
#include "model/KAVRO_HDDTest_DiagnosticService.h"
#include "providers/discovery_test.h"

namespace ovk_cimple {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class AvailableService : public DiscoveryTest {};

const std::string kExcluded = discovery::kExcludedMachineTypes.front();

TEST_F(AvailableService, WithoutDrivesProbeAndReportsStillHappenAndNothingIsOffered) {
  write_dmi("QEMU", "Seabios-1.0");
  take_log();
  EXPECT_THAT(offers(), IsEmpty());
  EXPECT_THAT(take_log(), ElementsAre("3 Entering " + operation("enum_instances"),
                                      "3 MT  =", "3 cimom::enum_instances rc=0",
                                      "3 Entering " + operation("getUSBDeviceList"),
                                      "3 Exiting " + operation("getUSBDeviceList"),
                                      "3 Entering " + operation("getDiskDeviceList"),
                                      "3 Exiting " + operation("getDiskDeviceList"),
                                      "3 Exiting " + operation("enum_instances")));
  EXPECT_THAT(take_calls(), ElementsAre("--usb", "--disk"));
  EXPECT_THAT(cimom_.asked,
              ElementsAre("root/cimv2:KAVRO_DiskDrive", "root/cimv2:KAVRO_SysBusDevice"));
}

TEST_F(AvailableService, OffersTheServiceForADiskWithTheValuesOfTheTable) {
  cimom_.drives = {drive_instance("/dev/sda")};
  write_reports(test_block("0:0:0:0", "ahci", "/dev/sda", 0), "");
  take_log();
  const auto found = offers();
  ASSERT_EQ(found.size(), 1u);
  const auto& offer = *found[0];
  EXPECT_EQ(offer.EstimatedDurationOfService.value(), 3);
  EXPECT_FALSE(offer.EstimatedDurationQualifier.null());
  EXPECT_EQ(offer.EstimatedDurationQualifier.value(), 0u);
  const auto* service = cast<KAVRO_HDDTest_DiagnosticService>(offer.ServiceProvided.value().get());
  ASSERT_TRUE(service);
  EXPECT_EQ(service->Name.value(), "Hard Drive: Self Test");
  const auto* drive = cast<KAVRO_DiskDrive>(offer.UserOfService.value().get());
  ASSERT_TRUE(drive);
  EXPECT_NE(drive, cimom_.drives[0].get());  // a copy of the whole instance
  EXPECT_EQ(drive->DeviceID.value(), "/dev/sda");
  EXPECT_EQ(drive->name_space, "root/cimv2");
  EXPECT_THAT(take_log(), Contains("3 Initializing HDD instance for /dev/sda"));
}

// On a machine whose only host adapters are AHCI the inventory publishes devices without address.
TEST_F(AvailableService, AnEnumerationOfOnboardDrivesRunsHwinfoExactlyTwiceHoweverMany) {
  for (const int drives : {1, 8, 24}) {
    std::string report;
    cimom_.drives.clear();
    cimom_.bus_devices.clear();
    for (int i = 0; i < drives; ++i) {
      const std::string name = std::string("/dev/sd") + static_cast<char>('a' + i);
      cimom_.drives.push_back(drive_instance(name));
      cimom_.bus_devices.push_back(bus_device_instance(i, name, "ATA Disk", ""));
      report += test_block(std::to_string(i) + ":0:0:0", "ahci", name, i);
    }
    write_reports(report, "");
    for (int enumeration = 0; enumeration < 3; ++enumeration) {
      EXPECT_EQ(offers().size(), static_cast<std::size_t>(drives));
      EXPECT_THAT(take_calls(), ElementsAre("--usb", "--disk"));
    }
  }
}

TEST_F(AvailableService, ExcludedMachineTypeOffersNothingAndSaysSoInPlaceOfTheExitLine) {
  cimom_.drives = {drive_instance("/dev/sda")};
  for (const std::string& product : {kExcluded + "XYZ", "Rack Server -[" + kExcluded + "XYZ]-"}) {
    write_dmi(product, "1.0");
    take_log();
    EXPECT_THAT(offers(), IsEmpty());
    EXPECT_THAT(take_log(),
                ElementsAre("3 Entering " + operation("enum_instances"), "3 MT  =" + kExcluded,
                            "3 Exiting " + operation("enum_instances, MT(" + kExcluded +
                                                     ") is not supported!")));
  }
  EXPECT_THAT(cimom_.asked, IsEmpty());
}

TEST_F(AvailableService, BiosIdentifierThatIsAnExcludedCodeOffersNothing) {
  write_dmi("Unlisted", kExcluded);
  take_log();
  EXPECT_THAT(offers(), IsEmpty());
  EXPECT_EQ(take_log().back(), "3 Exiting " + operation("enum_instances, BIOSID(" + kExcluded +
                                                        ") is not supported!"));
}

TEST_F(AvailableService, BiosIdentifierIsComparedWholeAndInCapitals) {
  cimom_.drives = {drive_instance("/dev/sda")};
  write_reports("/dev/sda", "");
  write_dmi("Unlisted", kExcluded + "a");
  EXPECT_EQ(offers().size(), 1u);
}

TEST_F(AvailableService, FailingDriveEnumerationIsLoggedAndTheBusDevicesAreKeptAllTheSame) {
  cimom_.drives_status = 5;
  cimom_.bus_devices = {bus_device_instance(0, "/dev/sda", "Maker Disk")};
  take_log();
  EXPECT_THAT(offers(), IsEmpty());
  const auto log = take_log();
  EXPECT_THAT(log, Contains("3 cimom::enum_instances rc=5"));
  EXPECT_EQ(log.back(), "3 Exiting " + operation("enum_instances"));
  EXPECT_THAT(take_calls(), IsEmpty());
  EXPECT_EQ(provider_.fRefInst.size(), 1u);
}

TEST_F(AvailableService, FailingBusDeviceEnumerationLeavesTheEarlierOnesAndStillOffers) {
  cimom_.drives = {drive_instance("/dev/sda")};
  cimom_.bus_devices = {bus_device_instance(0, "/dev/sda", "Maker PQI")};
  write_reports("/dev/sda", "");
  EXPECT_THAT(offers(), IsEmpty());  // micro-flash
  cimom_.bus_devices_status = 1;
  EXPECT_THAT(offers(), IsEmpty());
  EXPECT_EQ(provider_.fRefInst.size(), 1u);
  provider_.fRefInst.clear();
  EXPECT_EQ(offers().size(), 1u);
}

TEST_F(AvailableService, WithoutBusDevicesDrivesAreDecidedByTheReportsAlone) {
  cimom_.bus_devices_status = 1;
  const std::string names[] = {"/dev/sda", "/dev/sdb", "/dev/sdc", "/dev/sdd"};
  for (const std::string& name : names) cimom_.drives.push_back(drive_instance(name));
  write_reports(test_block("0:0:0:0", "ahci", names[0], 0) +
                    test_block("1:0:0:0", "megaraid_sas", names[1], 1) +
                    test_block("2:0:0:0", "mpt2sas", names[2], 2) +
                    test_block("3:0:0:0", "usb-storage", names[3], 3),
                names[3]);
  take_log();
  EXPECT_EQ(offers().size(), 1u);
  const auto log = take_log();
  EXPECT_THAT(log, Contains("3 Initializing HDD instance for /dev/sda"));
  EXPECT_THAT(log, Contains("3 Device /dev/sdb is an LSI device, omitting from HDD Test"));
  EXPECT_THAT(log, Contains("3 Device /dev/sdc is an LSI device, omitting from HDD Test"));
  EXPECT_THAT(log, Contains("3 Device /dev/sdd is a USB device, omitting from HDD Test"));
}

TEST_F(AvailableService, EveryDriveIsDecidedByTheFirstTestThatApplies) {
  struct {
    const char* name;
    const char* description;
    const char* bus_driver;
    bool usb, disk;
    const char* decision;
  } const rows[] = {
      {"/dev/sda", "A Logical Volume PQI", "mpt2sas", true, true, " is an LSI RAID device"},
      {"/dev/sdb", "PQI", "megaraid_sas", true, true, " is an LSI device"},
      {"/dev/sdc", "PQI", "ahci", true, true, " is a USB device"},
      {"/dev/sdd", "PQI", "ahci", false, true, " is a MicroFlash device"},
      {"/dev/sde", "Disk", "ahci", false, false, " is NOT a disk device"},
      {"/dev/sdf", "PQI", "ahci", false, false, " is a MicroFlash device"},
      {"/dev/sdg", "Disk", "ahci", true, false, " is a USB device"},
  };
  for (const auto& row : rows) {
    cimom_.drives = {drive_instance(row.name)};
    provider_.fRefInst.clear();
    // An address without "Port:" decides nothing.
    cimom_.bus_devices = {bus_device_instance(0, row.name, row.description, "")};
    write_reports(row.disk ? test_block("9:9:9:9", row.bus_driver, row.name, 9) : "",
                  row.usb ? row.name : "");
    take_log();
    EXPECT_THAT(offers(), IsEmpty()) << row.name;
    EXPECT_THAT(take_log(), Contains("3 Device " + std::string(row.name) + row.decision +
                                     ", omitting from HDD Test"));
  }
}

TEST_F(AvailableService, ADriveBehindARaidAdapterIsLeftOutAndAnOnboardOneIsNot) {
  cimom_.drives = {drive_instance("/dev/sda"), drive_instance("/dev/sdb")};
  cimom_.bus_devices = {bus_device_instance(0, "/dev/sda", "ATA Disk"),
                        bus_device_instance(1, "/dev/sdb", "EXAMPLE Disk")};
  write_reports(
      test_block("0:0:0:0", "ahci", "/dev/sda", 0) + test_block("0:0:1:0", "mptsas", "/dev/sdb", 1),
      "");
  EXPECT_THAT(offered_names(), ElementsAre("/dev/sda"));
  // Two for the tests, one for the first drive's block, two until the second's was found.
  EXPECT_THAT(take_calls(), ElementsAre("--usb", "--disk", "--disk", "--disk", "--disk"));
}

TEST_F(AvailableService, BusDevicesAccumulateOverEnumerations) {
  cimom_.drives = {drive_instance("/dev/sda")};
  cimom_.bus_devices = {bus_device_instance(0, "/dev/sda", "Disk", ""),
                        bus_device_instance(1, "/dev/sdb", "Disk", "")};
  write_reports("/dev/sda", "");
  for (const std::size_t times : {1u, 2u, 3u}) {
    take_log();
    EXPECT_EQ(offers().size(), 1u);
    EXPECT_EQ(provider_.fRefInst.size(), 2 * times);
    const auto log = take_log();
    EXPECT_EQ(std::count(log.begin(), log.end(), "3 Device /dev/sda is NOT a MicroFlash Device"),
              static_cast<std::ptrdiff_t>(2 * times));
  }
}

TEST_F(AvailableService, ALogicalVolumeThatCameAndWentIsRememberedByTheProvider) {
  cimom_.drives = {drive_instance("/dev/sda")};
  cimom_.bus_devices = {bus_device_instance(0, "/dev/sdz", "Logical Volume", "")};
  write_reports("/dev/sda", "");
  EXPECT_THAT(offers(), IsEmpty());
  cimom_.bus_devices = {bus_device_instance(0, "/dev/sda", "Disk", "")};
  for (const std::size_t times : {2u, 3u}) {
    EXPECT_THAT(offers(), IsEmpty());
    EXPECT_EQ(provider_.fRefInst.size(), times);
  }
}

TEST_F(AvailableService, ReportsAreThoseOfTheLatestEnumeration) {
  cimom_.drives = {drive_instance("/dev/sda")};
  for (const auto& [disk, usb, offered] : {std::tuple{"/dev/sda", "", 1u},
                                           {"", "", 0u},
                                           {"/dev/sda", "/dev/sda", 0u},
                                           {"/dev/sda", "/dev/sdb", 1u}}) {
    write_reports(disk, usb);
    EXPECT_EQ(offers().size(), offered);
    EXPECT_EQ(provider_.diskBuffer, disk);
    EXPECT_EQ(provider_.usbBuffer, usb);
  }
}

TEST_F(AvailableService, BothEnumerationsFailing) {
  cimom_.drives_status = 7;
  cimom_.bus_devices_status = 8;
  cimom_.bus_devices = {bus_device_instance(0, "/dev/sda", "Disk")};
  EXPECT_THAT(offers(), IsEmpty());
  EXPECT_TRUE(provider_.fRefInst.empty());
  EXPECT_THAT(take_log(), Contains("3 cimom::enum_instances rc=7"));
}

TEST_F(AvailableService, AnExcludedMachineTypeIsToldBeforeAnExcludedBios) {
  write_dmi(kExcluded + "XYZ", kExcluded);
  take_log();
  EXPECT_THAT(offers(), IsEmpty());
  EXPECT_THAT(take_log().back(), testing::HasSubstr("MT(" + kExcluded + ") is not supported!"));
  EXPECT_TRUE(provider_.fRefInst.empty());
  EXPECT_THAT(take_calls(), IsEmpty());
}

TEST_F(AvailableService, EveryExcludedCodeIsHonouredEitherWay) {
  cimom_.drives = {drive_instance("/dev/sda")};
  write_reports("/dev/sda", "");
  for (const std::string code : discovery::kExcludedMachineTypes) {
    write_dmi(code + "XYZ", "1.0");
    EXPECT_THAT(offers(), IsEmpty()) << code;
    write_dmi("Unlisted", code);
    EXPECT_THAT(offers(), IsEmpty()) << code;
  }
  write_dmi("0000XYZ", "0000");
  EXPECT_EQ(offers().size(), 1u);
}

// BIOS versions of four digits are usual on boards that are sold.
TEST_F(AvailableService, BiosVersionsAndTypesOfKnownMachinesAreNotExcluded) {
  cimom_.drives = {drive_instance("/dev/sda")};
  write_reports("/dev/sda", "");
  for (const std::string known : {"0414", "1232", "1416", "1708", "2420", "3650", "7125", "7921"}) {
    write_dmi("Unlisted", known);
    EXPECT_EQ(offers().size(), 1u) << known;
    write_dmi(known + "AC1", "1.0");
    EXPECT_EQ(offers().size(), 1u) << known;
  }
}

TEST_F(AvailableService, WhatIsNoDriveIsNoDisk) {
  cimom_.drives = {bus_device_instance(0, "/dev/sda", "Disk")};
  write_reports("nothing", "nothing");
  take_log();
  // Every report contains the empty name, so that the drive counts as listed as USB.
  EXPECT_THAT(offers(), IsEmpty());
  EXPECT_THAT(take_log(), Contains("3 Device  is a USB device, omitting from HDD Test"));
}

TEST_F(AvailableService, WithoutHwinfoEveryDriveIsLeftOutAsNoDisk) {
  std::ofstream("hwinfo") << "#!/bin/sh\nexit 127\n";
  cimom_.drives = {drive_instance("/dev/sda"), drive_instance("/dev/sdb")};
  take_log();
  EXPECT_THAT(offers(), IsEmpty());
  EXPECT_THAT(take_log(),
              Contains("3 Device /dev/sdb is NOT a disk device, omitting from HDD Test"));
}

TEST_F(AvailableService, RefusesEverythingElseWithItsFixedCodesAndLogsButOne) {
  KAVRO_HDDTest_AvailableDiagnosticService* found = nullptr;
  take_log();
  const std::vector<std::tuple<std::string, sint32, sint32>> answers = {
      {"load", provider_.load(), 0},
      {"unload", provider_.unload(), 0},
      {"get_instance", provider_.get_instance(nullptr, found), 61},
      {"create_instance", provider_.create_instance(nullptr), 81},
      {"delete_instance", provider_.delete_instance(nullptr), 91},
      {"modify_instance", provider_.modify_instance(nullptr, nullptr), 101},
      {"enum_associator_names",
       provider_.enum_associator_names(nullptr, nullptr, nullptr, nullptr, nullptr), 111},
      {"enum_references", provider_.enum_references(nullptr, nullptr, nullptr, nullptr), 121}};
  std::vector<std::string> expected;
  for (const auto& [name, status, code] : answers) {
    EXPECT_EQ(status, code) << name;
    for (const std::string& line : trace(kProviderName, name)) expected.push_back(line);
  }
  EXPECT_EQ(provider_.enum_associators(nullptr, nullptr, nullptr, nullptr, nullptr), 171);
  EXPECT_EQ(take_log(), expected);
  { const KAVRO_HDDTest_AvailableDiagnosticService_Provider another; }
  expected = trace(kProviderName, kProviderName);
  for (const std::string& line : trace(kProviderName, std::string("~") + kProviderName))
    expected.push_back(line);
  EXPECT_EQ(take_log(), expected);
}

}  // namespace
}  // namespace ovk_cimple

// What discovery decides on machines recorded with drives of every kind: the inventory reads the
// recorded sysfs, a stand-in hwinfo prints the recorded reports, and the whole provider decides.
// A folder per machine holds sysfs.out, hwinfo-disk.out, hwinfo-usb.out, and in RUN after
// "devices: " the drives that the emulator was told to have.
//
// The machines are those beside this file; a program without HDDTEST_MACHINES takes them from the
// directory that HDDTEST_RECORDS names.
#include <algorithm>
#include <cstdlib>

#include "inventory/instances.h"
#include "inventory/recorded_machine.h"
#include "providers/discovery_test.h"
#include "tests/discovery/emulated_machine.h"

namespace ovk_cimple {
namespace {

using testing::ElementsAreArray;

std::filesystem::path machines() {
#ifdef HDDTEST_MACHINES
  return HDDTEST_MACHINES;
#else
  return std::getenv("HDDTEST_RECORDS");
#endif
}

std::vector<std::filesystem::path> recorded_machines() {
  std::vector<std::filesystem::path> found;
  for (const auto& folder : std::filesystem::directory_iterator(machines()))
    if (exists(folder.path() / "sysfs.out") && exists(folder.path() / "hwinfo-usb.out"))
      found.push_back(folder.path());
  std::sort(found.begin(), found.end());
  return found;
}

// Kept on purpose: only one character of each number of an address is looked up, so that the
// decision on a drive with longer numbers is a matter of chance.
bool is_looked_up_in_full(const inventory::Disk& drive) {
  if (!drive.address) return true;
  const auto& [host, channel, target, lun] = *drive.address;
  return std::max({host, channel, target, lun}) < 10;
}

class RecordedMachine : public DiscoveryTest {
 protected:
  void play(const std::filesystem::path& machine) {
    write_reports(inventory::read(machine / "hwinfo-disk.out"),
                  inventory::read(machine / "hwinfo-usb.out"));
    cimom_.drives.clear();
    const inventory::TestTree tree;
    inventory::lay_out(tree, inventory::read(machine / "sysfs.out"));
    drives_ = inventory::read_disks(tree.sysfs());
    for (const inventory::Disk& drive : drives_)
      cimom_.drives.push_back(disk_drive(drive, "machine"));
    bus_devices_ = inventory::read_bus_devices(tree.sysfs());
    hosts_ = inventory::read_scsi_hosts(tree.sysfs());
    deliver_bus_devices();
  }
  void deliver_bus_devices() {
    provider_.fRefInst.clear();
    cimom_.bus_devices.clear();
    for (const inventory::BusDevice& device : bus_devices_)
      cimom_.bus_devices.push_back(sys_bus_device(device, "machine"));
  }
  // Publishes addresses as if the inventory kept back those of USB drives only.
  void publish_addresses() {
    for (inventory::BusDevice& device : bus_devices_)
      device.address_published = hosts_.driver(device.address.host) != "usb-storage";
    deliver_bus_devices();
  }
  // Whether drives are on the machine's own controllers, besides USB at most, so that no address
  // is published; each address can be looked up.
  bool is_onboard() const {
    bool onboard = false;
    for (const inventory::BusDevice& device : bus_devices_) {
      if (device.address_published || device.address.host > 9) return false;
      onboard |= hosts_.driver(device.address.host) != "usb-storage";
    }
    return onboard;
  }
  // What the log says of each drive; expects the answer to agree with it.
  std::map<std::string, std::string> decisions() {
    take_log();
    const std::vector<std::string> offered = offered_names();
    std::map<std::string, std::string> found;
    std::vector<std::string> testable;
    for (const std::string& line : take_log()) {
      for (const auto& [text, word] : {std::pair{" is an LSI RAID device, omitting", "raid"},
                                       {" is an LSI device, omitting", "lsi"},
                                       {" is a USB device, omitting", "usb"},
                                       {" is a MicroFlash device, omitting", "micro-flash"},
                                       {" is NOT a disk device, omitting", "no-disk"}})
        if (line.find(text) != line.npos) found[discovery::cut(line, "Device ", text)] = word;
      if (line.find("Initializing HDD") != line.npos) {
        testable.push_back(discovery::cut(line, " for ", "\n"));
        found[testable.back()] = "testable";
      }
    }
    EXPECT_THAT(offered, ElementsAreArray(testable));
    return found;
  }
  // The drives by the serial number that hwinfo or sysfs gives.
  std::map<std::string, inventory::Disk> by_serial(const std::filesystem::path& machine) {
    const auto reported = inventory::disks(inventory::read(machine / "hwinfo-disk.out"));
    std::map<std::string, inventory::Disk> found;
    for (const inventory::Disk& drive : drives_) {
      std::string serial = drive.serial;
      if (const auto block = reported.find(drive.device); serial.empty() && block != reported.end())
        serial = discovery::cut(block->second, "Serial ID: \"", "\"");
      found[serial] = drive;
    }
    return found;
  }
  std::vector<inventory::Disk> drives_;
  std::vector<inventory::BusDevice> bus_devices_;
  inventory::ScsiHosts hosts_{{}};
};

TEST_F(RecordedMachine, DecisionsAreThoseForTheDrivesThatItWasGiven) {
  std::map<std::string, int> of_each;
  for (const auto& machine : recorded_machines()) {
    SCOPED_TRACE(machine.filename());
    play(machine);
    const auto expected = discovery::emulated_drives(
        discovery::cut(inventory::read(machine / "RUN"), "devices: ", "\n"));
    const auto decided = decisions();
    EXPECT_EQ(decided.size(), expected.size());
    const auto named = by_serial(machine);
    for (const auto& [serial, decision] : expected) {
      ASSERT_TRUE(named.contains(serial)) << serial;
      const inventory::Disk& drive = named.at(serial);
      if (!is_looked_up_in_full(drive)) continue;
      EXPECT_EQ(decided.at(drive.device), decision) << serial << " " << drive.device;
      ++of_each[decision];
    }
  }
  EXPECT_GE(of_each["testable"], 10);
  EXPECT_GE(of_each["raid"], 5);
  EXPECT_GE(of_each["usb"], 2);
#ifdef HDDTEST_MACHINES
  EXPECT_EQ(of_each["micro-flash"], 1);
  EXPECT_EQ(of_each["lsi"], 1);
#endif
}

TEST_F(RecordedMachine, ASecondEnumerationDecidesTheSame) {
  for (const auto& machine : recorded_machines()) {
    SCOPED_TRACE(machine.filename());
    play(machine);
    const auto first = decisions();
    EXPECT_EQ(decisions(), first);
    EXPECT_EQ(provider_.fRefInst.size(), 2 * cimom_.bus_devices.size());
  }
}

// Without a report of disks nothing is known to be one; without one of USB devices none is USB.
TEST_F(RecordedMachine, WithoutReportsNoDriveIsOffered) {
  for (const auto& machine : recorded_machines()) {
    SCOPED_TRACE(machine.filename());
    play(machine);
    write_reports("", "");
    for (const auto& [name, decision] : decisions()) {
      if (decision == "micro-flash") continue;  // by its bus device's description
      EXPECT_EQ(decision, "no-disk") << name;
    }
  }
}

// A drive that both reports list is USB, whatever else holds after the RAID tests.
TEST_F(RecordedMachine, EveryDriveListedAsUsbIsNeverOffered) {
  for (const auto& machine : recorded_machines()) {
    SCOPED_TRACE(machine.filename());
    play(machine);
    const std::string disks = inventory::read(machine / "hwinfo-disk.out");
    write_reports(disks, disks);
    for (const auto& [name, decision] : decisions())
      EXPECT_TRUE(decision == "usb" || decision == "raid" || decision == "lsi") << name;
  }
}

// Onboard machines publish no address, which spares them a run of hwinfo per drive and bus device.
TEST_F(RecordedMachine, OnboardDrivesAreDecidedTheSameWithAndWithoutTheirAddresses) {
  int compared = 0;
  for (const auto& machine : recorded_machines()) {
    SCOPED_TRACE(machine.filename());
    play(machine);
    if (!is_onboard()) continue;
    ++compared;
    const auto without = decisions();
    const std::size_t runs = take_calls().size();
    // A device with that adapter's name is looked up once more.
    if (std::none_of(without.begin(), without.end(),
                     [](const auto& one) { return one.second == "lsi"; })) {
      EXPECT_EQ(runs, 2u);
    }
    publish_addresses();
    EXPECT_EQ(decisions(), without);
    EXPECT_GT(take_calls().size(), runs);
  }
  EXPECT_GE(compared, 2);
}

TEST_F(RecordedMachine, DrivesBehindOtherAdaptersAreLeftOutAsRaidOnlyThroughTheirAddresses) {
  int left_out = 0;
  for (const auto& machine : recorded_machines()) {
    SCOPED_TRACE(machine.filename());
    play(machine);
    if (is_onboard()) continue;
    const auto with = decisions();
    if (std::any_of(bus_devices_.begin(), bus_devices_.end(), [](const auto& device) {
          return device.model.find("Logical Volume") != std::string::npos;
        }))
      continue;
    for (inventory::BusDevice& device : bus_devices_) device.address_published = false;
    deliver_bus_devices();
    const auto without = decisions();
    for (const auto& [name, decision] : with) {
      EXPECT_NE(without.at(name), "raid") << name;
      left_out += decision == "raid";
    }
  }
  EXPECT_GE(left_out, 3);
}

TEST_F(RecordedMachine, WithoutScratchFileOnlyDrivesThatAreLookedUpByAddressAreLeftOut) {
  int compared = 0;
  for (const auto& machine : recorded_machines()) {
    SCOPED_TRACE(machine.filename());
    play(machine);
    if (!is_onboard()) continue;
    const auto before = decisions();
    // A device with that adapter's name is looked up through the scratch file as well.
    if (std::any_of(before.begin(), before.end(), [](auto& one) { return one.second == "lsi"; }))
      continue;
    ++compared;
    lose_scratch_file();
    EXPECT_EQ(decisions(), before);
    publish_addresses();
    for (const auto& [name, decision] : decisions()) EXPECT_EQ(decision, "raid") << name;
    write_hwinfo();
  }
  EXPECT_GE(compared, 2);
}

TEST_F(RecordedMachine, ALogicalVolumeLeavesOutWhatNoAddressHasAnsweredForBefore) {
  int testable = 0;
  for (const auto& machine : recorded_machines()) {
    SCOPED_TRACE(machine.filename());
    play(machine);
    if (!is_onboard()) continue;
    auto expected = decisions();
    bus_devices_.back().model = "Logical Volume";
    deliver_bus_devices();
    for (const auto& [name, decision] : decisions()) EXPECT_EQ(decision, "raid") << name;
    publish_addresses();
    for (auto& [name, decision] : expected) {
      const auto is_answered_for = [&name = name](const inventory::BusDevice& device) {
        return device.address_published && device.block == name;
      };
      if (std::none_of(bus_devices_.begin(), bus_devices_.end() - 1, is_answered_for))
        decision = "raid";
      testable += decision == "testable";
    }
    EXPECT_EQ(decisions(), expected);
  }
  EXPECT_GE(testable, 1);
}

}  // namespace
}  // namespace ovk_cimple

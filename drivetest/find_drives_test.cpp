#include "drivetest/find_drives.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>

#include "inventory/test_tree.h"

namespace drivetest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string scan_of(const std::vector<Place>& places) {
  std::string list;
  for (const Place& place : places)
    list += (list.empty() ? "" : ",") + std::string(R"({"name":")") + place.device +
            R"(","type":")" + place.type + "\"}";
  return R"({"devices":[)" + list + "]}";
}

class FindDrives : public testing::Test {
 protected:
  FindDrives() { setenv("HVX_SYSFS_ROOT", tree_.root().c_str(), 1); }
  ~FindDrives() override { unsetenv("HVX_SYSFS_ROOT"); }

  std::string disk(int host, const std::string& name, const std::string& wwn,
                   const std::string& serial) {
    std::string device = tree_.ahci_disk(host, name);
    if (!wwn.empty()) tree_.file(device + "/wwid", "naa." + wwn + "\n");
    const std::string head("\0\x80\0", 3);
    if (!serial.empty())
      tree_.file(device + "/vpd_pg80", head + static_cast<char>(serial.size()) + serial);
    tree_.file("/dev/" + name, "");
    return device;
  }
  void controller(const std::string& name, const std::string& subsystem = "") {
    const std::string place = "/sys/devices/pci0000:00/0000:02:00.0/nvme/" + name;
    tree_.file(place + "/model", "Example NVMe   \n");
    tree_.file(place + "/serial", "N1  \n");
    if (!subsystem.empty()) tree_.file(place + "/subsysnqn", subsystem + "\n");
    tree_.link("/sys/class/nvme/" + name, place);
  }
  void name_space(const std::string& owner, const std::string& name) {
    tree_.whole_disk("/sys/devices/virtual/" + name, "/sys/class/" + owner, name);
    tree_.file("/dev/" + name, "");
  }
  static std::vector<Place> places_of(const std::vector<FoundDrive>& drives) {
    std::vector<Place> places;
    for (const FoundDrive& one : drives) places.push_back(one.drive.place);
    return places;
  }

  inventory::TestTree tree_;
};

TEST_F(FindDrives, HasThoseOfTheKernelWithTheTypesOfTheScan) {
  disk(0, "sdb", "5000000000000002", "S2");
  disk(1, "sda", "", "S1");
  const auto drives = find_drives({scan_of({{"/dev/sda", "sat"}}), "", 0});
  EXPECT_THAT(places_of(drives), ElementsAre(Place{"/dev/sda", "sat"}, Place{"/dev/sdb", ""}));
  EXPECT_EQ(drives[1].drive.world_wide_name, "wwn-0x5000000000000002");
  EXPECT_EQ(drives[1].drive.serial_number, "S2");
  EXPECT_EQ(drives[1].drive.size, 131072U * 512);
  EXPECT_EQ(drives[0].drive.claimed_identity(), "") << "the kernel cuts models";
}

TEST_F(FindDrives, LeavesTheChoiceOfScsiToSmartctl) {
  disk(0, "sda", "5000000000000001", "S1");
  const auto drives = find_drives({scan_of({{"/dev/sda", "scsi"}}), "", 0});
  EXPECT_THAT(places_of(drives), ElementsAre(Place{"/dev/sda", ""}));
}

// The bridge has a name of its own.
TEST_F(FindDrives, TakesNoNameFromAUsbBridge) {
  tree_.scsi_host(7, "usb-storage");
  const std::string device =
      tree_.scsi_device("pci0000:00/0000:00:14.0/usb2/2-1/2-1:1.0", "7:0:0:0", "Example", "Bridge");
  tree_.file(device + "/wwid", "naa.5000000000000003\n");
  tree_.block(device, "sdq");
  const auto drives = find_drives({});
  ASSERT_THAT(places_of(drives), ElementsAre(Place{"/dev/sdq", ""}));
  EXPECT_EQ(drives[0].drive.world_wide_name, "");
}

// Some bridges have a serial number of their own, too.
TEST_F(FindDrives, DoubtsDrivesBehindUsbBridgesThatHaveSerialNumbers) {
  for (int number : {7, 8}) {
    tree_.scsi_host(number, "usb-storage");
    const std::string port = number == 7 ? "2-7/2-7:1.0" : "2-8/2-8:1.0";
    const std::string device =
        tree_.scsi_device("pci0000:00/0000:00:14.0/usb2/" + port, std::to_string(number) + ":0:0:0",
                          "Example", "Bridge");
    tree_.file(device + "/vpd_pg80", std::string("\0\x80\0\2", 4) + "B" + std::to_string(number));
    tree_.block(device, number == 7 ? "sdq" : "sdr");
  }
  disk(1, "sda", "", "S1");
  const auto drives = find_drives({});
  ASSERT_THAT(places_of(drives),
              ElementsAre(Place{"/dev/sda", ""}, Place{"/dev/sdq", ""}, Place{"/dev/sdr", ""}));
  EXPECT_EQ(place_named(drives, "B8", ""), (Place{"/dev/sdr", ""}));
  EXPECT_THAT(drives_in_doubt(drives, std::vector<std::optional<Look>>(3)), ElementsAre(1U, 2U));
}

TEST_F(FindDrives, HasThoseBehindAControllerFromTheScanAlone) {
  const auto drives = find_drives({scan_of({{"/dev/bus/0", "megaraid,10"},
                                            {"/dev/bus/0", "megaraid,9"},
                                            {"/dev/sd;x", "sat"},
                                            {"/dev/sdx", "a b"},
                                            {"--help", "sat"}}),
                                   "", 0});
  EXPECT_THAT(places_of(drives),
              ElementsAre(Place{"/dev/bus/0", "megaraid,9"}, Place{"/dev/bus/0", "megaraid,10"}));
  EXPECT_THAT(find_drives({"no scan", "", -1}), IsEmpty());
}

TEST_F(FindDrives, HasAnNvmeDriveOnceByItsController) {
  controller("nvme0");
  name_space("nvme/nvme0", "nvme0n1");
  name_space("nvme/nvme0", "nvme0n2");
  const auto drives =
      find_drives({scan_of({{"/dev/nvme0", "nvme"}, {"/dev/nvme0n2", "nvme"}}), "", 0});
  ASSERT_THAT(places_of(drives), ElementsAre(Place{"/dev/nvme0", ""}));
  EXPECT_EQ(drives[0].drive.identity(), "Example NVMe\nN1");
  for (const char* const node : {"/dev/nvme0", "/dev/nvme0n1", "/dev/nvme0n2", "nvme0n2", "N1"})
    EXPECT_EQ(place_named(drives, node, ""), (Place{"/dev/nvme0", ""})) << node;
}

// The drive may have a second namespace some day, and has another name then.
TEST_F(FindDrives, TakesTheNameOfANamespaceForNoNameOfTheDrive) {
  controller("nvme0");
  tree_.file("/sys/class/nvme/nvme0/nvme0n1/eui", "00 25 38 5b 71 b0 a7 c1\n");
  const auto drives = find_drives({});
  EXPECT_EQ(drives.at(0).drive.world_wide_name, "");
  EXPECT_EQ(drives.at(0).kernel_name, "eui-0025385b71b0a7c1");
}

// Their sizes are not known before they are asked.
TEST_F(FindDrives, LeavesNvmeDrivesOfOneNameAndSerialNumberToTheirLooks) {
  for (const char* const name : {"nvme0", "nvme1"}) {
    controller(name);
    tree_.file(std::string("/sys/class/nvme/") + name + "/" + name + "n1/eui",
               "00 25 38 5b 71 b0 a7 c1\n");
  }
  const auto drives = find_drives({});
  EXPECT_EQ(drives.size(), 2U);
  EXPECT_THAT(drives_in_doubt(drives, {std::nullopt, std::nullopt}), ElementsAre(0U, 1U));
}

TEST_F(FindDrives, TellsWhetherAnNvmeDriveRotates) {
  controller("nvme0");
  EXPECT_EQ(find_drives({}).at(0).drive.is_rotational, std::nullopt);
  tree_.file("/sys/class/nvme/nvme0/nvme0n1/queue/rotational", "0\n");
  EXPECT_EQ(find_drives({}).at(0).drive.is_rotational, false);
}

TEST_F(FindDrives, TakesTheControllersOfOneSubsystemForPathsToOneDrive) {
  controller("nvme1", "nqn.example");
  controller("nvme0", "nqn.example");
  controller("nvme2", "nqn.other");
  tree_.file("/sys/class/nvme-subsystem/nvme-subsys5/nvme1", "");
  name_space("nvme-subsystem/nvme-subsys5", "nvme5n1");
  const auto drives = find_drives({});
  EXPECT_THAT(places_of(drives), ElementsAre(Place{"/dev/nvme0", ""}, Place{"/dev/nvme2", ""}));
  EXPECT_THAT(drives[0].paths, ElementsAre(Place{"/dev/nvme1", ""}));
  EXPECT_EQ(place_named(drives, "/dev/nvme5n1", ""), (Place{"/dev/nvme0", ""}));
}

TEST_F(FindDrives, TakesNodesOfOneNameAndSerialNumberForPathsToOneDrive) {
  disk(0, "sda", "5000000000000001", "S1");
  disk(1, "sdb", "5000000000000001", "S1");
  disk(2, "sdc", "5000000000000001", "S2");
  const auto drives = find_drives({});
  EXPECT_THAT(places_of(drives), ElementsAre(Place{"/dev/sda", ""}, Place{"/dev/sdc", ""}));
  EXPECT_THAT(drives[0].paths, ElementsAre(Place{"/dev/sdb", ""}));
  EXPECT_EQ(place_named(drives, "/dev/sdb", ""), (Place{"/dev/sda", ""}));
}

TEST_F(FindDrives, KnowsADriveByItsLinksAndBySerialNumber) {
  disk(0, "sda", "", "S1");
  disk(1, "sdb", "", "S1");
  disk(2, "sdc", "", "S3");
  tree_.link("/dev/disk/by-id/ata-Example_S1", "/dev/sda");
  tree_.link("/dev/disk/by-path/pci-1", "/dev/sdb");
  const auto drives = find_drives({});
  const Place first{"/dev/sda", ""};
  EXPECT_EQ(place_named(drives, "/dev/disk/by-id/ata-Example_S1", ""), first);
  EXPECT_EQ(place_named(drives, "ata-Example_S1", ""), first);
  EXPECT_EQ(place_named(drives, "/dev/disk/by-path/pci-1", ""), (Place{"/dev/sdb", ""}));
  EXPECT_EQ(place_named(drives, "S3", ""), (Place{"/dev/sdc", ""}));
  EXPECT_EQ(place_named(drives, "S1", ""), std::nullopt) << "of two drives";
  EXPECT_EQ(place_named(drives, "", ""), std::nullopt);
  EXPECT_EQ(place_named(drives, "S4", ""), std::nullopt);
}

TEST_F(FindDrives, KnowsADriveByARelativePath) {
  disk(0, "sda", "", "S/1");
  disk(1, "sdb", "", "");
  tree_.link("/dev/disk/by-id/ata-Example_S1", "/dev/sda");
  const auto drives = find_drives({});
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path("/dev");
  const Place first{"/dev/sda", ""};
  for (const char* const name :
       {"./sda", "../dev/sda", "./disk/by-id/ata-Example_S1", "disk/by-id/ata-Example_S1", "S/1"})
    EXPECT_EQ(place_named(drives, name, ""), first) << name;
  EXPECT_EQ(place_named(drives, "./sdx", ""), (Place{"/dev/sdx", ""}));
  EXPECT_EQ(place_named(drives, "disk/sda", ""), std::nullopt) << "there is no such path";
  std::filesystem::current_path(before);
  EXPECT_EQ(path_named("./sda", "/dev"), "/dev/sda");
  EXPECT_EQ(path_named("sda", "/dev"), "") << "a name";
  EXPECT_EQ(path_named("/dev//./sda", "/"), "/dev/sda");
  EXPECT_EQ(path_named("/dev/disk/by-id/ata-Example_S1", "/"), "/dev/disk/by-id/ata-Example_S1");
  EXPECT_EQ(path_named("/proc/self/fd/../comm", "/"), "/proc/" + std::to_string(getpid()) + "/comm")
      << "a link leads elsewhere";
}

TEST_F(FindDrives, TakesATypeThatTheScanDoesNotKnow) {
  disk(0, "sda", "", "S1");
  const auto drives = find_drives({scan_of({{"/dev/sda", "sat"}}), "", 0});
  EXPECT_EQ(place_named(drives, "/dev/sda", "cciss,1"), (Place{"/dev/sda", "cciss,1"}));
  EXPECT_EQ(place_named(drives, "/dev/sg3", "cciss,1"), (Place{"/dev/sg3", "cciss,1"}));
  EXPECT_EQ(place_named(drives, "S1", "sat,12"), (Place{"/dev/sda", "sat,12"}));
}

}  // namespace
}  // namespace drivetest

#include "drivetest/find_drives.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <thread>

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
    const std::string port = "2-" + std::to_string(number);
    const std::string device =
        tree_.scsi_device("pci0000:00/0000:00:14.0/usb2/" + port + "/" + port + ":1.0",
                          std::to_string(number) + ":0:0:0", "Example", "Bridge");
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
}

TEST_F(FindDrives, TakesATypeThatTheScanDoesNotKnow) {
  disk(0, "sda", "", "S1");
  const auto drives = find_drives({scan_of({{"/dev/sda", "sat"}}), "", 0});
  EXPECT_EQ(place_named(drives, "/dev/sda", "cciss,1"), (Place{"/dev/sda", "cciss,1"}));
  EXPECT_EQ(place_named(drives, "/dev/sg3", "cciss,1"), (Place{"/dev/sg3", "cciss,1"}));
  EXPECT_EQ(place_named(drives, "S1", "sat,12"), (Place{"/dev/sda", "sat,12"}));
}

// Answers with what was prepared for each place, and counts who asks at once.
class PreparedAccess : public DriveAccess {
 public:
  Look look(const Place& place, bool) override {
    const int now = ++inside_;
    for (int most = most_; now > most && !most_.compare_exchange_weak(most, now);) {
    }
    std::this_thread::yield();
    Look look;
    look.drive.place = place;
    if (place.device == "/dev/sdb") look.fault = LookFault::Standby;
    --inside_;
    return look;
  }
  ToolReply start(const Drive&, TestKind) override { return {}; }
  ToolReply stop(const Drive&) override { return {}; }
  int most() const { return most_; }

 private:
  std::atomic<int> inside_ = 0;
  std::atomic<int> most_ = 0;
};

TEST(LookAt, KeepsTheOrderAndTheBound) {
  std::vector<FoundDrive> drives(50);
  for (std::size_t place = 0; place < drives.size(); ++place)
    drives[place].drive.place.device = "/dev/" + std::to_string(place);
  PreparedAccess access;
  const auto looks = look_at(access, drives, false, 3);
  for (std::size_t place = 0; place < drives.size(); ++place)
    EXPECT_EQ(looks[place].drive.place, drives[place].drive.place);
  EXPECT_LE(access.most(), 3);
  EXPECT_THAT(look_at(access, {}, false), IsEmpty());
}

TEST(LookAt, TakesTheIdentityOfADriveInStandbyFromTheKernel) {
  std::vector<FoundDrive> drives(2);
  drives[0].drive.place.device = "/dev/sda";
  drives[1].drive.place.device = "/dev/sdb";
  for (FoundDrive& one : drives) {
    one.drive.world_wide_name = "wwn-0x5000000000000001";
    one.drive.size = 7;
  }
  PreparedAccess access;
  const auto looks = look_at(access, drives, false);
  EXPECT_EQ(looks[0].drive.world_wide_name, "") << "it says itself who it is";
  EXPECT_EQ(looks[0].drive.size, 7U);
  EXPECT_EQ(looks[1].drive.world_wide_name, "wwn-0x5000000000000001");
}

class JoinPaths : public testing::Test {
 protected:
  void add(const std::string& device, const std::string& wwn, const std::string& serial,
           LookFault fault = LookFault::None) {
    Look look;
    look.drive.place.device = device;
    look.drive.world_wide_name = wwn;
    look.drive.serial_number = serial;
    look.drive.model = "Example";
    look.fault = fault;
    looks_.push_back(look);
    FoundDrive found;
    found.drive.place.device = device;
    drives_.push_back(found);
  }
  std::vector<FoundDrive> drives_;
  std::vector<std::optional<Look>> looks_;
};

TEST_F(JoinPaths, MakesOneOfTheSameNameAndSerialNumber) {
  add("/dev/sda", "wwn-1", "S1");
  add("/dev/sdb", "wwn-2", "S2");
  add("/dev/sdc", "wwn-1", "S1");
  add("/dev/sdd", "wwn-2", "", LookFault::Standby);
  EXPECT_THAT(join_paths(drives_, looks_), IsEmpty());
  ASSERT_EQ(drives_.size(), 2U);
  EXPECT_EQ(looks_.size(), 2U);
  EXPECT_THAT(drives_[0].paths, ElementsAre(Place{"/dev/sdc", ""}));
  EXPECT_THAT(drives_[1].paths, ElementsAre(Place{"/dev/sdd", ""}));
}

TEST_F(JoinPaths, KeepsTheWayByWhichMoreIsPossible) {
  add("/dev/bus/0", "wwn-1", "S1");
  add("/dev/sda", "wwn-1", "S1");
  drives_.back().names = {"/dev/sda"};
  add("/dev/sdb", "wwn-2", "S2");
  add("/dev/sdc", "wwn-2", "S2");
  looks_.back()->abilities[0].is_able = true;
  add("/dev/sdd", "wwn-3", "", LookFault::CannotBeReached);
  add("/dev/sde", "wwn-3", "S3");
  EXPECT_THAT(join_paths(drives_, looks_), IsEmpty());
  std::vector<Place> places;
  for (const FoundDrive& one : drives_) places.push_back(one.drive.place);
  EXPECT_THAT(places,
              ElementsAre(Place{"/dev/sda", ""}, Place{"/dev/sdc", ""}, Place{"/dev/sde", ""}));
  for (std::size_t i = 0; i < drives_.size(); ++i)
    EXPECT_EQ(looks_[i]->drive.place, drives_[i].drive.place);
}

TEST_F(JoinPaths, MakesOneOfTheSameLogicalUnitWithoutASerialNumber) {
  const std::string wwn = "wwn-0x5000c50001020304";
  const auto is_joined = [&](const std::string& name, auto change) {
    drives_.clear();
    looks_.clear();
    for (const char* const device : {"/dev/sda", "/dev/sdb"}) {
      add(device, name, "");
      looks_.back()->drive.protocol = Protocol::Scsi;
      looks_.back()->drive.size = 7;
      looks_.back()->power_on_hours = 100;
    }
    change(*looks_.back());
    const std::size_t shared = join_paths(drives_, looks_).size();
    EXPECT_EQ(shared, drives_.size() == 1 ? 0U : 2U);
    return drives_.size() == 1;
  };
  const auto nothing = [](Look&) {};
  EXPECT_TRUE(is_joined(wwn, nothing));
  EXPECT_TRUE(is_joined("wwn-0x6000c50001020304a0b0c0d0e0f00102", nothing));
  EXPECT_TRUE(is_joined(wwn, [](Look& look) { look.power_on_hours = 101; }));
  EXPECT_FALSE(is_joined(wwn, [](Look& look) { look.power_on_hours = 102; }));
  EXPECT_FALSE(is_joined(wwn, [](Look& look) { look.drive.model = "Other"; }));
  EXPECT_FALSE(is_joined(wwn, [](Look& look) { look.drive.firmware = "2"; }));
  EXPECT_FALSE(is_joined(wwn, [](Look& look) { look.drive.size = 8; }));
  EXPECT_FALSE(is_joined(wwn, [](Look& look) { look.drive.serial_number = "S1"; }));
  EXPECT_FALSE(is_joined(wwn, [](Look& look) { look.drive.is_on_usb = true; }));
  EXPECT_FALSE(is_joined(wwn, [](Look& look) { look.drive.protocol = Protocol::Ata; }));
  for (const char* const name :
       {"wwn-0x5000000000000001", "wwn-0x5000c50000000000", "wwn-0x5ffffff000000001",
        "wwn-0x3000c50001020304", "wwn-0x0000c50001020304", "eui-5000c50001020304"})
    EXPECT_FALSE(is_joined(name, nothing)) << name;
}

TEST_F(JoinPaths, LeavesDrivesAloneThatWereNotLookedAt) {
  add("/dev/sda", "wwn-1", "S1");
  add("/dev/sdb", "wwn-1", "S1");
  looks_.back().reset();
  EXPECT_THAT(join_paths(drives_, looks_), IsEmpty());
  EXPECT_EQ(drives_.size(), 2U);
}

class DrivesInDoubt : public JoinPaths {
 protected:
  // As the kernel knows it, and not looked at.
  void add_known(const std::string& device, const std::string& wwn, const std::string& serial) {
    add(device, "", "");
    looks_.back().reset();
    drives_.back().drive.world_wide_name = wwn;
    drives_.back().drive.serial_number = serial;
  }
};

TEST_F(DrivesInDoubt, AreThoseThatTheKernelDoesNotTellApart) {
  add_known("/dev/sda", "wwn-1", "S1");
  add_known("/dev/sdb", "wwn-2", "");
  add_known("/dev/sdc", "wwn-2", "S2");
  add_known("/dev/sdd", "", "S3");
  add_known("/dev/sde", "", "");
  EXPECT_THAT(drives_in_doubt(drives_, looks_), ElementsAre(1U, 2U, 4U));
  add_known("/dev/sdf", "", "S3");
  EXPECT_THAT(drives_in_doubt(drives_, looks_), ElementsAre(1U, 2U, 3U, 4U, 5U));
}

TEST_F(DrivesInDoubt, AreThoseThatAnotherDriveSaysItIs) {
  add_known("/dev/sda", "wwn-1", "S1");
  add_known("/dev/sdb", "", "S2");
  add_known("/dev/sdc", "wwn-3", "S3");
  add("/dev/sdd", "wwn-1", "S9");
  add("/dev/sde", "", "S2");
  EXPECT_THAT(drives_in_doubt(drives_, looks_), ElementsAre(0U, 1U, 3U, 4U));
}

// The kernel takes the name from the second drive that has it.
TEST_F(DrivesInDoubt, AreNvmeDrivesWithoutANameWhereThereIsAnother) {
  const auto add_nvme = [&](const std::string& device, const std::string& name) {
    add_known(device, "", device);
    drives_.back().drive.protocol = Protocol::Nvme;
    drives_.back().drive.model = "Example";
    drives_.back().kernel_name = name;
  };
  add_known("/dev/sda", "wwn-1", "S1");
  add_nvme("/dev/nvme1", "");
  EXPECT_THAT(drives_in_doubt(drives_, looks_), IsEmpty());
  add_nvme("/dev/nvme0", "eui-1");
  EXPECT_THAT(drives_in_doubt(drives_, looks_), ElementsAre(1U));
  looks_[1].emplace().drive.world_wide_name = "eui-1";
  EXPECT_THAT(drives_in_doubt(drives_, looks_), ElementsAre(1U, 2U));
}

// Those that may have several namespaces are known by model and serial number.
TEST_F(DrivesInDoubt, AreNvmeDrivesOfOneSerialNumberThatTheKernelNamesApart) {
  for (const char* device : {"/dev/nvme0", "/dev/nvme1", "/dev/nvme2"}) {
    add_known(device, "", device == std::string("/dev/nvme2") ? "S2" : "S1");
    drives_.back().drive.protocol = Protocol::Nvme;
    drives_.back().drive.model = "Example";
    drives_.back().kernel_name = std::string("eui-") + device;
  }
  EXPECT_THAT(drives_in_doubt(drives_, looks_), ElementsAre(0U, 1U));
}

TEST_F(DrivesInDoubt, AreNoneWhereThereIsOneAlone) {
  add_known("/dev/sda", "", "");
  EXPECT_THAT(drives_in_doubt(drives_, looks_), IsEmpty());
}

TEST_F(JoinPaths, TellsDifferentDrivesThatClaimOneIdentity) {
  add("/dev/sda", "wwn-1", "S1");
  add("/dev/sdb", "wwn-1", "S2");
  add("/dev/sdc", "wwn-1", "S3");
  add("/dev/sdd", "", "000000");
  add("/dev/sde", "", "000000");
  add("/dev/sdf", "", "");
  add("/dev/sdg", "", "");
  add("/dev/sdh", "", "000000", LookFault::Standby);
  looks_.back()->drive.model.clear();
  std::vector<Place> places;
  for (const Drive& drive : join_paths(drives_, looks_)) places.push_back(drive.place);
  EXPECT_THAT(places,
              ElementsAre(Place{"/dev/sda", ""}, Place{"/dev/sdb", ""}, Place{"/dev/sdc", ""},
                          Place{"/dev/sdd", ""}, Place{"/dev/sde", ""}, Place{"/dev/sdh", ""}));
  EXPECT_EQ(drives_.size(), 8U);
}

}  // namespace
}  // namespace drivetest

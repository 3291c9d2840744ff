#include "drivetest/find_drives.h"

#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <vector>

namespace drivetest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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

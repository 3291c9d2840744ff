#include "drivetest/controller.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

namespace drivetest {
namespace {

namespace fs = std::filesystem;

// A tree of the kernel's, of links and folders alone.
class ControllerOf : public testing::Test {
 protected:
  ~ControllerOf() override { fs::remove_all(root_); }

  void link(const std::string& path, const std::string& device) {
    const fs::path folder = root_ / "sys/devices" / device;
    fs::create_directories(folder);
    fs::create_directories((root_ / path).parent_path());
    fs::create_symlink(folder, root_ / path);
  }

  std::string controller(const std::string& device, const std::string& type = "") {
    setenv("HVX_SYSFS_ROOT", root_.c_str(), 1);
    std::string found = controller_of({device, type});
    unsetenv("HVX_SYSFS_ROOT");
    return found;
  }

  static fs::path make_root() {
    std::string name = testing::TempDir() + "controller.XXXXXX";
    return fs::canonical(mkdtemp(name.data()));
  }

  const fs::path root_ = make_root();
};

TEST_F(ControllerOf, IsTheHostAdapterOfAllItsPorts) {
  link("sys/block/sda", "pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda");
  link("sys/block/sdb", "pci0000:00/0000:00:1f.2/ata2/host1/target1:0:0/1:0:0:0/block/sdb");
  link("sys/block/sdc", "pci0000:00/0000:00:1f.5/ata7/host6/target6:0:0/6:0:0:0/block/sdc");
  EXPECT_EQ(controller("/dev/sda"), "0000:00:1f.2");
  EXPECT_EQ(controller("/dev/sdb"), controller("/dev/sda"));
  EXPECT_EQ(controller("/dev/sdc"), "0000:00:1f.5");
}

TEST_F(ControllerOf, IsTheLastOfSeveralPciDevicesOnTheWay) {
  link("sys/block/sda", "pci0000:00/0000:00:1c.0/0000:02:00.0/host0/target0:2:0/0:2:0:0/block/sda");
  EXPECT_EQ(controller("/dev/sda"), "0000:02:00.0");
}

TEST_F(ControllerOf, IsTheRaidControllerHoweverADriveIsReached) {
  const std::string host = "pci0000:00/0000:03:00.0/host5/";
  link("sys/block/sda", host + "target5:2:0/5:2:0:0/block/sda");
  link("sys/class/scsi_host/host5", host + "scsi_host/host5");
  EXPECT_EQ(controller("/dev/bus/5", "megaraid,7"), "0000:03:00.0");
  EXPECT_EQ(controller("/dev/sda", "megaraid,8"), "0000:03:00.0");
}

TEST_F(ControllerOf, IsAnNvmeDrivesOwn) {
  link("sys/class/nvme/nvme0", "pci0000:00/0000:01:00.0/nvme/nvme0");
  link("sys/class/nvme/nvme1", "pci0000:00/10000:02:00.0/nvme/nvme1");
  EXPECT_EQ(controller("/dev/nvme0"), "0000:01:00.0");
  EXPECT_EQ(controller("/dev/nvme1"), "10000:02:00.0");
}

TEST_F(ControllerOf, IsTheHostOrTheDriveWithoutPci) {
  link("sys/block/sda", "platform/soc/ahci/ata1/host3/target3:0:0/3:0:0:0/block/sda");
  EXPECT_EQ(controller("/dev/sda"), "host3");
  EXPECT_EQ(controller("/dev/vda"), "/dev/vda") << "the kernel knows no such drive";
  EXPECT_EQ(controller("/dev/.."), "/dev/..");
  EXPECT_EQ(controller(""), "");
}

TEST_F(ControllerOf, HidesDrivesWhereTheDriverShowsVolumesAlone) {
  const auto hides = [&](const char* driver) {
    const fs::path host = root_ / "sys/class/scsi_host/host8";
    fs::create_directories(host);
    std::ofstream(host / "proc_name") << driver << "\n";
    setenv("HVX_SYSFS_ROOT", root_.c_str(), 1);
    const bool found = may_hide_drives();
    unsetenv("HVX_SYSFS_ROOT");
    return found;
  };
  EXPECT_FALSE(hides("ahci"));
  EXPECT_TRUE(hides("megaraid_sas"));
}

}  // namespace
}  // namespace drivetest

#include "drivetest/bay.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "inventory/test_tree.h"

namespace drivetest {
namespace {

class DriveBay : public testing::Test {
 protected:
  DriveBay() { setenv("HVX_SYSFS_ROOT", tree_.root().c_str(), 1); }
  ~DriveBay() override { unsetenv("HVX_SYSFS_ROOT"); }

  std::string disk(int host, const std::string& name) {
    tree_.file("/dev/" + name, "");
    return tree_.ahci_disk(host, name);
  }
  void by_path(const std::string& link, const std::string& node) {
    tree_.link("/dev/disk/by-path/" + link, "/dev/" + node);
  }
  void enclosure(const std::string& component, const std::string& slot, const std::string& device) {
    const std::string place = "/sys/devices/pci0000:00/0000:01:00.0/host9/target9:0:24/9:0:24:0";
    const std::string own = place + "/enclosure/9:0:24:0";
    tree_.file(place + "/vendor", "EXAMPLE \n");
    tree_.file(place + "/model", "Shelf 24        \n");
    tree_.file(own + "/id", "0x5000000000000024\n");
    tree_.file(own + "/components", "24\n");
    if (!slot.empty()) tree_.file(own + "/" + component + "/slot", slot + "\n");
    tree_.link(own + "/" + component + "/device", device);
    if (tree_.sysfs().target("/sys/class/enclosure/9:0:24:0").empty()) {
      tree_.link(own + "/device", place);
      tree_.link("/sys/class/enclosure/9:0:24:0", own);
    }
  }

  inventory::TestTree tree_;
};

TEST_F(DriveBay, IsThePathWhereNoEnclosureTells) {
  disk(0, "sda");
  disk(1, "sdb");
  by_path("pci-0000:00:1f.2-ata-1.0", "sda");
  by_path("pci-0000:00:1f.2-ata-1", "sda");
  by_path("pci-0000:00:1f.2-ata-2", "sdb");
  by_path("pci-0000:00:1f.2-ata-1-part1", "sda1");
  const Bay expected{"/dev/sda", "/dev/disk/by-path/pci-0000:00:1f.2-ata-1", "", "", "", ""};
  EXPECT_EQ(bay_of({"/dev/sda", "sat"}), expected);
}

TEST_F(DriveBay, IsTheSlotOfItsEnclosure) {
  const std::string first = disk(0, "sda");
  const std::string second = disk(1, "sdb");
  enclosure("Slot 01", "0", first);
  enclosure("Slot 02", "1", second);
  const Bay expected{"/dev/sdb", "", "9:0:24:0", "EXAMPLE Shelf 24", "0x5000000000000024", "1"};
  EXPECT_EQ(bay_of({"/dev/sdb", ""}), expected);
}

TEST_F(DriveBay, HasTheNameOfASlotWithoutNumber) {
  enclosure("ArrayDevice03", "", disk(0, "sda"));
  EXPECT_EQ(bay_of({"/dev/sda", ""}).value().slot, "ArrayDevice03");
}

TEST_F(DriveBay, OfAnNvmeDriveIsThatOfItsNameSpace) {
  const std::string place = "/sys/devices/pci0000:00/0000:02:00.0/nvme/nvme0";
  tree_.file(place + "/model", "Example NVMe\n");
  tree_.link("/sys/class/nvme/nvme0", place);
  tree_.whole_disk("/sys/devices/virtual/nvme0n1", "/sys/class/nvme/nvme0", "nvme0n1");
  tree_.file("/dev/nvme0n1", "");
  by_path("pci-0000:02:00.0-nvme-1", "nvme0n1");
  const Bay bay = bay_of({"/dev/nvme0", ""}).value();
  EXPECT_EQ(bay.block_device, "/dev/nvme0n1");
  EXPECT_EQ(bay.by_path, "/dev/disk/by-path/pci-0000:02:00.0-nvme-1");
}

// Else somebody would pull the drive that has the controller's or the volume's name.
TEST_F(DriveBay, IsNotKnownBehindARaidController) {
  disk(0, "sda");
  by_path("pci-0000:00:1f.2-ata-1", "sda");
  EXPECT_EQ(bay_of({"/dev/sda", "megaraid,5"}), std::nullopt);
  EXPECT_EQ(bay_of({"/dev/sda", "sat+megaraid,5"}), std::nullopt);
  EXPECT_EQ(bay_of({"/dev/sda", "cciss,0"}), std::nullopt);
}

TEST_F(DriveBay, OfADriveThatIsGoneIsEmpty) {
  EXPECT_EQ(bay_of({"/dev/sda", ""}), Bay());
  EXPECT_EQ(bay_of({"/dev/../sda", ""}), Bay());
}

}  // namespace
}  // namespace drivetest

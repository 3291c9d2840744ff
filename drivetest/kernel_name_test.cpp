#include "drivetest/kernel_name.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "inventory/test_tree.h"

namespace drivetest {
namespace {

Drive drive_at(const std::string& device, Protocol protocol, const std::string& type = "") {
  Drive drive;
  drive.place = {device, type};
  drive.protocol = protocol;
  return drive;
}

std::string name_at(const std::string& device, Protocol protocol = Protocol::Nvme,
                    const std::string& type = "") {
  return kernel_name_of(drive_at(device, protocol, type));
}

class KernelName : public testing::Test {
 protected:
  KernelName() {
    setenv("HVX_SYSFS_ROOT", tree_.root().c_str(), 1);
    tree_.file(folder_ + "model", "Example NVMe\n");
    tree_.file(folder_ + "nvme-subsystem", "");
  }
  ~KernelName() override { unsetenv("HVX_SYSFS_ROOT"); }

  std::string name_of(const std::string& nguid) const {
    tree_.file(folder_ + "nvme0n1/nguid", nguid + "\n");
    return name_at("/dev/nvme0");
  }

  const inventory::TestTree tree_;
  const std::string folder_ = "/sys/class/nvme/nvme0/";
};

TEST_F(KernelName, IsTheNguidOfTheOnlyNamespace) {
  EXPECT_EQ(name_at("/dev/nvme0"), "");
  const std::string name = "nguid-0025385b71b0a7c10025385b71b0a7c1";
  EXPECT_EQ(name_of("0025385b-71b0-a7c1-0025-385b71b0a7c1"), name);
  tree_.remove(folder_ + "nvme0n1");
  tree_.file(folder_ + "nvme0c0n1/nguid", "0025385b-71b0-a7c1-0025-385b71b0a7c1\n");
  EXPECT_EQ(name_at("/dev/nvme0"), name);
  tree_.file(folder_ + "nvme0c0n2/nguid", "0025385b-71b0-a7c1-0025-385b71b0a7c2\n");
  EXPECT_EQ(name_at("/dev/nvme0"), "") << "the drive is neither of them";
}

TEST_F(KernelName, IsTheEuiWhereThereIsOne) {
  tree_.file(folder_ + "nvme0n1/eui", "00 25 38 5b 71 b0 a7 c1\n");
  EXPECT_EQ(name_of("0025385b-71b0-a7c1-0025-385b71b0a7c1"), "eui-0025385b71b0a7c1");
  tree_.file(folder_ + "nvme0n1/eui", "00 00 00 00 00 00 00 00\n");
  EXPECT_EQ(name_at("/dev/nvme0"), "nguid-0025385b71b0a7c10025385b71b0a7c1");
}

TEST_F(KernelName, IsTheSameByTheNodeOfTheNamespace) {
  tree_.file("/sys/block/nvme0n1/nguid", "0025385b-71b0-a7c1-0025-385b71b0a7c1\n");
  EXPECT_EQ(name_at("/dev/nvme0n1"), "nguid-0025385b71b0a7c10025385b71b0a7c1");
}

TEST_F(KernelName, IsNoneWhereTheKernelTellsNone) {
  EXPECT_EQ(name_of(""), "");
  EXPECT_EQ(name_of("00000000-0000-0000-0000-000000000000"), "");
  EXPECT_EQ(name_of("0025385b-71b0-a7c1"), "");
  EXPECT_EQ(name_of("0025385b-71b0-a7c1-0025-385b71b0a7cx"), "");
  EXPECT_EQ(name_at("/dev/sda"), "");
  EXPECT_EQ(name_at("nvme0"), "");
}

TEST_F(KernelName, OfAScsiDiskIsItsOwnAndNotThatOfABridge) {
  EXPECT_EQ(name_at("/dev/sda", Protocol::Scsi), "");
  tree_.file("/sys/block/sda/device/wwid", "naa.5000c50001020304\n");
  EXPECT_EQ(name_at("/dev/sda", Protocol::Scsi), "wwn-0x5000c50001020304");
  EXPECT_EQ(name_at("/dev/sda", Protocol::Scsi, "scsi"), "wwn-0x5000c50001020304");
  EXPECT_EQ(name_at("/dev/sda", Protocol::Scsi, "megaraid,0"), "");
  EXPECT_EQ(name_at("/dev/sda", Protocol::Ata), "") << "which tells its own in the same answer";
  Drive bridged = drive_at("/dev/sda", Protocol::Scsi);
  bridged.is_on_usb = true;
  EXPECT_EQ(kernel_name_of(bridged), "");
  tree_.file("/sys/block/sda/device/wwid", "t10.EXAMPLE\n");
  EXPECT_EQ(name_at("/dev/sda", Protocol::Scsi), "");
}

using KernelRotation = KernelName;

TEST_F(KernelRotation, IsThatOfAllNamespacesThatTell) {
  const auto rotation_at = [](const std::string& device, Protocol protocol = Protocol::Nvme) {
    return kernel_rotation_of(drive_at(device, protocol));
  };
  EXPECT_EQ(rotation_at("/dev/nvme0"), std::nullopt) << "no namespace";
  tree_.file(folder_ + "nvme0n1/size", "1\n");
  EXPECT_EQ(rotation_at("/dev/nvme0"), std::nullopt) << "it does not tell";
  tree_.file(folder_ + "nvme0n1/queue/rotational", "0\n");
  EXPECT_EQ(rotation_at("/dev/nvme0"), false);
  tree_.file(folder_ + "nvme0c0n2/queue/rotational", "0\n");
  EXPECT_EQ(rotation_at("/dev/nvme0"), false);
  tree_.file(folder_ + "nvme0c0n2/queue/rotational", "1\n");
  EXPECT_EQ(rotation_at("/dev/nvme0"), std::nullopt) << "they differ";
  tree_.file(folder_ + "nvme0n1/queue/rotational", "1\n");
  EXPECT_EQ(rotation_at("/dev/nvme0"), true);
  tree_.file("/sys/block/nvme0n1/queue/rotational", "0\n");
  EXPECT_EQ(rotation_at("/dev/nvme0n1"), false);
  tree_.file("/sys/block/sda/queue/rotational", "1\n");
  EXPECT_EQ(rotation_at("/dev/sda", Protocol::Scsi), std::nullopt) << "its tools tell";
  EXPECT_EQ(rotation_at("nvme0"), std::nullopt);
}

TEST(NvmeNamespace, IsNeitherItsControllerNorAnotherDisk) {
  for (const char* const device : {"/dev/nvme0n1", "/dev/nvme12n3", "/dev/nvme0c0n1"})
    EXPECT_TRUE(is_nvme_namespace(device)) << device;
  for (const char* const device : {"/dev/nvme0", "/dev/nvme", "/dev/sdn", "nvme0n1", ""})
    EXPECT_FALSE(is_nvme_namespace(device)) << device;
}

TEST(NameOfNaa, IsOfThatFormAlone) {
  EXPECT_EQ(name_of_naa("naa.5000c500a1b2c3d4"), "wwn-0x5000c500a1b2c3d4");
  EXPECT_EQ(name_of_naa("t10.ATA     Example Disk"), "");
  EXPECT_EQ(name_of_naa(""), "");
}

}  // namespace
}  // namespace drivetest

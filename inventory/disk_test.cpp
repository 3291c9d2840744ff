#include "inventory/disk.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <utility>

#include "inventory/test_tree.h"

namespace inventory {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> names(const TestTree& tree) {
  std::vector<std::string> result;
  for (const Disk& disk : read_disks(tree.sysfs())) result.push_back(disk.device);
  return result;
}

Disk only_disk(const TestTree& tree) {
  const auto disks = read_disks(tree.sysfs());
  EXPECT_EQ(disks.size(), 1u);
  return disks.empty() ? Disk() : disks.front();
}

std::string page_80(const std::string& serial) {
  return std::string("\0\x80\0", 3) + static_cast<char>(serial.size()) + serial;
}

TEST(Disks, AnAtaDriveIsReadInFull) {
  TestTree tree;
  const std::string device = tree.ahci_disk(2, "sda");
  tree.file(device + "/vpd_pg80", page_80("     WD-WCANM1234567"));
  tree.file(device + "/wwid", "t10.ATA     EXAMPLE DISK-75NCB3                     EX-W     \n");
  const Disk disk = only_disk(tree);
  EXPECT_EQ(disk.device, "/dev/sda");
  EXPECT_EQ(disk.vendor, "ATA");
  EXPECT_EQ(disk.model, "QEMU HARDDISK");
  EXPECT_EQ(disk.revision, "2.5+");
  EXPECT_EQ(disk.serial, "WD-WCANM1234567");
  EXPECT_EQ(disk.world_wide_name, "t10.ATA     EXAMPLE DISK-75NCB3                     EX-W");
  EXPECT_EQ(disk.connection, "SATA");
  EXPECT_EQ(disk.state, "running");
  EXPECT_EQ(disk.bytes, 67108864u);
  EXPECT_EQ(disk.block_bytes, 512u);
  EXPECT_FALSE(disk.removable);
  EXPECT_FALSE(disk.read_only);
  EXPECT_FALSE(disk.address) << "every adapter is ahci";
}

TEST(Disks, ADriveBehindARaidAdapterIsAmongThemWithItsAddress) {
  TestTree tree;
  tree.scsi_host(8, "megaraid_sas");
  tree.block(tree.scsi_device("pci0000:00/0000:00:04.0", "8:2:0:0", "EXAMPLE ", "DISK 1"), "sdc");
  const Disk disk = only_disk(tree);
  EXPECT_EQ(disk.connection, "SAS/RAID (megaraid_sas)");
  EXPECT_EQ(disk.address, (ScsiAddress{8, 2, 0, 0}));
}

TEST(Disks, AUsbDriveIsAmongThemWithoutAddress) {
  TestTree tree;
  tree.scsi_host(0, "megaraid_sas");
  tree.scsi_host(3, "usb-storage");
  const std::string device =
      tree.scsi_device("pci0000:00/0000:00:0a.0/usb2/2-1/2-1:1.0", "3:0:0:0", "QEMU", "QEMU");
  tree.block(device, "sdg");
  tree.file(device + "/block/sdg/removable", "1\n");
  const Disk disk = only_disk(tree);
  EXPECT_EQ(disk.connection, "USB");
  EXPECT_TRUE(disk.removable);
  EXPECT_FALSE(disk.address);
}

TEST(Disks, AnNvmeDriveHasItsFactsInItsController) {
  TestTree tree;
  const std::string device = "/sys/devices/pci0000:00/0000:00:09.0/nvme/nvme0";
  tree.file(device + "/model", "QEMU NVMe Ctrl                          \n");
  tree.file(device + "/serial", "LABN0007            \n");
  tree.file(device + "/firmware_rev", "7.2.22  \n");
  tree.file(device + "/state", "live\n");
  tree.whole_disk(device + "/nvme0n1", device, "nvme0n1");
  tree.file(device + "/nvme0n1/wwid", "nvme.1b36-4c41\n");
  const Disk disk = only_disk(tree);
  EXPECT_EQ(disk.device, "/dev/nvme0n1");
  EXPECT_EQ(disk.vendor, "");
  EXPECT_EQ(disk.model, "QEMU NVMe Ctrl");
  EXPECT_EQ(disk.revision, "7.2.22");
  EXPECT_EQ(disk.serial, "LABN0007");
  EXPECT_EQ(disk.world_wide_name, "nvme.1b36-4c41");
  EXPECT_EQ(disk.connection, "NVMe");
  EXPECT_EQ(disk.state, "live");
}

TEST(Disks, AVirtioDriveHasASerialNumberAndNoNames) {
  TestTree tree;
  const std::string device = "/sys/devices/pci0000:00/0000:00:08.0/virtio2";
  tree.file(device + "/vendor", "0x1af4\n");
  tree.block(device, "vda");
  tree.file(device + "/block/vda/serial", "LABV0006");
  const Disk disk = only_disk(tree);
  EXPECT_EQ(disk.vendor, "") << "a number is no name";
  EXPECT_EQ(disk.model, "");
  EXPECT_EQ(disk.serial, "LABV0006");
  EXPECT_EQ(disk.connection, "virtio");
  EXPECT_EQ(disk.state, "");
  tree.file(device + "/vendor", "0Example\n");
  EXPECT_EQ(only_disk(tree).vendor, "0Example");
}

TEST(Disks, WhatHasNoDeviceIsNone) {
  TestTree tree;
  for (const char* name : {"loop0", "ram0", "dm-0", "md127", "zram0", "nbd0"})
    tree.whole_disk(std::string("/sys/devices/virtual/block/") + name, "", name);
  EXPECT_THAT(names(tree), IsEmpty());
}

TEST(Disks, OnlyDisksOfTheScsiTypes) {
  TestTree tree;
  tree.scsi_host(0, "ahci");
  const std::pair<const char*, const char*> types[] = {{"sda", "0"}, {"sr0", "5"}, {"sdb", "14"},
                                                       {"sdc", "7"}, {"sdd", "1"}, {"sde", "20"}};
  int target = 0;
  for (const auto& [name, type] : types)
    tree.block(tree.scsi_device("pci0000:00/0000:00:1f.2/ata1",
                                "0:0:" + std::to_string(target++) + ":0", "V", "M", type),
               name);
  EXPECT_THAT(names(tree), ElementsAre("/dev/sda", "/dev/sdb"));
}

TEST(Disks, TheTypeOfOtherDevicesIsNoScsiType) {
  TestTree tree;
  const std::string device = "/sys/devices/pci0000:00/0000:00:1a.0/mmc_host/mmc0/mmc0:0001";
  tree.file(device + "/type", "5\n");
  tree.file(device + "/name", "EXMPL1\n");
  tree.block(device, "mmcblk0");
  const Disk disk = only_disk(tree);
  EXPECT_EQ(disk.device, "/dev/mmcblk0");
  EXPECT_EQ(disk.model, "EXMPL1");
}

TEST(Disks, NeitherFloppiesNorHiddenPaths) {
  TestTree tree;
  const std::string floppy = "/sys/devices/platform/floppy.0";
  tree.file(floppy + "/uevent", "");
  tree.block(floppy, "fd0");
  tree.block(floppy, "fdisk");
  const std::string nvme = "/sys/devices/pci0000:00/0000:00:09.0/nvme/nvme0";
  tree.file(nvme + "/state", "live\n");
  tree.whole_disk(nvme + "/nvme0c0n1", nvme, "nvme0c0n1");
  tree.file(nvme + "/nvme0c0n1/hidden", "1\n");
  EXPECT_THAT(names(tree), ElementsAre("/dev/fdisk"));
}

TEST(Disks, AnExclamationMarkInTheNameIsASlash) {
  TestTree tree;
  const std::string device = "/sys/devices/pci0000:00/0000:00:05.0/cciss0/c0d0";
  tree.file(device + "/model", "LOGICAL VOLUME\n");
  tree.block(device, "cciss!c0d0");
  EXPECT_EQ(only_disk(tree).device, "/dev/cciss/c0d0");
  EXPECT_EQ(only_disk(tree).model, "LOGICAL VOLUME");
}

TEST(Disks, NamesUnfitForAShellAreLeftOut) {
  TestTree tree;
  int host = 0;
  for (const char* name : {"sda", "sd;reboot", "$(id)", "sd b", "sd\nc"})
    tree.ahci_disk(host++, name);
  EXPECT_THAT(names(tree), ElementsAre("/dev/sda"));
}

TEST(Disks, StandInNaturalOrder) {
  TestTree tree;
  int host = 0;
  for (const char* name : {"sdaa", "vda", "sdb", "nvme10n1", "sdz", "sda", "nvme2n1"})
    tree.ahci_disk(host++, name);
  EXPECT_THAT(names(tree), ElementsAre("/dev/nvme2n1", "/dev/nvme10n1", "/dev/sda", "/dev/sdb",
                                       "/dev/sdz", "/dev/sdaa", "/dev/vda"));
}

TEST(Disks, AHugeOrOddSizeIsNoSize) {
  const std::pair<const char*, std::optional<std::uint64_t>> sizes[] = {
      {"0\n", 0},
      {"36028797018963967\n", 18446744073709551104u},
      {"36028797018963968\n", std::nullopt},  // 2^64 bytes
      {"18446744073709551615\n", std::nullopt},
      {"99999999999999999999999\n", std::nullopt},
      {"-1\n", std::nullopt},
      {"12x\n", std::nullopt},
      {"0x10\n", std::nullopt},
      {"\n", std::nullopt},
  };
  TestTree tree;
  const std::string device = tree.ahci_disk(0, "sda");
  for (const auto& [text, bytes] : sizes) {
    tree.file(device + "/block/sda/size", text);
    EXPECT_EQ(only_disk(tree).bytes, bytes) << text;
  }
}

TEST(Disks, OneWithoutAnyAttributeIsPublishedByItsNameAlone) {
  TestTree tree;
  tree.file("/sys/devices/odd/uevent", "");
  tree.link("/sys/devices/odd/block/sda/device", "/sys/devices/odd");
  tree.link("/sys/block/sda", "/sys/devices/odd/block/sda");
  const Disk disk = only_disk(tree);
  EXPECT_EQ(disk.device, "/dev/sda");
  EXPECT_EQ(disk.vendor + disk.model + disk.revision + disk.serial + disk.world_wide_name +
                disk.connection + disk.state,
            "");
  EXPECT_FALSE(disk.bytes || disk.block_bytes || disk.address || disk.removable || disk.read_only);
}

TEST(Disks, AttributesThatAreNoFilesReadAsAbsent) {
  TestTree tree;
  const std::string device = tree.ahci_disk(0, "sda");
  for (const char* name : {"/model", "/block/sda/size", "/state"}) tree.remove(device + name);
  tree.file(device + "/model/inner", "a directory");
  tree.link(device + "/block/sda/size", "size");  // in circles
  ASSERT_EQ(mkfifo(tree.place(device + "/state").c_str(), 0600), 0);
  const Disk disk = only_disk(tree);
  EXPECT_EQ(disk.model, "");
  EXPECT_FALSE(disk.bytes);
  EXPECT_EQ(disk.state, "");
}

TEST(Disks, OneThatVanishedBehindItsLinkIsNone) {
  TestTree tree;
  const std::string gone = tree.ahci_disk(0, "sda");
  tree.ahci_disk(1, "sdb");
  tree.remove(gone);
  EXPECT_THAT(names(tree), ElementsAre("/dev/sdb"));
}

TEST(Disks, LinksInCirclesAndOutOfTheRootLeadNowhere) {
  TestTree tree;
  tree.ahci_disk(0, "sda");
  tree.link("/sys/block/sdb", "sdc");
  tree.link("/sys/block/sdc", "sdb");
  tree.link("/sys/devices/d/block/sdd/device", "device");
  tree.link("/sys/block/sdd", "/sys/devices/d/block/sdd");
  std::filesystem::create_directories(tree.place("/sys/devices/e/block/sde"));
  std::filesystem::create_symlink("/usr", tree.place("/sys/devices/e/block/sde/device"));
  tree.link("/sys/block/sde", "/sys/devices/e/block/sde");
  EXPECT_THAT(names(tree), ElementsAre("/dev/sda"));
}

TEST(Disks, HostileTextsComeOutClean) {
  TestTree tree;
  const std::string device = tree.ahci_disk(0, "sda");
  tree.file(device + "/vendor", "\x1b[2JEvil\r\nCo\xff\n");
  tree.file(device + "/model", std::string(1 << 20, 'M'));
  const Disk disk = only_disk(tree);
  EXPECT_EQ(disk.vendor, "[2JEvil  Co\ufffd");
  EXPECT_EQ(disk.model, std::string(4096, 'M')) << "one page";
}

TEST(Disks, ASerialPageIsTakenByItsOwnLength) {
  const std::pair<std::string, const char*> pages[] = {
      {page_80("ABC"), "ABC"},
      {page_80("ABC") + "rest", "ABC"},
      {page_80("ABC").substr(0, 6), "AB"},
      {std::string("\0\x80\xff\xff", 4) + "ABC", "ABC"},
      {page_80(""), "fallback"},
      {std::string("\0\x83\0\3ABC", 7), "fallback"},
      {std::string("\0\x80\0", 3), "fallback"},
      {"", "fallback"},
  };
  TestTree tree;
  const std::string device = tree.ahci_disk(0, "sda");
  tree.file(device + "/serial", "fallback\n");
  for (const auto& [page, serial] : pages) {
    tree.file(device + "/vpd_pg80", page);
    EXPECT_EQ(only_disk(tree).serial, serial);
  }
}

TEST(Disks, TheLengthOfASerialPageIsTwoBytesOfWhichTheFirstCountsFor256) {
  TestTree tree;
  const std::string device = tree.ahci_disk(0, "sda");
  const std::string serial(0x102, 'S');
  tree.file(device + "/vpd_pg80", std::string("\0\x80\1\2", 4) + serial + "rest");
  EXPECT_EQ(only_disk(tree).serial, serial);
}

TEST(Disks, NoSysfsAtAllIsNoDisk) { EXPECT_THAT(read_disks(Sysfs("/nonexistent")), IsEmpty()); }

TEST(Disks, AThousandAreReadInOrder) {
  TestTree tree;
  for (int i = 0; i < 1000; ++i) {
    const std::string device = "/sys/devices/d" + std::to_string(i);
    tree.file(device + "/model", "M\n");
    tree.block(device, "nvme" + std::to_string(i) + "n1");
  }
  const auto disks = read_disks(tree.sysfs());
  ASSERT_EQ(disks.size(), 1000u);
  for (std::size_t i = 0; i < disks.size(); ++i)
    ASSERT_EQ(disks[i].device, "/dev/nvme" + std::to_string(i) + "n1");
}

}  // namespace
}  // namespace inventory

#include "inventory/drive.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "inventory/test_tree.h"

namespace inventory {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> names(const TestTree& tree) {
  std::vector<std::string> result;
  for (const Drive& drive : read_drives(tree.sysfs())) result.push_back(drive.device);
  return result;
}

Drive only_drive(const TestTree& tree) {
  const auto drives = read_drives(tree.sysfs());
  EXPECT_EQ(drives.size(), 1u);
  return drives.empty() ? Drive() : drives.front();
}

std::string page_80(const std::string& serial) {
  return std::string("\0\x80\0", 3) + static_cast<char>(serial.size()) + serial;
}

TEST(Drives, AnAtaDriveIsReadInFull) {
  TestTree tree;
  const std::string device = tree.ahci_disk(2, "sda");
  tree.file(device + "/vpd_pg80", page_80("     WD-WCANM1234567"));
  tree.file(device + "/wwid", "t10.ATA     EXAMPLE DISK-75NCB3                     EX-W     \n");
  const Drive drive = only_drive(tree);
  EXPECT_EQ(drive.device, "/dev/sda");
  EXPECT_EQ(drive.vendor, "ATA");
  EXPECT_EQ(drive.model, "QEMU HARDDISK");
  EXPECT_EQ(drive.revision, "2.5+");
  EXPECT_EQ(drive.serial, "WD-WCANM1234567");
  EXPECT_EQ(drive.world_wide_name, "t10.ATA     EXAMPLE DISK-75NCB3                     EX-W");
  EXPECT_EQ(drive.connection, "SATA");
  EXPECT_EQ(drive.state, "running");
  EXPECT_EQ(drive.bytes, 67108864u);
  EXPECT_EQ(drive.block_bytes, 512u);
  EXPECT_FALSE(drive.removable);
  EXPECT_FALSE(drive.read_only);
  EXPECT_FALSE(drive.address) << "every adapter is ahci";
}

TEST(Drives, ADriveBehindARaidAdapterIsAmongThemWithItsAddress) {
  TestTree tree;
  tree.scsi_host(8, "megaraid_sas");
  tree.block(tree.scsi_device("pci0000:00/0000:00:04.0", "8:2:0:0", "EXAMPLE ", "DISK 1"), "sdc");
  const Drive drive = only_drive(tree);
  EXPECT_EQ(drive.connection, "SAS/RAID (megaraid_sas)");
  EXPECT_EQ(drive.address, (ScsiAddress{8, 2, 0, 0}));
}

TEST(Drives, AUsbDriveIsAmongThemWithoutAddress) {
  TestTree tree;
  tree.scsi_host(0, "megaraid_sas");
  tree.scsi_host(3, "usb-storage");
  const std::string device =
      tree.scsi_device("pci0000:00/0000:00:0a.0/usb2/2-1/2-1:1.0", "3:0:0:0", "QEMU", "QEMU");
  tree.block(device, "sdg");
  tree.file(device + "/block/sdg/removable", "1\n");
  const Drive drive = only_drive(tree);
  EXPECT_EQ(drive.connection, "USB");
  EXPECT_TRUE(drive.removable);
  EXPECT_FALSE(drive.address);
}

TEST(Drives, AnNvmeDriveHasItsFactsInItsController) {
  TestTree tree;
  const std::string device = "/sys/devices/pci0000:00/0000:00:09.0/nvme/nvme0";
  tree.file(device + "/model", "QEMU NVMe Ctrl                          \n");
  tree.file(device + "/serial", "LABN0007            \n");
  tree.file(device + "/firmware_rev", "7.2.22  \n");
  tree.file(device + "/state", "live\n");
  tree.whole_disk(device + "/nvme0n1", device, "nvme0n1");
  tree.file(device + "/nvme0n1/wwid", "nvme.1b36-4c41\n");
  const Drive drive = only_drive(tree);
  EXPECT_EQ(drive.device, "/dev/nvme0n1");
  EXPECT_EQ(drive.vendor, "");
  EXPECT_EQ(drive.model, "QEMU NVMe Ctrl");
  EXPECT_EQ(drive.revision, "7.2.22");
  EXPECT_EQ(drive.serial, "LABN0007");
  EXPECT_EQ(drive.world_wide_name, "nvme.1b36-4c41");
  EXPECT_EQ(drive.connection, "NVMe");
  EXPECT_EQ(drive.state, "live");
}

TEST(Drives, AVirtioDriveHasASerialNumberAndNoNames) {
  TestTree tree;
  const std::string device = "/sys/devices/pci0000:00/0000:00:08.0/virtio2";
  tree.file(device + "/vendor", "0x1af4\n");
  tree.block(device, "vda");
  tree.file(device + "/block/vda/serial", "LABV0006");
  const Drive drive = only_drive(tree);
  EXPECT_EQ(drive.vendor, "") << "a number is no name";
  EXPECT_EQ(drive.model, "");
  EXPECT_EQ(drive.serial, "LABV0006");
  EXPECT_EQ(drive.connection, "virtio");
  EXPECT_EQ(drive.state, "");
  tree.file(device + "/vendor", "0Example\n");
  EXPECT_EQ(only_drive(tree).vendor, "0Example");
}

TEST(Drives, WhatHasNoDeviceIsNone) {
  TestTree tree;
  for (const char* name : {"loop0", "ram0", "dm-0", "md127", "zram0", "nbd0"})
    tree.whole_disk(std::string("/sys/devices/virtual/block/") + name, "", name);
  EXPECT_THAT(names(tree), IsEmpty());
}

TEST(Drives, OnlyDisksOfTheScsiTypes) {
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

TEST(Drives, TheTypeOfOtherDevicesIsNoScsiType) {
  TestTree tree;
  const std::string device = "/sys/devices/pci0000:00/0000:00:1a.0/mmc_host/mmc0/mmc0:0001";
  tree.file(device + "/type", "5\n");
  tree.file(device + "/name", "EXMPL1\n");
  tree.block(device, "mmcblk0");
  const Drive drive = only_drive(tree);
  EXPECT_EQ(drive.device, "/dev/mmcblk0");
  EXPECT_EQ(drive.model, "EXMPL1");
}

TEST(Drives, NeitherFloppiesNorHiddenPaths) {
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

TEST(Drives, AnExclamationMarkInTheNameIsASlash) {
  TestTree tree;
  const std::string device = "/sys/devices/pci0000:00/0000:00:05.0/cciss0/c0d0";
  tree.file(device + "/model", "LOGICAL VOLUME\n");
  tree.block(device, "cciss!c0d0");
  EXPECT_EQ(only_drive(tree).device, "/dev/cciss/c0d0");
  EXPECT_EQ(only_drive(tree).model, "LOGICAL VOLUME");
}

TEST(Drives, NamesUnfitForAShellAreLeftOut) {
  TestTree tree;
  int host = 0;
  for (const char* name : {"sda", "sd;reboot", "$(id)", "sd b", "sd\nc"})
    tree.ahci_disk(host++, name);
  EXPECT_THAT(names(tree), ElementsAre("/dev/sda"));
}

TEST(Drives, StandInNaturalOrder) {
  TestTree tree;
  int host = 0;
  for (const char* name : {"sdaa", "vda", "sdb", "nvme10n1", "sdz", "sda", "nvme2n1"})
    tree.ahci_disk(host++, name);
  EXPECT_THAT(names(tree), ElementsAre("/dev/nvme2n1", "/dev/nvme10n1", "/dev/sda", "/dev/sdb",
                                       "/dev/sdz", "/dev/sdaa", "/dev/vda"));
}

TEST(Drives, AHugeOrOddSizeIsNoSize) {
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
    EXPECT_EQ(only_drive(tree).bytes, bytes) << text;
  }
}

TEST(Drives, OneWithoutAnyAttributeIsPublishedByItsNameAlone) {
  TestTree tree;
  tree.file("/sys/devices/odd/uevent", "");
  tree.link("/sys/devices/odd/block/sda/device", "/sys/devices/odd");
  tree.link("/sys/block/sda", "/sys/devices/odd/block/sda");
  const Drive drive = only_drive(tree);
  EXPECT_EQ(drive.device, "/dev/sda");
  EXPECT_EQ(drive.vendor + drive.model + drive.revision + drive.serial + drive.world_wide_name +
                drive.connection + drive.state,
            "");
  EXPECT_FALSE(drive.bytes || drive.block_bytes || drive.address || drive.removable ||
               drive.read_only);
}

TEST(Drives, AttributesThatAreNoFilesReadAsAbsent) {
  TestTree tree;
  const std::string device = tree.ahci_disk(0, "sda");
  for (const char* name : {"/model", "/block/sda/size", "/state"}) tree.remove(device + name);
  tree.file(device + "/model/inner", "a directory");
  tree.link(device + "/block/sda/size", "size");  // in circles
  ASSERT_EQ(mkfifo(tree.place(device + "/state").c_str(), 0600), 0);
  const Drive drive = only_drive(tree);
  EXPECT_EQ(drive.model, "");
  EXPECT_FALSE(drive.bytes);
  EXPECT_EQ(drive.state, "");
}

TEST(Drives, OneThatVanishedBehindItsLinkIsNone) {
  TestTree tree;
  const std::string gone = tree.ahci_disk(0, "sda");
  tree.ahci_disk(1, "sdb");
  tree.remove(gone);
  EXPECT_THAT(names(tree), ElementsAre("/dev/sdb"));
}

TEST(Drives, LinksInCirclesAndOutOfTheRootLeadNowhere) {
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

TEST(Drives, HostileTextsComeOutClean) {
  TestTree tree;
  const std::string device = tree.ahci_disk(0, "sda");
  tree.file(device + "/vendor", "\x1b[2JEvil\r\nCo\xff\n");
  tree.file(device + "/model", std::string(1 << 20, 'M'));
  const Drive drive = only_drive(tree);
  EXPECT_EQ(drive.vendor, "[2JEvil  Co\ufffd");
  EXPECT_EQ(drive.model, std::string(4096, 'M')) << "one page";
}

TEST(Drives, ASerialPageIsTakenByItsOwnLength) {
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
    EXPECT_EQ(only_drive(tree).serial, serial);
  }
}

TEST(Drives, TheLengthOfASerialPageIsTwoBytesOfWhichTheFirstCountsFor256) {
  TestTree tree;
  const std::string device = tree.ahci_disk(0, "sda");
  const std::string serial(0x102, 'S');
  tree.file(device + "/vpd_pg80", std::string("\0\x80\1\2", 4) + serial + "rest");
  EXPECT_EQ(only_drive(tree).serial, serial);
}

TEST(Drives, NoSysfsAtAllIsNoDrive) { EXPECT_THAT(read_drives(Sysfs("/nonexistent")), IsEmpty()); }

TEST(Drives, AThousandAreReadInOrder) {
  TestTree tree;
  for (int i = 0; i < 1000; ++i) {
    const std::string device = "/sys/devices/d" + std::to_string(i);
    tree.file(device + "/model", "M\n");
    tree.block(device, "nvme" + std::to_string(i) + "n1");
  }
  const auto drives = read_drives(tree.sysfs());
  ASSERT_EQ(drives.size(), 1000u);
  for (std::size_t i = 0; i < drives.size(); ++i)
    ASSERT_EQ(drives[i].device, "/dev/nvme" + std::to_string(i) + "n1");
}

}  // namespace
}  // namespace inventory

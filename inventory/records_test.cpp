// The inventory against hwinfo, on machines recorded with both: HDDTEST_RECORDS names a directory
// with a folder per machine, in which sysfs.out lists facts of sysfs and hwinfo-disk.out holds
// what "hwinfo --disk" printed there.
#include <gtest/gtest.h>

#include <cstdlib>

#include "inventory/disk.h"
#include "inventory/recorded_machine.h"

namespace inventory {
namespace {

const std::map<std::string, std::string>& words_of_drivers() {
  static const auto& words = *new std::map<std::string, std::string>{
      {"ahci", "SATA"},
      {"ata_piix", "ATA"},
      {"usb-storage", "USB"},
      {"uas", "USB"},
      {"nvme", "NVMe"},
      {"virtio-pci", "virtio"},
      {"virtio_scsi", "virtio"},
      {"megaraid_sas", "SAS/RAID (megaraid_sas)"},
      {"mptsas", "SAS/RAID (mptsas)"},
      {"sym53c8xx", "SCSI (sym53c8xx)"},
      {"am53c974", "SCSI"},  // its adapter bears no name
      {"vmw_pvscsi", "SCSI (vmw_pvscsi)"},
  };
  return words;
}

TEST(RecordedMachines, HwinfoSeesTheSameDrives) {
  int machines = 0;
  for (const auto& folder : std::filesystem::directory_iterator(std::getenv("HDDTEST_RECORDS"))) {
    const std::string facts = read(folder.path() / "sysfs.out");
    if (facts.empty() || !std::filesystem::exists(folder.path() / "hwinfo-disk.out")) continue;
    SCOPED_TRACE(folder.path().filename());
    ++machines;
    TestTree tree;
    lay_out(tree, facts);
    const auto reported = disks(read(folder.path() / "hwinfo-disk.out"));
    const auto disks = read_disks(tree.sysfs());
    EXPECT_EQ(disks.size(), reported.size());
    for (const Disk& disk : disks) {
      SCOPED_TRACE(disk.device);
      ASSERT_TRUE(reported.contains(disk.device));
      const std::string& block = reported.at(disk.device);
      ASSERT_TRUE(disk.bytes);
      EXPECT_EQ(std::to_string(*disk.bytes), between(between(block, "Capacity: ", "\n"), "(", " "));
      const std::string driver = between(block, "Driver: \"", "\"");
      ASSERT_TRUE(words_of_drivers().contains(driver)) << driver;
      EXPECT_EQ(disk.connection, words_of_drivers().at(driver));
      if (disk.address) {
        EXPECT_EQ(to_string(*disk.address), between(block, "SysFS BusID: ", "\n"));
      }
    }
  }
  EXPECT_GE(machines, 30);
}

}  // namespace
}  // namespace inventory

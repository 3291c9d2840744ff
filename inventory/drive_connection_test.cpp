#include "inventory/drive_connection.h"

#include <gtest/gtest.h>

namespace inventory {
namespace {

struct Case {
  const char* path;
  const char* driver;
  const char* word;
};

// Device paths and drivers as kernels show them.
constexpr Case kCases[] = {
    {"/sys/devices/pci0000:00/0000:00:03.0/ata3/host2/target2:0:0/2:0:0:0", "ahci", "SATA"},
    {"/sys/devices/pci0000:00/0000:00:05.0/ata1/host0/target0:0:0/0:0:0:0", "sata_nv", "SATA"},
    {"/sys/devices/pci0000:00/0000:00:01.1/ata2/host1/target1:0:0/1:0:0:0", "ata_piix", "ATA"},
    {"/sys/devices/pci0000:00/0000:00:05.0/ata1/host0/target0:0:0/0:0:0:0", "sata", "ATA"},
    {"/sys/devices/pci0000:00/0000:00:0a.0/usb2/2-1/2-1:1.0/host12/target12:0:0/12:0:0:0",
     "usb-storage", "USB"},
    {"/sys/devices/pci0000:00/0000:00:03.0/usb2/2-1/2-1:1.0/host0/target0:0:0/0:0:0:0", "", "USB"},
    {"/sys/devices/pci0000:00/0000:00:09.0/nvme/nvme0", "", "NVMe"},
    {"/sys/devices/virtual/nvme-subsystem/nvme-subsys0", "", "NVMe"},
    {"/sys/devices/pci0000:00/0000:00:08.0/virtio2", "", "virtio"},
    {"/sys/devices/pci0000:00/0000:00:07.0/virtio1/host11/target11:0:0/11:0:0:0", "virtio_scsi",
     "virtio"},
    {"/sys/devices/pci0000:00/0000:00:04.0/host8/target8:2:0/8:2:0:0", "megaraid_sas",
     "SAS/RAID (megaraid_sas)"},
    {"/sys/devices/pci0000:00/0000:00:05.0/host9/port-9:0/end_device-9:0/target9:0:0/9:0:0:0",
     "mptsas", "SAS/RAID (mptsas)"},
    {"/sys/devices/pci0000:00/0000:00:05.0/host9/port-9:0/end_device-9:0/target9:0:0/9:0:0:0",
     "newest_sas", "SAS/RAID (newest_sas)"},
    {"/sys/devices/pci0000:00/0000:00:06.0/host10/target10:0:0/10:0:0:0", "sym53c8xx",
     "SCSI (sym53c8xx)"},
    {"/sys/devices/pci0000:00/0000:00:06.0/host10/target10:0:0/10:0:0:0", "", "SCSI"},
    {"/sys/devices/pci0000:00/0000:00:1a.0/mmc_host/mmc0/mmc0:0001", "", "MMC/SD"},
    {"/sys/devices/vbd-51712", "", "Xen"},
    {"/sys/devices/platform/odd", "", ""},
    {"/sys/devices/pci0000:00/usbx/athena/hostile", "", ""},
    {"", "", ""},
};

TEST(Connection, FollowsFromThePlaceAndTheDriver) {
  for (const Case& one : kCases) EXPECT_EQ(connection(one.path, one.driver), one.word) << one.path;
}

}  // namespace
}  // namespace inventory

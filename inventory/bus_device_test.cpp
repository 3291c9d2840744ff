#include "inventory/bus_device.h"

#include <gmock/gmock.h>

#include "inventory/test_tree.h"

namespace inventory {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto kController = "pci0000:00/0000:00:04.0";

std::vector<std::string> addresses(const TestTree& tree) {
  std::vector<std::string> result;
  for (const BusDevice& device : read_bus_devices(tree.sysfs()))
    result.push_back(to_string(device.address));
  return result;
}

TEST(BusDevices, OneIsReadInFull) {
  TestTree tree;
  tree.scsi_host(8, "megaraid_sas");
  const std::string device =
      tree.scsi_device(kController, "8:2:0:0", "EXAMPLE ", "DISK 1          ");
  tree.scsi_generic(device, "sg3");
  tree.block(device, "sdc");
  const auto devices = read_bus_devices(tree.sysfs());
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(devices[0].address, (ScsiAddress{8, 2, 0, 0}));
  EXPECT_TRUE(devices[0].address_published);
  EXPECT_EQ(devices[0].generic, "/dev/sg3");
  EXPECT_EQ(devices[0].block, "/dev/sdc");
  EXPECT_EQ(devices[0].vendor, "EXAMPLE");
  EXPECT_EQ(devices[0].model, "DISK 1");
  EXPECT_EQ(devices[0].state, "running");
}

TEST(BusDevices, AreOfAnyTypeInNumericOrder) {
  TestTree tree;
  for (const char* address : {"10:0:0:0", "2:0:0:0", "0:0:10:0", "0:0:2:0", "0:0:2:10", "0:0:2:9"})
    tree.scsi_device(kController, address, "V", "M", "13");
  EXPECT_THAT(addresses(tree),
              ElementsAre("0:0:2:0", "0:0:2:9", "0:0:2:10", "0:0:10:0", "2:0:0:0", "10:0:0:0"));
}

TEST(BusDevices, HostsAndTargetsOnTheBusAreNone) {
  TestTree tree;
  tree.scsi_device(kController, "0:0:0:0", "V", "M");
  tree.link("/sys/bus/scsi/devices/host0", std::string("/sys/devices/") + kController + "/host0");
  tree.link("/sys/bus/scsi/devices/target0:0:0",
            std::string("/sys/devices/") + kController + "/host0/target0:0:0");
  EXPECT_THAT(addresses(tree), ElementsAre("0:0:0:0"));
}

TEST(BusDevices, WithoutDeviceFilesHaveNone) {
  TestTree tree;
  tree.scsi_device(kController, "0:0:0:0", "V", "M", "3");
  const auto devices = read_bus_devices(tree.sysfs());
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(devices[0].generic, "");
  EXPECT_EQ(devices[0].block, "");
}

TEST(BusDevices, DeviceFilesUnfitForPublishingAreLeftOut) {
  TestTree tree;
  const std::string device = tree.scsi_device(kController, "0:0:0:0", "V", "M");
  tree.scsi_generic(device, "sg 0");
  tree.block(device, "sd;a");
  const auto devices = read_bus_devices(tree.sysfs());
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(devices[0].generic, "");
  EXPECT_EQ(devices[0].block, "");
}

TEST(BusDevices, OneThatVanishedBehindItsLinkIsNone) {
  TestTree tree;
  const std::string gone = tree.scsi_device(kController, "0:0:0:0", "V", "M");
  tree.scsi_device(kController, "0:0:1:0", "V", "M");
  tree.remove(gone);
  EXPECT_THAT(addresses(tree), ElementsAre("0:0:1:0"));
}

TEST(BusDevices, PublishTheirAddressByTheMachinesAdapters) {
  TestTree tree;
  tree.scsi_host(0, "ahci");
  tree.scsi_host(1, "usb-storage");
  tree.scsi_device(kController, "0:0:0:0", "ATA", "M");
  tree.scsi_device("pci0000:00/usb2/2-1", "1:0:0:0", "V", "M");
  auto devices = read_bus_devices(tree.sysfs());
  ASSERT_EQ(devices.size(), 2u);
  EXPECT_FALSE(devices[0].address_published);
  EXPECT_FALSE(devices[1].address_published);

  tree.scsi_host(2, "virtio_scsi");
  devices = read_bus_devices(tree.sysfs());
  EXPECT_TRUE(devices[0].address_published);
  EXPECT_FALSE(devices[1].address_published);
}

TEST(BusDevices, NoSysfsAtAllIsNoDevice) {
  EXPECT_THAT(read_bus_devices(Sysfs("/nonexistent")), IsEmpty());
}

}  // namespace
}  // namespace inventory

// A thousand devices, and devices that come and go while others read.
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "inventory/KAVRO_Inventory_DiskDrive_Provider.h"
#include "inventory/KAVRO_Inventory_SysBusDevice_Provider.h"
#include "inventory/bus_device.h"
#include "inventory/disk.h"
#include "inventory/test_tree.h"

namespace ovk_cimple {
namespace {

using testing::AnyOf;

// What an enumeration delivers, by one of its texts.
template <class Provider>
std::vector<std::string> enumerated(Property<String> Provider::Class::*property) {
  using Class = typename Provider::Class;
  std::pair<Property<String> Class::*, std::vector<std::string>> found = {property, {}};
  EnumHandler<Class> handler(
      [](Instance* instance, sint32 status, void* data) {
        EXPECT_EQ(status, 0);
        auto& [text, texts] = *static_cast<decltype(found)*>(data);
        const auto owned = Ref<Class>::adopt(static_cast<Class*>(instance));
        texts.push_back((owned.get()->*text).value());
      },
      &found);
  Provider provider;
  EXPECT_EQ(provider.enum_instances(nullptr, &handler), 0);
  return found.second;
}

// The name of the disk of that number, as the kernel gives it: sda, ..., sdz, sdaa, ...
std::string disk_name(int number) {
  std::string letters;
  for (++number; number > 0; number = (number - 1) / 26)
    letters.insert(letters.begin(), static_cast<char>('a' + (number - 1) % 26));
  return "sd" + letters;
}

TEST(ManyDevices, AThousandDrivesAndBusDevicesAreListedInOrder) {
  constexpr int kDevices = 1000;
  const inventory::TestTree tree;
  std::vector<std::string> disks, generic;
  for (int i = 0; i < kDevices; ++i) {
    tree.ahci_disk(i, disk_name(i));
    disks.push_back("/dev/" + disk_name(i));
    generic.push_back("/dev/sg" + std::to_string(i));
  }
  setenv("HVX_SYSFS_ROOT", tree.root().c_str(), 1);
  EXPECT_EQ(enumerated<KAVRO_Inventory_DiskDrive_Provider>(&KAVRO_DiskDrive::DeviceID), disks);
  EXPECT_EQ(enumerated<KAVRO_Inventory_SysBusDevice_Provider>(&KAVRO_SysBusDevice::DeviceID),
            generic);
  unsetenv("HVX_SYSFS_ROOT");
}

// Every read finds the drives that stay, whole, and of the one that goes what was still there.
TEST(ManyDevices, ReadingGoesOnWhileDrivesComeAndGo) {
  const inventory::TestTree tree;
  tree.ahci_disk(0, "sda");
  tree.ahci_disk(2, "sdc");
  std::atomic<int> readers = 2;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
  const auto read = [&] {
    const inventory::Sysfs sysfs = tree.sysfs();
    int with = 0, without = 0;
    while ((with < 500 || without < 500) && std::chrono::steady_clock::now() < deadline) {
      const auto disks = inventory::read_disks(sysfs);
      ++(disks.size() == 3 ? with : without);
      for (const inventory::Disk& disk : disks) {
        EXPECT_THAT(disk.device, AnyOf("/dev/sda", "/dev/sdb", "/dev/sdc"));
        if (disk.device == "/dev/sdb") {
          EXPECT_THAT(disk.model, AnyOf("", "QEMU HARDDISK"));
          continue;
        }
        EXPECT_EQ(disk.model, "QEMU HARDDISK");
        EXPECT_EQ(disk.bytes, 67108864u);
      }
      EXPECT_GE(disks.size(), 2u);
      const auto devices = inventory::read_bus_devices(sysfs);
      EXPECT_GE(devices.size(), 2u);
      EXPECT_LE(devices.size(), 3u);
    }
    EXPECT_GE(with, 500);
    EXPECT_GE(without, 500);
    --readers;
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) threads.emplace_back(read);
  // Unplugged first the device and then its links, as a reader may meet them.
  while (readers > 0) {
    const std::string device = tree.ahci_disk(1, "sdb");
    tree.remove(device);
    tree.remove("/sys/block/sdb");
    tree.remove("/sys/bus/scsi/devices/1:0:0:0");
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace ovk_cimple

#include "inventory/scsi.h"

#include <gtest/gtest.h>

#include <utility>

#include "inventory/test_tree.h"

namespace inventory {
namespace {

TEST(ScsiAddress, IsFourNumbersAndNothingElse) {
  EXPECT_EQ(parse_address("0:2:13:4"), (ScsiAddress{0, 2, 13, 4}));
  EXPECT_EQ(parse_address("1:0:0:18446744073709551615")->lun, ~std::uint64_t{0});
  for (const char* text : {"", "host0", "target0:0:0", "0:0:0", "0:0:0:", ":0:0:0", "0:0:0:0:0",
                           "0:0:0:x", "0:0:-1:0", "0: 0:0:0", "0:0:0:18446744073709551616"})
    EXPECT_FALSE(parse_address(text)) << text;
}

TEST(ScsiAddress, SortsByNumbers) {
  EXPECT_LT(*parse_address("2:0:0:0"), *parse_address("10:0:0:0"));
  EXPECT_LT(*parse_address("0:0:2:9"), *parse_address("0:0:10:0"));
  EXPECT_LT(*parse_address("0:0:0:2"), *parse_address("0:0:0:10"));
}

TEST(ScsiAddress, HasTheTwoFormsThatAreRead) {
  EXPECT_EQ(to_string({0, 2, 13, 4}), "0:2:13:4");
  EXPECT_EQ(address_text({0, 2, 13, 4}), "Port:0 Target:13 Bus:2 Lun:4");
}

// The way in which discovery takes an address text apart.
TEST(ScsiAddress, IsReadBackByDiscovery) {
  std::string text = address_text({1, 2, 3, 4});
  std::string parsed;
  for (const auto& [key, skipped] :
       {std::pair{"Port:", 5}, {"Target:", 7}, {"Bus", 4}, {"Lun", 4}}) {
    ASSERT_NE(text.find(key), text.npos) << key;
    text = text.substr(text.find(key) + static_cast<std::size_t>(skipped));
    parsed += text.at(0);
  }
  EXPECT_EQ(parsed, "1324") << "port, target, bus, lun";
}

bool publishes(std::map<std::uint64_t, std::string> drivers, std::uint64_t host) {
  return ScsiHosts(std::move(drivers)).publishes({host, 0, 0, 0});
}

TEST(PublishedAddresses, NoneWhereEveryAdapterIsAhciAtaPiixOrUsbStorage) {
  EXPECT_FALSE(publishes({{0, "ahci"}}, 0));
  EXPECT_FALSE(publishes({{0, "ata_piix"}}, 0));
  EXPECT_FALSE(publishes({{0, "usb-storage"}}, 0));
  for (const std::uint64_t host : {0, 1, 2})
    EXPECT_FALSE(publishes({{0, "ahci"}, {1, "ata_piix"}, {2, "usb-storage"}}, host)) << host;
}

TEST(PublishedAddresses, AllButThoseOfUsbStorageAsSoonAsThereIsAnyOtherAdapter) {
  for (const char* other : {"megaraid_sas", "mpt2sas", "virtio_scsi", "sata_nv", "pata_amd", "uas",
                            "", "ahci_platform"}) {
    const std::map<std::uint64_t, std::string> drivers = {
        {0, "ahci"}, {1, "ata_piix"}, {2, "usb-storage"}, {3, other}};
    EXPECT_TRUE(publishes(drivers, 0)) << other;
    EXPECT_TRUE(publishes(drivers, 1)) << other;
    EXPECT_FALSE(publishes(drivers, 2)) << other;
    EXPECT_TRUE(publishes(drivers, 3)) << other;
  }
}

TEST(PublishedAddresses, AnAdapterWithoutDevicesCountsToo) {
  EXPECT_TRUE(publishes({{0, "ahci"}, {7, "smartpqi"}}, 0));
}

TEST(PublishedAddresses, NeverOfUsbStorageEvenBehindARaidAdapter) {
  EXPECT_FALSE(publishes({{0, "megaraid_sas"}, {1, "usb-storage"}}, 1));
}

// Card readers and odd sticks have a driver of their own, which hands on to usb-storage.
TEST(PublishedAddresses, SubDriversOfUsbStorageAreAsItIs) {
  for (const char* driver : {"ums-realtek", "ums-alauda", "ums-eneub6250"}) {
    EXPECT_FALSE(publishes({{0, "ahci"}, {1, driver}}, 0)) << driver;
    EXPECT_FALSE(publishes({{0, "ahci"}, {1, driver}}, 1)) << driver;
    EXPECT_FALSE(publishes({{0, "megaraid_sas"}, {1, driver}}, 1)) << driver;
    EXPECT_TRUE(publishes({{0, "megaraid_sas"}, {1, driver}}, 0)) << driver;
  }
  for (const char* other : {"ums", "usb-storage2", "xums-realtek", "uas"})
    EXPECT_TRUE(publishes({{0, "ahci"}, {1, other}}, 1)) << other;
}

TEST(ScsiHosts, AreReadWithTheirNumbers) {
  TestTree tree;
  tree.scsi_host(0, "ahci");
  tree.scsi_host(12, "usb-storage");
  tree.file("/sys/class/scsi_host/hostile/proc_name", "megaraid_sas\n");
  tree.file("/sys/class/scsi_host/other/proc_name", "megaraid_sas\n");
  const ScsiHosts hosts = read_scsi_hosts(tree.sysfs());
  EXPECT_EQ(hosts.driver(0), "ahci");
  EXPECT_EQ(hosts.driver(12), "usb-storage");
  EXPECT_EQ(hosts.driver(1), "");
  EXPECT_FALSE(hosts.publishes({0, 0, 0, 0}));
}

TEST(ScsiHosts, ADriverWithoutANameIsAnotherAdapter) {
  TestTree tree;
  tree.scsi_host(0, "ahci");
  tree.scsi_host(1, "(null)");
  const ScsiHosts hosts = read_scsi_hosts(tree.sysfs());
  EXPECT_EQ(hosts.driver(1), "");
  EXPECT_TRUE(hosts.publishes({0, 0, 0, 0}));
  EXPECT_TRUE(hosts.publishes({1, 0, 0, 0}));
}

TEST(ScsiHosts, AnUnreadableDriverIsAnotherAdapter) {
  TestTree tree;
  tree.scsi_host(0, "ahci");
  tree.file("/sys/class/scsi_host/host1/state", "running\n");
  EXPECT_TRUE(read_scsi_hosts(tree.sysfs()).publishes({0, 0, 0, 0}));
}

TEST(ScsiHosts, AMachineWithoutAnyPublishesNone) {
  TestTree tree;
  EXPECT_FALSE(read_scsi_hosts(tree.sysfs()).publishes({0, 0, 0, 0}));
}

}  // namespace
}  // namespace inventory

#include "inventory/machine.h"

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include "inventory/test_tree.h"

namespace inventory {
namespace {

TEST(Machine, IsWhatTheFirmwareSays) {
  TestTree tree;
  tree.file("/sys/class/dmi/id/sys_vendor", "Maker\n");
  tree.file("/sys/class/dmi/id/product_name", "  Example Server 1  \n");
  tree.file("/sys/class/dmi/id/product_version", "1.0\n");
  tree.file("/sys/class/dmi/id/product_uuid", "00000000-0000-0000-0000-000000000001\n");
  tree.file("/sys/class/dmi/id/product_serial", "SN1\n");
  const Machine machine = read_machine(tree.sysfs());
  EXPECT_EQ(machine.vendor, "Maker");
  EXPECT_EQ(machine.product, "Example Server 1");
  EXPECT_EQ(machine.version, "1.0");
  EXPECT_EQ(machine.uuid, "00000000-0000-0000-0000-000000000001");
  EXPECT_EQ(machine.serial, "SN1");
}

TEST(Machine, WithoutFirmwareTextsIsUnknown) {
  TestTree tree;
  const Machine machine = read_machine(tree.sysfs());
  EXPECT_EQ(machine.vendor + machine.product + machine.version + machine.uuid + machine.serial, "");
}

TEST(HostName, IsTheKernels) {
  utsname kernel{};
  ASSERT_EQ(uname(&kernel), 0);
  EXPECT_EQ(host_name(), kernel.nodename);
}

}  // namespace
}  // namespace inventory

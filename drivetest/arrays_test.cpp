#include "drivetest/arrays.h"

#include <gmock/gmock.h>

#include <utility>

#include "inventory/test_tree.h"

namespace drivetest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Arrays, AreBusyWhileTheyRebuildOrCheck) {
  const auto arrays = busy_arrays(
      "Personalities : [raid1] [raid6] [raid5] [raid4] \n"
      "md0 : active raid1 sdb1[1] sda1[0]\n"
      "      1953382464 blocks super 1.2 [2/2] [UU]\n"
      "      [==>..................]  check = 12.6% (246318784/1953382464) finish=150.0min "
      "speed=189696K/sec\n"
      "      bitmap: 0/15 pages [0KB], 65536KB chunk\n"
      "\n"
      "md1 : active raid5 nvme2n1p3[3](S) nvme1n1p3[4](F) nvme0n1p3[0](W)\n"
      "      41908224 blocks super 1.2 level 5, 512k chunk, algorithm 2 [3/2] [U_U]\n"
      "      [=====>...............]  recovery = 28.4% (5956864/20954112) finish=1.2min "
      "speed=200000K/sec\n"
      "      \n"
      "md2 : active raid1 sdb2[1] sda2[0]\n"
      "      976630464 blocks super 1.2 [2/2] [UU]\n"
      "      \n"
      "md3 : active raid1 sdc1[1] sdd1[0]\n"
      "      976630464 blocks super 1.2 [2/2] [UU]\n"
      "      \tresync=DELAYED\n"
      "      \n"
      "md4 : active raid6 sde1[0] sdf1[1]\n"
      "      [>....................]  reshape =  0.0% (1/2) finish=1.0min speed=1K/sec\n"
      "unused devices: <none>\n");
  ASSERT_EQ(arrays.size(), 4U);
  EXPECT_EQ(arrays[0].name, "md0");
  EXPECT_EQ(arrays[0].work, "check");
  EXPECT_THAT(arrays[0].members, ElementsAre("sdb1", "sda1"));
  EXPECT_EQ(arrays[1].work, "recovery");
  EXPECT_THAT(arrays[1].members, ElementsAre("nvme2n1p3", "nvme1n1p3", "nvme0n1p3"));
  EXPECT_EQ(arrays[2].name, "md3");
  EXPECT_EQ(arrays[2].work, "resync");
  EXPECT_EQ(arrays[3].work, "reshape");
}

TEST(Arrays, AreNotBusyWithWorkThatBeginsWithTheFirstWrite) {
  EXPECT_THAT(busy_arrays("md0 : active (auto-read-only) raid1 sdb1[1] sda1[0]\n"
                          "      976630464 blocks super 1.2 [2/2] [UU]\n"
                          "      \tresync=PENDING\n"),
              IsEmpty());
  EXPECT_EQ(busy_arrays("md0 : active raid1 sda1[0]\n      \tresync=REMOTE\n").size(), 1U);
}

TEST(Arrays, AreNoneInTextsThatAreNoMdstat) {
  for (const std::string text :
       {"", "\n\n", "md0", "md0 :", "md0 : active", "check = 1%\n", "  check = 1%\n",
        "md0 : active raid1 [0] sda[\n check = 1%\n", "md0: active raid1 sda[0]\n check = 1%\n",
        "md0 : inactive sda[0](S)\n      check 1%\n      checked = 1\n      rechecking=1\n",
        "md0 : active raid1 sda[0]\nunused devices: <none>\n  check = 1%\n"})
    EXPECT_THAT(busy_arrays(text), IsEmpty()) << text;
  EXPECT_THAT(busy_arrays(std::string("md\0 : a\xff sda[0]\n\tcheck=1\n", 25)), testing::SizeIs(1));
}

TEST(Arrays, HaveTheDisksBelowTheirMembers) {
  const inventory::TestTree tree;
  tree.file("/sys/devices/a/block/sda/size", "1\n");
  tree.file("/sys/devices/a/block/sda/sda1/partition", "1\n");
  tree.file("/sys/devices/b/block/sdb/size", "1\n");
  tree.file("/sys/devices/virtual/block/dm-3/size", "1\n");
  tree.file("/sys/devices/virtual/block/md0/size", "1\n");
  for (const std::string name : {"a/block/sda", "a/block/sda/sda1", "b/block/sdb",
                                 "virtual/block/dm-3", "virtual/block/md0"})
    tree.link("/sys/class/block/" + name.substr(name.rfind('/') + 1), "/sys/devices/" + name);
  tree.link("/sys/devices/virtual/block/dm-3/slaves/sdb", "/sys/devices/b/block/sdb");
  tree.link("/sys/devices/virtual/block/md0/slaves/sda1", "/sys/devices/a/block/sda/sda1");
  tree.link("/sys/devices/virtual/block/md0/slaves/dm-3", "/sys/devices/virtual/block/dm-3");
  tree.link("/sys/devices/virtual/block/md0/slaves/md0", "/sys/devices/virtual/block/md0");
  const inventory::Sysfs sysfs = tree.sysfs();
  EXPECT_THAT(disks_below(sysfs, "sda1"), ElementsAre("sda"));
  EXPECT_THAT(disks_below(sysfs, "sdb"), ElementsAre("sdb"));
  EXPECT_THAT(disks_below(sysfs, "md0"), testing::UnorderedElementsAre("sda", "sdb"));
  for (const auto& [unknown, disk] :
       {std::pair("sdz12", "sdz"), std::pair("sdz", "sdz"), std::pair("nvme0n1", "nvme0n1"),
        std::pair("12", "12"), std::pair("nvme0n1p12", "nvme0n1")})
    EXPECT_THAT(disks_below(sysfs, unknown), ElementsAre(disk));
  EXPECT_THAT(disks_below(sysfs, "../../sda"), IsEmpty());
}

TEST(Arrays, AreLookedForBelowTheRootOfTests) {
  const inventory::TestTree tree;
  setenv("HVX_SYSFS_ROOT", tree.root().c_str(), 1);
  EXPECT_THAT(busy_disks(), IsEmpty());
  tree.file("/proc/mdstat", "md0 : active raid1 sdb[1] sda[0]\n  [>...]  resync = 1.0% (1/2)\n");
  EXPECT_THAT(busy_disks(),
              ElementsAre(std::pair("sda", "md0: resync"), std::pair("sdb", "md0: resync")));
  unsetenv("HVX_SYSFS_ROOT");
}

}  // namespace
}  // namespace drivetest

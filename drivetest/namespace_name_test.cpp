#include "drivetest/namespace_name.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "inventory/test_tree.h"

namespace drivetest {
namespace {

class NguidOf : public testing::Test {
 protected:
  NguidOf() {
    setenv("HVX_SYSFS_ROOT", tree_.root().c_str(), 1);
    tree_.file(folder_ + "model", "Example NVMe\n");
    tree_.file(folder_ + "nvme-subsystem", "");
  }
  ~NguidOf() override { unsetenv("HVX_SYSFS_ROOT"); }

  std::string name_of(const std::string& nguid) const {
    tree_.file(folder_ + "nvme0n1/nguid", nguid + "\n");
    return nguid_of({"/dev/nvme0", ""});
  }

  const inventory::TestTree tree_;
  const std::string folder_ = "/sys/class/nvme/nvme0/";
};

TEST_F(NguidOf, IsThatOfTheOnlyNamespace) {
  EXPECT_EQ(nguid_of({"/dev/nvme0", ""}), "");
  const std::string name = "nguid-0025385b71b0a7c10025385b71b0a7c1";
  EXPECT_EQ(name_of("0025385b-71b0-a7c1-0025-385b71b0a7c1"), name);
  tree_.remove(folder_ + "nvme0n1");
  tree_.file(folder_ + "nvme0c0n1/nguid", "0025385b-71b0-a7c1-0025-385b71b0a7c1\n");
  EXPECT_EQ(nguid_of({"/dev/nvme0", ""}), name);
  tree_.file(folder_ + "nvme0c0n2/nguid", "0025385b-71b0-a7c1-0025-385b71b0a7c2\n");
  EXPECT_EQ(nguid_of({"/dev/nvme0", ""}), "") << "the drive is neither of them";
}

TEST_F(NguidOf, IsNoneWhereTheKernelTellsNone) {
  EXPECT_EQ(name_of(""), "");
  EXPECT_EQ(name_of("00000000-0000-0000-0000-000000000000"), "");
  EXPECT_EQ(name_of("0025385b-71b0-a7c1"), "");
  EXPECT_EQ(name_of("0025385b-71b0-a7c1-0025-385b71b0a7cx"), "");
  EXPECT_EQ(nguid_of({"/dev/sda", ""}), "");
}

}  // namespace
}  // namespace drivetest

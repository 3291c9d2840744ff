#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "drivetest/history.h"

namespace drivetest {
namespace {

class BootTime : public testing::Test {
 protected:
  BootTime() { setenv("HVX_SYSFS_ROOT", root_.c_str(), 1); }
  ~BootTime() override {
    unsetenv("HVX_SYSFS_ROOT");
    std::filesystem::remove_all(root_);
  }
  void write_uptime(const std::string& text) const {
    std::filesystem::create_directories(root_ / "proc");
    std::ofstream(root_ / "proc/uptime") << text;
  }

  const std::filesystem::path root_ = testing::TempDir() + "hddtest_boot_time";
};

TEST_F(BootTime, IsAsLongAgoAsTheMachineIsUp) {
  write_uptime("3600.25 7000.00\n");
  const Time before = system_time();
  const std::optional<Time> booted = boot_time();
  ASSERT_TRUE(booted);
  EXPECT_GE(*booted, before - std::chrono::hours(1));
  EXPECT_LE(*booted, system_time() - std::chrono::hours(1));
}

TEST_F(BootTime, IsNotToldByWhatIsNoSuchFile) {
  EXPECT_FALSE(boot_time());
  for (const std::string text : {"", "-1", "x", "1e300"}) {
    write_uptime(text);
    EXPECT_FALSE(boot_time()) << text;
  }
}

}  // namespace
}  // namespace drivetest

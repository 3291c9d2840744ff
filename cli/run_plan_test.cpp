#include "cli/run_plan.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/fsuid.h>
#include <unistd.h>

namespace cli {
namespace {

namespace fs = std::filesystem;

std::vector<ListedDrive> drives() {
  return {{.device = "/dev/a", .reason = "", .smart = true},
          {.device = "/dev/b", .reason = "", .smart = false},
          {.device = "/dev/c", .reason = "USB", .smart = true, .left_out = "on USB"},
          {.device = "/dev/d", .reason = "", .smart = std::nullopt}};
}

TEST(PlanAll, TestsWhatDiscoveryOffers) {
  const std::vector<PlannedDrive> plan = plan_all(drives());
  ASSERT_EQ(plan.size(), 4U);
  EXPECT_EQ(plan[0].reason, std::nullopt);
  EXPECT_EQ(plan[1].reason, std::nullopt) << "what it is ready for is asked right before the test";
  EXPECT_EQ(plan[2].reason, "USB");
  EXPECT_EQ(plan[2].words, "on USB");
  EXPECT_EQ(plan[2].cause, "left-out");
  EXPECT_EQ(plan[3].reason, std::nullopt);
}

TEST(PlanNamed, DoesNotAskForSmart) {
  const std::vector<PlannedDrive> plan =
      plan_named({"/dev/b", "/dev/d", "/dev/c"}, {.start = "/"}, drives());
  ASSERT_EQ(plan.size(), 3U);
  EXPECT_EQ(plan[0].reason, std::nullopt);
  EXPECT_EQ(plan[1].reason, std::nullopt);
  EXPECT_EQ(plan[2].reason, "on USB; --force tests it all the same");
}

TEST(Plan, SaysThatHwinfoIsMissing) {
  const std::vector<ListedDrive> unknown = {{.device = "/dev/a", .reason = "hwinfo missing"}};
  const std::vector<PlannedDrive> all = plan_all(unknown);
  const std::vector<PlannedDrive> named = plan_named({"/dev/a"}, {.start = "/"}, unknown);
  for (const PlannedDrive& drive : {all.at(0), named.at(0)}) {
    EXPECT_TRUE(drive.reason->ends_with("install the package hwinfo")) << *drive.reason;
    EXPECT_EQ(drive.cause, "no-hwinfo");
  }
}

TEST(PlanNamed, FollowsLinks) {
  std::string folder = fs::temp_directory_path() / "run_plan.XXXXXX";
  ASSERT_TRUE(mkdtemp(folder.data()));
  fs::create_directory(fs::path(folder) / "dev");
  const std::string device = fs::canonical(folder) / "dev/a";
  fs::copy_file("/proc/self/comm", device);
  fs::create_symlink("dev/a", fs::path(folder) / "by-id");
  const std::vector<PlannedDrive> plan =
      plan_named({"by-id", "./dev/a"}, {.start = folder}, {{.device = device, .reason = ""}});
  fs::remove_all(folder);
  ASSERT_EQ(plan.size(), 1U) << "both names mean one drive";
  EXPECT_EQ(plan[0].name, "by-id");
  EXPECT_EQ(plan[0].device, device);
  EXPECT_EQ(plan[0].reason, std::nullopt);
}

TEST(PlanNamed, SaysWhatIsNoDrive) {
  const std::vector<PlannedDrive> plan = plan_named({"/dev/null", "none"}, {.start = "/"}, {});
  EXPECT_EQ(plan[0].reason, "not a block device; 'hddtest status' shows all");
  EXPECT_EQ(plan[1].reason, "there is no such drive; 'hddtest status' shows all");
}

TEST(PlanNamed, TakesNoSerialNumberForAFileThatMayNotBeSeen) {
  std::string folder = fs::temp_directory_path() / "run_plan.XXXXXX";
  ASSERT_TRUE(mkdtemp(folder.data()));
  fs::permissions(folder, fs::perms::none);
  // Only this thread's rights, and only those over files.
  constexpr uid_t kNobody = 65534;
  setfsuid(geteuid() == 0 ? kNobody : geteuid());
  const std::vector<PlannedDrive> plan =
      plan_named({"EX0001", "./sda", folder + "/sda"}, {.start = folder}, {});
  setfsuid(geteuid());
  fs::remove(folder);
  ASSERT_EQ(plan.size(), 3U);
  EXPECT_EQ(plan[0].cause, "no-device");
  EXPECT_EQ(plan[0].reason, "there is no such drive; 'hddtest status' shows all");
  for (const PlannedDrive& path : {plan[1], plan[2]}) EXPECT_EQ(path.cause, "no-permission");
}

TEST(PermissionAdvice, DoesNotSendRootToRoot) {
  EXPECT_TRUE(permission_advice(false).starts_with("run hddtest as root"));
  EXPECT_EQ(permission_advice(true).find("as root"), std::string::npos);
  EXPECT_NE(permission_advice(true).find("container or service"), std::string::npos);
}

TEST(PlanForced, PassesNamesOn) {
  const std::vector<PlannedDrive> plan = plan_forced({"./x", "-y", "./x"});
  ASSERT_EQ(plan.size(), 2U);
  EXPECT_EQ(plan[0].device, "./x");
  EXPECT_EQ(plan[1].device, "-y");
}

}  // namespace
}  // namespace cli

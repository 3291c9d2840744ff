// Built with the process runner in it, in a folder that has no helper program beside it, and with
// the build's helper as the installed one.
#include "platform/support/process_runner.h"
#include "platform/support/support_test.h"

namespace NKVRHVX20 {
namespace {

TEST(InstalledHelper, IsFoundWhereItWasConfigured) {
  const auto here = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  ASSERT_FALSE(std::filesystem::exists(here / "../libexec/hvx-run"));
  std::string output;
  EXPECT_EQ(run_program("sh", {"-c", "readlink /proc/$PPID/exe; exit 6"}, output, 60), 6);
  EXPECT_EQ(output, std::filesystem::canonical(HVX_RUN_INSTALLED).string() + "\n");
}

}  // namespace
}  // namespace NKVRHVX20

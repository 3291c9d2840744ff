// The process runner's helper program: where it is, and what happens without it.
#include <gmock/gmock.h>

#include "platform/support/process_runner_test.h"

namespace NKVRHVX20 {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;
namespace fs = std::filesystem;

// Copies of the libraries and the client, laid out as in the build but without the helper.
class HelperProgram : public testing::TestWithParam<SigchldArrangement> {
 protected:
  HelperProgram() {
    const fs::path client = SUPPORT_CLIENT;
    for (const char* name : {"lib", "test", "libexec"}) fs::create_directory(folder_ / name);
    fs::copy(client, folder_ / "test/client");
    for (const char* name : {"libhvxcore.so", "libovk_hvxcommon.so"})
      fs::copy(client.parent_path().parent_path() / "lib" / name, folder_ / "lib");
  }

  std::string run_client(const std::string& command) const {
    return shell("HVX_LOG_FILE=" + folder_ / "log" + " " + folder_ / "test/client" + " --sigchld " +
                 sigchld_names[static_cast<int>(GetParam())] + " run 20 " + command);
  }

  TemporaryFolder folder_;
};
INSTANTIATE_TEST_SUITE_P(Sigchld, HelperProgram, every_arrangement, arrangement_name);
INSTANTIATE_TEST_SUITE_P(Sigchld, ProcessRunner, every_arrangement, arrangement_name);

TEST_P(HelperProgram, BesideTheLibraryIsFound) {
  fs::copy(fs::path(SUPPORT_CLIENT).parent_path().parent_path() / "libexec/hvx-run",
           folder_ / "libexec");
  EXPECT_EQ(run_client("sh -c 'echo out; exit 3'"), "3\nout\n");
  EXPECT_FALSE(fs::exists(folder_ / "log"));
}

TEST_P(HelperProgram, MissingFailsEveryStartWithOneErrorLine) {
  if (fs::exists(HVX_RUN_INSTALLED)) GTEST_SKIP() << HVX_RUN_INSTALLED << " would be used";
  EXPECT_EQ(run_client("echo out"), "-1\n");
  EXPECT_EQ(run_client("echo out"), "-1\n");
  const auto line = MatchesRegex(
      "[^ ]+Z 0 [0-9]+ TOSSpecific::SpawnProcess -- cannot start " HVX_RUN_INSTALLED ": .*");
  EXPECT_THAT(lines_of(read_file(folder_ / "log")), ElementsAre(line, line));
}

TEST_P(HelperProgram, BrokenFailsEveryStartWithOneErrorLine) {
  write_file(folder_ / "libexec/hvx-run", "", 0644);
  EXPECT_EQ(run_client("echo out"), "-1\n");
  EXPECT_THAT(lines_of(read_file(folder_ / "log")),
              ElementsAre(MatchesRegex(".*Z 0 .*/libexec/hvx-run: Permission denied")));
}

TEST_P(HelperProgram, AMissingProgramIsNoFaultOfTheHelper) {
  EXPECT_EQ(run_client("no-program-has-this-name"), "-1\n");
  EXPECT_FALSE(fs::exists(folder_ / "log"));
}

// A helper that no longer answers, not even to its clock, is given up some time later.
// What stays of it is the host's, or init's after it; the fixture sees that nothing else does.
TEST_P(ProcessRunner, AStuckHelperIsGivenUp) {
  const auto [status, output] = run_script("echo $PPID; kill -STOP $PPID", 1);
  EXPECT_EQ(status, -1);
  ASSERT_FALSE(output.empty());
  const pid_t helper = std::stoi(output);
  EXPECT_FALSE(is_gone(helper));
  kill(helper, SIGKILL);
  EXPECT_TRUE(eventually([&] { return is_gone(helper); }));
  waitpid(helper, nullptr, 0);
}

}  // namespace
}  // namespace NKVRHVX20

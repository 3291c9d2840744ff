// The process runner's helper program: where it is, and what happens without it.
#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include "platform/descriptor.h"
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
                 kSigchldNames[static_cast<int>(GetParam())] + " run 20 " + command);
  }

  TemporaryFolder folder_;
};
INSTANTIATE_TEST_SUITE_P(Sigchld, HelperProgram, kEveryArrangement, arrangement_name);
INSTANTIATE_TEST_SUITE_P(Sigchld, ProcessRunner, kEveryArrangement, arrangement_name);

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
  EXPECT_THAT(lines_of(read_file(folder_ / "log")),
              ElementsAre(MatchesRegex(".*Z 0 .* -- cannot start no-program-has-this-name: .*")));
}

// A helper that no longer answers, not even to its clock, is given up some time later, and
// neither it nor the program stays.
TEST_P(ProcessRunner, AStuckHelperIsGivenUp) {
  const auto [status, output] = run_script("echo $PPID $$; kill -STOP $PPID; exec sleep 1000", 1);
  EXPECT_EQ(status, -1);
  ASSERT_FALSE(output.empty());
  const pid_t helper = std::stoi(output);
  const pid_t program = std::stoi(output.substr(output.find(' ')));
  EXPECT_TRUE(is_gone(helper));
  EXPECT_TRUE(eventually([&] { return is_gone(program); }));
}

// What "ls /proc/self/fd" prints when the helper runs it, started with a descriptor too many; the
// kernel may refuse to close a range of them, as those before 5.9 do.
std::string descriptors_of_a_program(bool kernel_closes_ranges) {
  const std::string helper =
      fs::path(SUPPORT_CLIENT).parent_path().parent_path() / "libexec/hvx-run";
  platform::Pipe output = platform::open_pipe();
  EXPECT_TRUE(output.read_end);
  const pid_t child = fork();
  if (child == 0) {
    dup2(output.write_end.get(), STDOUT_FILENO);
    for (const int extra : {3, 40}) dup2(STDIN_FILENO, extra);
    sock_filter rules[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                           BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_close_range, 0, 1),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const sock_fprog filter = {std::size(rules), rules};
    if (!kernel_closes_ranges && (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
                                  prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0))
      _exit(1);
    execl(helper.c_str(), "hvx-run", "60", "/bin/ls", "ls", "/proc/self/fd", nullptr);
    _exit(1);
  }
  output.write_end.close();
  std::string text;
  char buffer[256];
  ssize_t count = read(output.read_end.get(), buffer, sizeof buffer);
  while (count > 0) {
    text.append(buffer, static_cast<std::size_t>(count));
    count = read(output.read_end.get(), buffer, sizeof buffer);
  }
  waitpid(child, nullptr, 0);
  return text;
}

TEST(HelperProgramAlone, ClosesWhatItInheritsOnEveryKernel) {
  for (const bool kernel_closes_ranges : {true, false})
    EXPECT_EQ(descriptors_of_a_program(kernel_closes_ranges), "0\n1\n2\n3\n")
        << kernel_closes_ranges;
}

}  // namespace
}  // namespace NKVRHVX20

// The process runner under load: much output, many runs, many threads.
#include <sys/resource.h>

#include "platform/support/process_runner.h"
#include "platform/support/process_runner_test.h"

namespace NKVRHVX20 {
namespace {

INSTANTIATE_TEST_SUITE_P(Sigchld, ProcessRunner, kEveryArrangement, arrangement_name);

TEST_P(ProcessRunner, AHundredMegabytesArriveComplete) {
  const auto [status, output] = run_script("yes 123456789 | head -c 100000000; exit 5");
  EXPECT_EQ(status, 5);
  ASSERT_EQ(output.size(), 100'000'000u);
  for (std::size_t i = 0; i < output.size(); i += 10)
    ASSERT_EQ(output.compare(i, 10, "123456789\n"), 0) << i;
}

TEST_P(ProcessRunner, OutputWithoutEndIsATimeOut) {
  const auto [status, output] = run_script("cat /dev/zero; sleep 300");
  EXPECT_EQ(status, -1);
  EXPECT_EQ(output.size(), kOutputLimit);
  EXPECT_EQ(TOSSpecific::SpawnProcess("cat /dev/zero", 60), "");
}

TEST_P(ProcessRunner, OutputUpToTheLimitIsAccepted) {
  const std::string limit = std::to_string(kOutputLimit);
  const auto [status, output] = run("head", {"-c", limit, "/dev/zero"});
  EXPECT_EQ(status, 0);
  EXPECT_EQ(output.size(), kOutputLimit);
}

// TearDown finds what a thousand runs would leave.
TEST_P(ProcessRunner, AThousandRunsLeaveNothingBehind) {
  const rlimit few{64, 64};
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  rlimit lowered = before;
  lowered.rlim_cur = few.rlim_cur;
  setrlimit(RLIMIT_NOFILE, &lowered);
  for (int i = 0; i < 1000; ++i)
    ASSERT_EQ(run("echo", {std::to_string(i)}), Result(0, std::to_string(i) + "\n"));
  setrlimit(RLIMIT_NOFILE, &before);
}

TEST_P(ProcessRunner, SixteenThreadsRunAtOnce) {
  std::vector<std::thread> threads;
  std::vector<int> wrong(16);
  for (int thread = 0; thread < 16; ++thread)
    threads.emplace_back([thread, &wrong] {
      for (int i = 0; i < 25; ++i) {
        const int code = (thread * 25 + i) % 256;
        const std::string word = std::to_string(thread * 1000 + i);
        if (run_script("ls /proc/self/fd; echo " + word + "; exit " + std::to_string(code)) !=
            Result(code, "0\n1\n2\n3\n" + word + "\n"))
          ++wrong[thread];
      }
      if (run("sleep", {"300"}, 1).first != -1) ++wrong[thread];
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(16));
}

}  // namespace
}  // namespace NKVRHVX20

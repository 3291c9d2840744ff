// What the process runner keeps of a program's standard error.
#include "platform/support/process_runner_test.h"

namespace NKVRHVX20 {
namespace {

class ProcessErrors : public ProcessRunner {
 protected:
  struct Ended {
    int status = 0;
    std::string output;
    std::string errors = "what was there before";
  };
  static Ended run_script(const std::string& script) {
    Ended ended;
    ended.status = TOSSpecific::SpawnProcess("sh", {"-c", script}, ended.output, ended.errors, 60);
    return ended;
  }
};

INSTANTIATE_TEST_SUITE_P(Sigchld, ProcessErrors, kEveryArrangement, arrangement_name);

TEST_P(ProcessErrors, ComeApartFromTheOutput) {
  const Ended ended = run_script("echo one; echo two >&2; sh -c 'echo three >&2'; exit 5");
  EXPECT_EQ(ended.status, 5);
  EXPECT_EQ(ended.output, "one\n");
  EXPECT_EQ(ended.errors, "two\nthree\n");
  EXPECT_EQ(run_script("exit 0").errors, "");
}

TEST_P(ProcessErrors, BeyondTheirRoomAreLostAndHoldNobodyUp) {
  const Ended ended = run_script("head -c 1000000 /dev/zero | tr '\\0' x >&2; echo end");
  EXPECT_EQ(ended.output, "end\n");
  EXPECT_LE(ended.errors.size(), 65536U);
  EXPECT_EQ(ended.errors.find_first_not_of('x'), std::string::npos);
  EXPECT_FALSE(ended.errors.empty());
}

TEST_P(ProcessErrors, OfWhatCannotBeStartedAreNone) {
  Ended ended;
  ended.status =
      TOSSpecific::SpawnProcess("no-program-has-this-name", {}, ended.output, ended.errors, 60);
  EXPECT_EQ(ended.status, -1);
  EXPECT_EQ(ended.errors, "");
}

// A host with closed standard streams: the numbers that the program gets are free in it.
TEST_P(ProcessErrors, AreKeptInAHostWithClosedStreams) {
  const int in = dup(STDIN_FILENO);
  const int err = dup(STDERR_FILENO);
  close(STDIN_FILENO);
  close(STDERR_FILENO);
  const Ended ended = run_script("echo one; echo two >&2");
  dup2(in, STDIN_FILENO);
  dup2(err, STDERR_FILENO);
  close(in);
  close(err);
  EXPECT_EQ(ended.output, "one\n");
  EXPECT_EQ(ended.errors, "two\n");
}

}  // namespace
}  // namespace NKVRHVX20

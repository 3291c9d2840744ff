// What the process runner keeps of a program's standard error.
#include "platform/support/process_runner_test.h"

namespace NKVRHVX20 {
namespace {

class ProcessErrors : public ProcessRunner {
 protected:
  struct Result {
    int status = 0;
    std::string output;
    std::string errors = "what was there before";
  };
  static Result run_script(const std::string& script) {
    Result result;
    result.status =
        TOSSpecific::SpawnProcess("sh", {"-c", script}, result.output, result.errors, 60);
    return result;
  }
};

INSTANTIATE_TEST_SUITE_P(Sigchld, ProcessErrors, kEveryArrangement, arrangement_name);

TEST_P(ProcessErrors, ComeApartFromTheOutput) {
  const Result result = run_script("echo one; echo two >&2; sh -c 'echo three >&2'; exit 5");
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.output, "one\n");
  EXPECT_EQ(result.errors, "two\nthree\n");
  EXPECT_EQ(run_script("exit 0").errors, "");
}

TEST_P(ProcessErrors, BeyondTheirRoomAreLostAndHoldNobodyUp) {
  const Result result = run_script("head -c 1000000 /dev/zero | tr '\\0' x >&2; echo end");
  EXPECT_EQ(result.output, "end\n");
  EXPECT_LE(result.errors.size(), 65536U);
  EXPECT_EQ(result.errors.find_first_not_of('x'), std::string::npos);
  EXPECT_FALSE(result.errors.empty());
}

TEST_P(ProcessErrors, OfWhatCannotBeStartedAreNone) {
  Result result;
  result.status =
      TOSSpecific::SpawnProcess("no-program-has-this-name", {}, result.output, result.errors, 60);
  EXPECT_EQ(result.status, -1);
  EXPECT_EQ(result.errors, "");
}

// A host with closed standard streams: the numbers that the program gets are free in it.
TEST_P(ProcessErrors, AreKeptInAHostWithClosedStreams) {
  const int in = dup(STDIN_FILENO);
  const int err = dup(STDERR_FILENO);
  close(STDIN_FILENO);
  close(STDERR_FILENO);
  const Result result = run_script("echo one; echo two >&2");
  dup2(in, STDIN_FILENO);
  dup2(err, STDERR_FILENO);
  close(in);
  close(err);
  EXPECT_EQ(result.output, "one\n");
  EXPECT_EQ(result.errors, "two\n");
}

}  // namespace
}  // namespace NKVRHVX20

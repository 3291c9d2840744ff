// The fixture of the process runner's tests: every case runs under each way in which a host may
// treat SIGCHLD, and leaves neither child nor descriptor behind.
#pragma once

#include <utility>

#include "platform/support/osspecific.h"
#include "platform/support/sigchld.h"
#include "platform/support/support_test.h"

namespace NKVRHVX20 {

class ProcessRunner : public testing::TestWithParam<SigchldArrangement> {
 protected:
  void SetUp() override {
    before_ = arrange_sigchld(GetParam());
    descriptors_ = open_descriptors();
  }

  void TearDown() override {
    EXPECT_TRUE(eventually([] { return children_of_this_process().empty(); }));
    EXPECT_EQ(open_descriptors(), descriptors_);
    sigaction(SIGCHLD, &before_, nullptr);
  }

  // What a run gave: status and output.
  using Result = std::pair<int, std::string>;

  static Result run(const std::string& program, const std::vector<std::string>& arguments,
                    int seconds = 60) {
    std::string output = "what was there before";
    const int status = TOSSpecific::SpawnProcess(program, arguments, output, seconds);
    return {status, output};
  }
  static Result run_script(const std::string& script, int seconds = 60) {
    return run("sh", {"-c", script}, seconds);
  }

 private:
  struct sigaction before_ {};
  std::size_t descriptors_ = 0;
};

inline const auto kEveryArrangement =
    testing::Values(SigchldArrangement::Standard, SigchldArrangement::Ignored,
                    SigchldArrangement::NoChildWait, SigchldArrangement::ReapingHandler);

inline std::string arrangement_name(const testing::TestParamInfo<SigchldArrangement>& info) {
  return kSigchldNames[static_cast<int>(info.param)];
}

}  // namespace NKVRHVX20

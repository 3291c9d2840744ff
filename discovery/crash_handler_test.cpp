// Object managers have crash handlers of their own, which answer the client's request. In the
// probe's child, a copy of such a process, they must not act.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <new>

#include "discovery/probe.h"

namespace discovery {
namespace {

// What a child that has a copy of the process can still tell it.
struct Shared {
  volatile sig_atomic_t read = 0;
  volatile sig_atomic_t handled = 0;
};
Shared* shared;

void handler(int) {
  shared->handled = 1;
  _exit(0);
}
void die(const void* signal) {
  shared->read = 1;
  raise(*static_cast<const int*>(signal));
}

class CrashHandler : public testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    void* const memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    shared = new (memory) Shared;
    before_ = signal(GetParam(), handler);
  }
  void TearDown() override {
    signal(GetParam(), before_);
    munmap(shared, sizeof(Shared));
  }
  sighandler_t before_ = SIG_DFL;
};
INSTANTIATE_TEST_SUITE_P(Signals, CrashHandler,
                         testing::Values(SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT));

TEST_P(CrashHandler, OfTheHostDoesNotActInTheChild) {
  const int signal = GetParam();
  EXPECT_EQ(probe(die, &signal), Probe::Killed);
  EXPECT_EQ(shared->read, 1);
  EXPECT_EQ(shared->handled, 0);
}

}  // namespace
}  // namespace discovery

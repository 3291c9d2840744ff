// The probe's child before it reads, and when it ends.
#include "discovery/probe.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iterator>
#include <new>

namespace discovery {
namespace {

constexpr int fatal_signals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGALRM};

// What a child that has a copy of the process can still tell it.
struct Told {
  int readings = 0;
  int ends = 0;
  unsigned seconds_left = 0;
  rlimit core = {};
  int default_actions = 0;
  bool alarm_is_blocked = true;
};
Told* told = nullptr;

void note_the_end() {
  if (told) ++told->ends;
}
void host_handler(int) { _exit(0); }

void tell(const void*) {
  ++told->readings;
  told->seconds_left = alarm(0);
  getrlimit(RLIMIT_CORE, &told->core);
  for (const int number : fatal_signals) {
    struct sigaction action;
    sigaction(number, nullptr, &action);
    told->default_actions += action.sa_handler == SIG_DFL;
  }
  sigset_t blocked;
  sigprocmask(SIG_BLOCK, nullptr, &blocked);
  told->alarm_is_blocked = sigismember(&blocked, SIGALRM) == 1;
}
void die(const void*) { raise(SIGKILL); }
void fail(const void*) { throw std::bad_alloc(); }
// As long as the child is given, only sooner.
void hang(const void*) {
  alarm(1);
  while (true) pause();
}

// A host that has handlers, core dumps and, on this thread, no alarms.
class ProbeChild : public testing::Test {
 protected:
  void SetUp() override {
    static const int registered = std::atexit(note_the_end);
    ASSERT_EQ(registered, 0);
    void* const memory =
        mmap(nullptr, sizeof(Told), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    told = new (memory) Told;
    for (std::size_t i = 0; i < std::size(fatal_signals); ++i)
      handlers_[i] = signal(fatal_signals[i], host_handler);
    getrlimit(RLIMIT_CORE, &core_);
    const rlimit all = {core_.rlim_max, core_.rlim_max};
    setrlimit(RLIMIT_CORE, &all);
    sigset_t alarm_only;
    sigemptyset(&alarm_only);
    sigaddset(&alarm_only, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm_only, &mask_);
  }
  void TearDown() override {
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    setrlimit(RLIMIT_CORE, &core_);
    for (std::size_t i = 0; i < std::size(fatal_signals); ++i)
      signal(fatal_signals[i], handlers_[i]);
    munmap(told, sizeof(Told));
    told = nullptr;
  }

 private:
  sighandler_t handlers_[std::size(fatal_signals)];
  rlimit core_;
  sigset_t mask_;
};

TEST_F(ProbeChild, HasTenSecondsNoCoreAndDefaultSignalsBeforeItReads) {
  EXPECT_EQ(probe(tell, nullptr), Probe::survived);
  EXPECT_EQ(told->readings, 1);
  EXPECT_LE(told->seconds_left, 10u);
  EXPECT_GT(told->seconds_left, 5u);
  EXPECT_EQ(told->core.rlim_cur, 0u);
  EXPECT_EQ(told->core.rlim_max, 0u);
  EXPECT_EQ(told->default_actions, static_cast<int>(std::size(fatal_signals)));
  EXPECT_FALSE(told->alarm_is_blocked);
}

TEST_F(ProbeChild, LeavesTheHostsArrangementsAlone) {
  EXPECT_EQ(probe(tell, nullptr), Probe::survived);
  rlimit core;
  getrlimit(RLIMIT_CORE, &core);
  EXPECT_EQ(core.rlim_cur, core.rlim_max);
  for (const int number : fatal_signals) {
    struct sigaction action;
    sigaction(number, nullptr, &action);
    EXPECT_EQ(action.sa_handler, host_handler) << number;
  }
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  EXPECT_EQ(sigismember(&blocked, SIGALRM), 1);
  EXPECT_EQ(alarm(0), 0u);
}

TEST_F(ProbeChild, ThatHangsIsEndedOnAThreadWithoutAlarmsToo) {
  EXPECT_EQ(probe(hang, nullptr), Probe::killed);
  EXPECT_EQ(told->ends, 0);
}

// Kept on purpose: an object manager's exit handlers act once more in every child.
TEST_F(ProbeChild, RunsTheHostsExitHandlersUnlessItIsKilled) {
  EXPECT_EQ(probe(tell, nullptr), Probe::survived);
  EXPECT_EQ(told->ends, 1);
  EXPECT_EQ(probe(die, nullptr), Probe::killed);
  EXPECT_EQ(told->ends, 1);
}

// It would answer the client a second time. Only a signal tells of a broken device.
TEST_F(ProbeChild, WhoseReadingThrowsEndsThereAsWell) {
  EXPECT_EQ(probe(fail, nullptr), Probe::survived);
  EXPECT_EQ(told->ends, 1);
}

}  // namespace
}  // namespace discovery

// The probe's child before it reads, and when it ends.
#include "discovery/probe.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iterator>
#include <new>

namespace discovery {
namespace {

// The C library's function behind one that this program has of its own.
template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGALRM};

// What a child that has a copy of the process can still tell it.
struct Told {
  int readings = 0;
  int ends = 0;
  bool ends_hang = false;     // in the exit handler
  int end_signal = 0;         // that the exit handler dies of
  long end_microseconds = 0;  // that the child gives itself
  unsigned seconds_left = 0;
  rlimit core = {};
  int is_dumpable = -1;
  int end_with_host = 0;  // the signal
  int default_actions = 0;
  bool alarm_is_blocked = true;
};
Told* told = nullptr;
int wait_status = -1;  // of the last child

// As one that waits for a thread of the host, or cannot do without it.
void note_the_end() {
  if (!told) return;
  ++told->ends;
  if (told->end_signal == SIGABRT) abort();
  if (told->end_signal == SIGILL) __builtin_trap();  // no thread can block that one
  if (told->end_signal != 0) raise(told->end_signal);
  while (told->ends_hang) pause();
}
void host_handler(int) { _exit(0); }

void tell(const void*) {
  ++told->readings;
  told->seconds_left = alarm(0);
  getrlimit(RLIMIT_CORE, &told->core);
  told->is_dumpable = prctl(PR_GET_DUMPABLE);
  prctl(PR_GET_PDEATHSIG, &told->end_with_host);
  for (const int number : kFatalSignals) {
    struct sigaction action;
    sigaction(number, nullptr, &action);
    told->default_actions += action.sa_handler == SIG_DFL;
  }
  sigset_t blocked;
  sigprocmask(SIG_BLOCK, nullptr, &blocked);
  told->alarm_is_blocked = sigismember(&blocked, SIGALRM) == 1;
}
void read_well(const void*) { ++told->readings; }
void die(const void*) { raise(SIGKILL); }
void fail(const void*) { throw std::bad_alloc(); }
// As long as the child is given, only sooner.
void hang(const void*) {
  alarm(1);
  while (true) pause();
}

}  // namespace
}  // namespace discovery

extern "C" {
pid_t waitpid(pid_t pid, int* status, int options) {
  const auto original = discovery::next<pid_t(pid_t, int*, int)>("waitpid");
  const pid_t ended = original(pid, status, options);
  discovery::wait_status = *status;
  return ended;
}
// A busy machine may take longer for the exit handlers than the child has: it gets enough here, but
// where it waits for nothing else.
int setitimer(__itimer_which_t which, const itimerval* value, itimerval* old) noexcept {
  const auto original =
      discovery::next<int(__itimer_which_t, const itimerval*, itimerval*)>("setitimer");
  itimerval time = *value;
  if (discovery::told) {
    discovery::told->end_microseconds = time.it_value.tv_sec * 1000000 + time.it_value.tv_usec;
    if (!discovery::told->ends_hang) time.it_value.tv_sec += 100;
  }
  return original(which, &time, old);
}
}

namespace discovery {
namespace {

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
    wait_status = -1;
    for (std::size_t i = 0; i < std::size(kFatalSignals); ++i)
      handlers_[i] = signal(kFatalSignals[i], host_handler);
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
    for (std::size_t i = 0; i < std::size(kFatalSignals); ++i)
      signal(kFatalSignals[i], handlers_[i]);
    munmap(told, sizeof(Told));
    told = nullptr;
  }

 private:
  sighandler_t handlers_[std::size(kFatalSignals)];
  rlimit core_;
  sigset_t mask_;
};

TEST_F(ProbeChild, HasTenSecondsNoCoreAndDefaultSignalsBeforeItReads) {
  EXPECT_EQ(probe(tell, nullptr), Probe::Survived);
  EXPECT_EQ(told->readings, 1);
  EXPECT_LE(told->seconds_left, 10u);
  EXPECT_GT(told->seconds_left, 5u);
  EXPECT_EQ(told->core.rlim_cur, 0u);
  EXPECT_EQ(told->core.rlim_max, 0u);
  EXPECT_EQ(told->end_with_host, SIGKILL);
  EXPECT_EQ(told->is_dumpable, 0) << "the limit does not count where a program takes the cores";
  EXPECT_EQ(told->default_actions, static_cast<int>(std::size(kFatalSignals)));
  EXPECT_FALSE(told->alarm_is_blocked);
}

TEST_F(ProbeChild, LeavesTheHostsArrangementsAlone) {
  EXPECT_EQ(probe(tell, nullptr), Probe::Survived);
  rlimit core;
  getrlimit(RLIMIT_CORE, &core);
  EXPECT_EQ(core.rlim_cur, core.rlim_max);
  EXPECT_EQ(prctl(PR_GET_DUMPABLE), 1);
  for (const int number : kFatalSignals) {
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
  EXPECT_EQ(probe(hang, nullptr), Probe::Killed);
  EXPECT_EQ(told->ends, 0);
}

// Kept on purpose: an object manager's exit handlers act once more in every child.
TEST_F(ProbeChild, RunsTheHostsExitHandlersUnlessItIsKilled) {
  EXPECT_EQ(probe(tell, nullptr), Probe::Survived);
  EXPECT_EQ(told->ends, 1);
  EXPECT_EQ(wait_status, 0);
  EXPECT_EQ(probe(die, nullptr), Probe::Killed);
  EXPECT_EQ(told->ends, 1);
}

// OpenPegasus has such handlers where providers run in the server itself.
TEST_F(ProbeChild, HasATenthOfASecondForExitHandlersThatHang) {
  told->ends_hang = true;
  EXPECT_EQ(probe(read_well, nullptr), Probe::Survived);
  EXPECT_EQ(told->readings, 1);
  EXPECT_EQ(told->ends, 1);
  EXPECT_EQ(wait_status, 0);
  EXPECT_EQ(told->end_microseconds, 100000);
}

// As where a static object holds a thread that goes on: std::terminate.
TEST_F(ProbeChild, HasReadWhateverTheExitHandlersDieOf) {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
  for (const int number : kFatalSignals) {
    told->end_signal = number;
    told->ends = 0;
    EXPECT_EQ(probe(read_well, nullptr), Probe::Survived) << number;
    EXPECT_EQ(told->ends, 1) << number;
    EXPECT_EQ(wait_status, 0) << number;
  }
}

// It would answer the client a second time. Only a signal tells of a broken device.
TEST_F(ProbeChild, WhoseReadingThrowsEndsThereAsWell) {
  EXPECT_EQ(probe(fail, nullptr), Probe::Survived);
  EXPECT_EQ(told->ends, 1);
  EXPECT_EQ(wait_status, 0);
}

}  // namespace
}  // namespace discovery

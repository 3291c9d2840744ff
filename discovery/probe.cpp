#include "discovery/probe.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace discovery {

namespace {

constexpr unsigned kReadingSeconds = 10;
constexpr suseconds_t kEndingMicroseconds = 100000;

// The signals that end a child whose reading fails or does not end.
constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGALRM};

// The thread that forked may have blocked these signals. Then a stuck child would never end, and
// its parent would wait for it for ever.
void take_fatal_signals(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  sigset_t all;
  sigemptyset(&all);
  for (const int number : kFatalSignals) {
    sigaction(number, &action, nullptr);
    sigaddset(&all, number);
  }
  sigprocmask(SIG_UNBLOCK, &all, nullptr);
}

void arrange_reading() {
  // The child holds everything that the host has open, ports too. It must not outlive the host, not
  // even when somebody has stopped it.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  take_fatal_signals(SIG_DFL);
  alarm(kReadingSeconds);
  const rlimit no_core = {0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
  // Where the kernel hands cores to a program it does so whatever the limit. That program would be
  // given the whole object manager while the client waits.
  prctl(PR_SET_DUMPABLE, 0);
}

// The device has been read. An exit handler of the host may wait for a thread that a copy of the
// process does not have, or fail without it. That says nothing of the device, so the child ends as
// one that has read.
[[noreturn]] void end() {
  take_fatal_signals([](int) { _exit(0); });
  const itimerval soon = {{0, 0}, {0, kEndingMicroseconds}};
  setitimer(ITIMER_REAL, &soon, nullptr);
  exit(0);
}

}  // namespace

Probe probe(void (*read)(const void* what), const void* what) {
  const pid_t child = fork();
  if (child < 0) return Probe::NotForked;
  if (child == 0) {
    arrange_reading();
    try {
      read(what);
    } catch (...) {
      // Out of memory. The exception must not leave this function: the child would go on as a
      // second object manager, and answer the client too.
    }
    end();
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno == EINTR) continue;
    return Probe::Survived;  // somebody else has reaped it; only a signal that was seen counts
  }
  return (status & 0x7f) != 0 ? Probe::Killed : Probe::Survived;
}

}  // namespace discovery

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

constexpr unsigned reading_seconds = 10;
constexpr suseconds_t ending_microseconds = 100000;

// What a child may end by that reads what cannot be read, or never comes to an end of it.
constexpr int fatal_signals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGALRM};

// The thread that forked may have blocked them: a stuck child would be waited for for good.
void take_fatal_signals(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  sigset_t all;
  sigemptyset(&all);
  for (const int number : fatal_signals) {
    sigaction(number, &action, nullptr);
    sigaddset(&all, number);
  }
  sigprocmask(SIG_UNBLOCK, &all, nullptr);
}

void arrange_reading() {
  // It has all that the host has open, ports too, and one that was stopped would keep them.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  take_fatal_signals(SIG_DFL);
  alarm(reading_seconds);
  const rlimit no_core = {0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
  // The limit does not count where the kernel hands cores to a program, which would be given the
  // whole object manager while the client waits.
  prctl(PR_SET_DUMPABLE, 0);
}

// The device has been read. An exit handler of the host may wait here for a thread that a copy of
// the process does not have, or fail without it; that tells nothing of the device.
[[noreturn]] void end() {
  take_fatal_signals([](int) { _exit(0); });
  const itimerval soon = {{0, 0}, {0, ending_microseconds}};
  setitimer(ITIMER_REAL, &soon, nullptr);
  exit(0);
}

}  // namespace

Probe probe(void (*read)(const void* what), const void* what) {
  const pid_t child = fork();
  if (child < 0) return Probe::not_forked;
  if (child == 0) {
    arrange_reading();
    try {
      read(what);
    } catch (...) {
      // Out of memory: it must not get out of here, or the child would answer the client too.
    }
    end();
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno == EINTR) continue;
    return Probe::survived;  // somebody else has reaped it: only a seen signal counts
  }
  return (status & 0x7f) != 0 ? Probe::killed : Probe::survived;
}

}  // namespace discovery

#include "discovery/probe.h"

#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <initializer_list>

namespace discovery {

namespace {

constexpr unsigned reading_seconds = 10;
constexpr suseconds_t ending_microseconds = 100000;

void arrange_reading() {
  for (const int number : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGALRM})
    signal(number, SIG_DFL);
  // The thread that forked may have blocked it, and a stuck child would be waited for for good.
  sigset_t alarm_only;
  sigemptyset(&alarm_only);
  sigaddset(&alarm_only, SIGALRM);
  sigprocmask(SIG_UNBLOCK, &alarm_only, nullptr);
  alarm(reading_seconds);
  const rlimit no_core = {0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
}

// The device has been read. An exit handler of the host may wait here for a thread that a copy of
// the process does not have; that tells nothing of the device.
[[noreturn]] void end() {
  struct sigaction leave = {};
  leave.sa_handler = [](int) { _exit(0); };
  sigaction(SIGALRM, &leave, nullptr);
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

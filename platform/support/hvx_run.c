/* hvx-run: runs one program for the process runner of the support library; see hvx_run.h.
 *
 * A process of its own, because the runner works inside object managers whose handling of
 * SIGCHLD it can neither know nor change: here, waiting for a child always works. Linked
 * statically, so that nothing of the host's environment can put a library into it.
 */
#define _GNU_SOURCE
#include "platform/support/hvx_run.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

/* A killed process that is stuck in the kernel, in a drive's command for instance, is not waited
 * for longer than this. */
static const int64_t kGroupEndLimit = 1000000000; /* nanoseconds */

static int child_ends; /* readable when a child has ended */

static int64_t now(void) {
  struct timespec time = {0, 0};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return (int64_t)time.tv_sec * 1000000000 + time.tv_nsec;
}

/* Waits for a child's end, for the deadline or, if asked for, for the loss of the output's
 * reader; returns 0 in the last two cases. May return 1 early. */
static int wait_until(int64_t deadline, int watch_output) {
  struct pollfd events[2] = {{.fd = child_ends, .events = POLLIN}, {.fd = STDOUT_FILENO}};
  const int64_t left = deadline - now();
  if (left <= 0) return 0;
  const struct timespec limit = {.tv_sec = left / 1000000000, .tv_nsec = left % 1000000000};
  if (ppoll(events, watch_output ? 2 : 1, &limit, NULL) <= 0) return 1;
  if (events[0].revents != 0) {
    struct signalfd_siginfo child;
    if (read(child_ends, &child, sizeof child) < 0) return 1;
  }
  return events[1].revents == 0;
}

/* Starts the program by its arguments (the file, then its argument vector); returns its process id,
 * or 0 with the error number. The child shares our memory, so this process stands still until the
 * program runs. */
static pid_t start(char** arguments, int* error) {
  volatile int child_error = 0;
  sigset_t none;
  sigemptyset(&none);
  /* NOLINTBEGIN(clang-analyzer-security.insecureAPI.vfork, clang-analyzer-unix.Vfork): what the
   * child calls before the program runs changes nothing of ours but child_error. */
  const pid_t program = vfork();
  if (program == 0) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL); /* should someone kill us */
    sigprocmask(SIG_SETMASK, &none, NULL);
    execve(arguments[0], arguments + 1, environ);
    child_error = errno;
    _exit(127);
  }
  /* NOLINTEND(clang-analyzer-security.insecureAPI.vfork, clang-analyzer-unix.Vfork) */
  *error = program < 0 ? errno : child_error;
  return program < 0 ? 0 : program;
}

/* Looks at the program without reaping it: its process id stays taken, so that killing the group
 * of that number hits no stranger. */
static struct hvx_report watch(pid_t program, int64_t deadline) {
  for (;;) {
    siginfo_t end = {.si_pid = 0};
    waitid(P_PID, (id_t)program, &end, WEXITED | WNOHANG | WNOWAIT);
    if (end.si_pid != 0)
      return (struct hvx_report){end.si_code == CLD_EXITED ? HVX_EXITED : HVX_SIGNALLED,
                                 end.si_status};
    if (!wait_until(deadline, 1)) return (struct hvx_report){HVX_STOPPED, 0};
  }
}

static void end_group(pid_t group) {
  const int64_t deadline = now() + kGroupEndLimit;
  kill(-group, SIGKILL);
  for (;;) {
    const pid_t ended = waitpid(-group, NULL, WNOHANG);
    if (ended < 0) return; /* none left */
    if (ended == 0 && !wait_until(deadline, 0)) return;
  }
}

/* Kernels before 5.9 cannot close a range. */
static void close_from(unsigned int first) {
  if (close_range(first, ~0U, 0) == 0) return;
  struct rlimit limit = {.rlim_cur = 0};
  getrlimit(RLIMIT_NOFILE, &limit);
  for (; first < limit.rlim_cur; ++first) close((int)first);
}

/* The C library keeps two signals for itself, which spawning may leave ignored, and refuses to set
 * them, so the kernel is called directly. */
static void reset_library_signals(void) {
  static const struct {
    void* handler;
    unsigned long flags;
    void* restorer;
    uint64_t mask;
  } standard;
  for (int signal = 32; signal <= 33; ++signal)
    syscall(SYS_rt_sigaction, signal, &standard, NULL, sizeof standard.mask);
}

/* A descriptor that is readable when a child has ended; negative where there can be none. SIGHUP is
 * blocked too: the kernel sends it to a stopped helper that loses its runner, and wakes it. The
 * helper then ends the group instead of dying. */
static int open_child_ends(void) {
  sigset_t blocked;
  sigset_t ended;
  sigemptyset(&ended);
  sigaddset(&ended, SIGCHLD);
  blocked = ended;
  sigaddset(&blocked, SIGHUP);
  sigprocmask(SIG_SETMASK, &blocked, NULL);
  return signalfd(-1, &ended, SFD_CLOEXEC | SFD_NONBLOCK);
}

int main(int count, char** arguments) {
  if (count < 4) return 2;
  const int64_t deadline = now() + (int64_t)strtol(arguments[1], NULL, 10) * 1000000000;

  close_from(HVX_REPORT_DESCRIPTOR + 1);
  fcntl(HVX_REPORT_DESCRIPTOR, F_SETFD, FD_CLOEXEC);
  /* Members of the group that lose their parent become ours. */
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  reset_library_signals();

  struct hvx_report report = {HVX_NOT_STARTED, 0};
  pid_t program = 0;
  int error = 0;
  child_ends = open_child_ends();
  if (child_ends < 0) error = errno; /* nobody would see the program's end */
  if (error == 0) program = start(arguments + 2, &error);
  if (error == 0) report = watch(program, deadline);
  if (error != 0) report.value = error;
  if (program > 0) end_group(program);
  /* Not exit(), which would write what a buffer held: there is none. */
  _exit(write(HVX_REPORT_DESCRIPTOR, &report, sizeof report) != sizeof report);
}

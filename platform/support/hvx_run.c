/* hvx-run: runs one program for the process runner of the support library; see hvx_run.h.
 *
 * A process of its own, because the runner works inside object managers whose handling of
 * SIGCHLD it can neither know nor change: here, waiting for a child always works. Small, static
 * and without buffers, because it is started for every single run.
 */
#define _GNU_SOURCE
#include "platform/support/hvx_run.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

/* A killed process that is stuck in the kernel, in a drive's command for instance, is not waited
 * for longer than this. */
static const int64_t group_end_limit = 1000000000; /* nanoseconds */

static sigset_t no_signals;

static void on_child(int number) { (void)number; /* its arrival ends ppoll */ }

static int64_t now(void) {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return (int64_t)time.tv_sec * 1000000000 + time.tv_nsec;
}

/* Waits for a child's end, for the deadline or, if asked for, for the loss of the output's
 * reader; returns 0 in the last two cases. May return 1 early. */
static int wait_until(int64_t deadline, nfds_t watched) {
  struct pollfd output = {.fd = STDOUT_FILENO};
  const int64_t left = deadline - now();
  if (left <= 0) return 0;
  const struct timespec limit = {.tv_sec = left / 1000000000, .tv_nsec = left % 1000000000};
  return ppoll(&output, watched, &limit, &no_signals) <= 0;
}

/* Only async-signal-safe calls up to exec: the child borrows our memory. */
static pid_t start(char** arguments, int* error) {
  volatile int failure = 0;
  const pid_t program = vfork();
  if (program == 0) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL); /* should someone kill us */
    sigprocmask(SIG_SETMASK, &no_signals, NULL);
    execv(arguments[0], arguments + 1);
    failure = errno;
    _exit(127);
  }
  *error = program < 0 ? errno : failure;
  return program;
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
  const int64_t deadline = now() + group_end_limit;
  kill(-group, SIGKILL);
  for (;;) {
    const pid_t ended = waitpid(-group, NULL, WNOHANG);
    if (ended < 0) return; /* none left */
    if (ended == 0 && !wait_until(deadline, 0)) return;
  }
}

/* The C library keeps two signals for itself, which spawning may leave ignored. It also refuses
 * to set them, so the kernel is asked. */
static void reset_library_signals(void) {
  struct {
    void* handler;
    unsigned long flags;
    void* restorer;
    uint64_t mask;
  } standard = {0};
  syscall(SYS_rt_sigaction, 32, &standard, NULL, sizeof standard.mask);
  syscall(SYS_rt_sigaction, 33, &standard, NULL, sizeof standard.mask);
}

int main(int count, char** arguments) {
  if (count < 4) return 2;
  const int64_t deadline = now() + strtoll(arguments[1], NULL, 10) * 1000000000;

  closefrom(HVX_REPORT_DESCRIPTOR + 1);
  fcntl(HVX_REPORT_DESCRIPTOR, F_SETFD, FD_CLOEXEC);
  prctl(PR_SET_CHILD_SUBREAPER, 1); /* members of the group that lose their parent become ours */
  reset_library_signals();

  sigset_t child;
  const struct sigaction action = {.sa_handler = on_child};
  sigemptyset(&no_signals);
  sigemptyset(&child);
  sigaddset(&child, SIGCHLD);
  sigprocmask(SIG_BLOCK, &child, NULL);
  sigaction(SIGCHLD, &action, NULL);

  struct hvx_report report = {HVX_NOT_STARTED, 0};
  int error = 0;
  const pid_t program = start(arguments + 2, &error);
  if (error == 0) report = watch(program, deadline);
  report.value = error != 0 ? error : report.value;
  if (program > 0) end_group(program);
  const ssize_t sent = write(HVX_REPORT_DESCRIPTOR, &report, sizeof report);
  _exit(sent == sizeof report ? 0 : 1);
}

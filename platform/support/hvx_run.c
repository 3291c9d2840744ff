/* hvx-run: runs one program for the process runner of the support library; see hvx_run.h.
 *
 * A process of its own, because the runner works inside object managers whose handling of
 * SIGCHLD it can neither know nor change: here, waiting for a child always works. It is started
 * for every single run, so it does without the C library: that examines the processor at every
 * start, which takes several times as long as all that is done here, most of all in a virtual
 * machine.
 */
#define _GNU_SOURCE
#include "platform/support/hvx_run.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "platform/support/system_call.h"

/* A killed process that is stuck in the kernel, in a drive's command for instance, is not waited
 * for longer than this. */
static const int64_t group_end_limit = 1000000000; /* nanoseconds */

/* Signal sets as the kernel has them. */
static const uint64_t no_signals = 0;
static const uint64_t child_signal = UINT64_C(1) << (SIGCHLD - 1);
/* The kernel sends SIGHUP to a stopped helper that loses its runner, and wakes it: it is to end the
 * group then, not to leave it alone. */
static const uint64_t blocked_signals = UINT64_C(1) << (SIGCHLD - 1) | UINT64_C(1) << (SIGHUP - 1);

static int child_ends; /* readable when a child has ended */

static void leave(int status) {
  for (;;) system_call(SYS_exit_group, status, 0, 0, 0, 0);
}

static int64_t now(void) {
  struct timespec time = {0, 0};
  system_call(SYS_clock_gettime, CLOCK_MONOTONIC, (long)&time, 0, 0, 0);
  return (int64_t)time.tv_sec * 1000000000 + time.tv_nsec;
}

static int64_t number_of(const char* digits) {
  int64_t number = 0;
  for (; *digits >= '0' && *digits <= '9' && number < INT32_MAX; ++digits)
    number = number * 10 + (*digits - '0');
  return number < INT32_MAX ? number : INT32_MAX;
}

/* Waits for a child's end, for the deadline or, if asked for, for the loss of the output's
 * reader; returns 0 in the last two cases. May return 1 early. */
static int wait_until(int64_t deadline, int watch_output) {
  struct pollfd events[2] = {{.fd = child_ends, .events = POLLIN}, {.fd = STDOUT_FILENO}};
  const int64_t left = deadline - now();
  if (left <= 0) return 0;
  struct timespec limit = {.tv_sec = left / 1000000000, .tv_nsec = left % 1000000000};
  if (system_call(SYS_ppoll, (long)events, watch_output ? 2 : 1, (long)&limit, 0, 0) <= 0) return 1;
  if (events[0].revents != 0) {
    struct signalfd_siginfo child;
    system_call(SYS_read, child_ends, (long)&child, sizeof child, 0, 0);
  }
  return events[1].revents == 0;
}

struct plan {
  char** arguments;
  char** environment;
  long error;
};

static void become_program(void* data) {
  struct plan* const plan = data;
  system_call(SYS_setpgid, 0, 0, 0, 0, 0);
  system_call(SYS_prctl, PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0); /* should someone kill us */
  system_call(SYS_rt_sigprocmask, SIG_SETMASK, (long)&no_signals, 0, sizeof no_signals, 0);
  plan->error = -system_call(SYS_execve, (long)plan->arguments[0], (long)(plan->arguments + 1),
                             (long)plan->environment, 0, 0);
  leave(127);
}

static pid_t start(struct plan* plan) {
  static _Alignas(16) char stack[4096];
  const long program =
      start_child(CLONE_VM | CLONE_VFORK | SIGCHLD, stack + sizeof stack, become_program, plan);
  if (program < 0) plan->error = -program;
  return (pid_t)program;
}

/* Looks at the program without reaping it: its process id stays taken, so that killing the group
 * of that number hits no stranger. */
static struct hvx_report watch(pid_t program, int64_t deadline) {
  for (;;) {
    siginfo_t end;
    end.si_pid = 0;
    system_call(SYS_waitid, P_PID, program, (long)&end, WEXITED | WNOHANG | WNOWAIT, 0);
    if (end.si_pid != 0)
      return (struct hvx_report){end.si_code == CLD_EXITED ? HVX_EXITED : HVX_SIGNALLED,
                                 end.si_status};
    if (!wait_until(deadline, 1)) return (struct hvx_report){HVX_STOPPED, 0};
  }
}

static void end_group(pid_t group) {
  const int64_t deadline = now() + group_end_limit;
  system_call(SYS_kill, -group, SIGKILL, 0, 0, 0);
  for (;;) {
    const long ended = system_call(SYS_wait4, -group, 0, WNOHANG, 0, 0);
    if (ended < 0) return; /* none left */
    if (ended == 0 && !wait_until(deadline, 0)) return;
  }
}

/* Kernels before 5.9 cannot close a range. */
static void close_from(unsigned int first) {
  if (system_call(SYS_close_range, first, ~0U, 0, 0, 0) == 0) return;
  struct rlimit limit = {.rlim_cur = 0};
  system_call(SYS_prlimit64, 0, RLIMIT_NOFILE, 0, (long)&limit, 0);
  for (; first < limit.rlim_cur; ++first) system_call(SYS_close, first, 0, 0, 0, 0);
}

/* The C library keeps two signals for itself, which spawning may leave ignored. It also refuses
 * to set them. */
static void reset_library_signals(void) {
  static const struct {
    void* handler;
    unsigned long flags;
    void* restorer;
    uint64_t mask;
  } standard;
  for (int signal = 32; signal <= 33; ++signal)
    system_call(SYS_rt_sigaction, signal, (long)&standard, 0, sizeof standard.mask, 0);
}

/* Called from the start of the program only, which no declaration knows. */
__attribute__((used, noreturn)) static void run(long* stack) {
  const long count = stack[0];
  char** const arguments = (char**)(stack + 1);
  if (count < 4) leave(2);
  const int64_t deadline = now() + number_of(arguments[1]) * 1000000000;

  close_from(HVX_REPORT_DESCRIPTOR + 1);
  system_call(SYS_fcntl, HVX_REPORT_DESCRIPTOR, F_SETFD, FD_CLOEXEC, 0, 0);
  /* Members of the group that lose their parent become ours. */
  system_call(SYS_prctl, PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
  reset_library_signals();
  system_call(SYS_rt_sigprocmask, SIG_SETMASK, (long)&blocked_signals, 0, sizeof blocked_signals,
              0);
  child_ends = (int)system_call(SYS_signalfd4, -1, (long)&child_signal, sizeof child_signal,
                                SFD_CLOEXEC | SFD_NONBLOCK, 0);

  struct plan plan = {arguments + 2, arguments + count + 1, 0};
  struct hvx_report report = {HVX_NOT_STARTED, 0};
  /* Without the descriptor nobody would see the program's end. */
  if (child_ends < 0) plan.error = -child_ends;
  const pid_t program = plan.error == 0 ? start(&plan) : 0;
  if (plan.error == 0) report = watch(program, deadline);
  if (plan.error != 0) report.value = (int32_t)plan.error;
  if (program > 0) end_group(program);
  leave(system_call(SYS_write, HVX_REPORT_DESCRIPTOR, (long)&report, sizeof report, 0, 0) !=
        sizeof report);
  __builtin_unreachable();
}

PROGRAM_BEGINS_WITH(run);

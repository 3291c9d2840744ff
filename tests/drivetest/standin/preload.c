/* Preloaded into smartctl and nvme: opens drives of the stand-in and answers their commands. */
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/ioctl.h>
#include <poll.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "tests/drivetest/standin/answer.h"
#include "tests/drivetest/standin/redirect.h"
#include "tests/drivetest/standin/self_test.h"
#include "tests/drivetest/standin/state.h"

#define EXPORTED __attribute__((visibility("default")))

enum { MaxHandles = 1024, NodeSize = 64 };

/* The node that each descriptor was opened at, and the drive that was there then. */
static struct {
  char node[NodeSize];
  char name[NodeSize];
} handles[MaxHandles];

/* Whether this process has read the state of a test. */
static bool has_looked;

typedef int OpenCall(const char*, int, ...);

static int open_drive(OpenCall* next, const char* node) {
  char name[PathSize];
  const char* const folder = stand_in_folder();
  const int lock = state_lock(folder);
  struct StandInDrive drive;
  const bool is_there = state_find(folder, node, name) && state_load(folder, name, &drive);
  state_unlock(lock);
  if (!is_there || drive.open_errno != 0) {
    errno = is_there ? (int)drive.open_errno : ENOENT;
    return -1;
  }
  const int handle = next("/dev/null", O_RDWR | O_CLOEXEC);
  if (handle < 0 || handle >= MaxHandles) return handle;
  snprintf(handles[handle].node, NodeSize, "%.*s", NodeSize - 1, node);
  snprintf(handles[handle].name, NodeSize, "%.*s", NodeSize - 1, name);
  return handle;
}

static int open_by(const char* call, const char* path, int flags, mode_t mode) {
  OpenCall* const next = (OpenCall*)dlsym(RTLD_NEXT, call);
  char place[PathSize];
  char node[PathSize];
  const char* const ours = redirected(path, place);
  if (ours == path) return next(path, flags, mode);
  if (strncmp(path, "/dev/", 5) != 0) return next(ours, flags, mode);
  return resolve_node(path, node) ? open_drive(next, node) : -1;
}

static mode_t mode_of(int flags, va_list arguments) {
  return (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

EXPORTED int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return open_by("open", path, flags, mode);
}

EXPORTED int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return open_by("open64", path, flags, mode);
}

/* NOLINTBEGIN(readability-identifier-naming): the names are those of the C library. */
EXPORTED int __open_2(const char* path, int flags) { return open_by("open", path, flags, 0); }
EXPORTED int __open64_2(const char* path, int flags) { return open_by("open64", path, flags, 0); }
/* NOLINTEND(readability-identifier-naming) */

/* Says that a command has been carried out, and waits with the answer until somebody lets it go.
 * The pipe "held" stays open until this process ends, which tells whoever reads it that it did. */
static void hold(const char* folder) {
  char path[PathSize];
  make_path(path, "%s/held", folder);
  const int held = open(path, O_RDWR | O_CLOEXEC);
  make_path(path, "%s/go", folder);
  struct pollfd go = {.fd = open(path, O_RDWR | O_CLOEXEC), .events = POLLIN};
  char byte = 'h';
  if (held >= 0 && write(held, &byte, 1) == 1 && poll(&go, 1, 10000) == 1 &&
      read(go.fd, &byte, 1) < 0)
    perror("stand-in");
  if (go.fd >= 0) close(go.fd);
}

/* Waits at the end of what a tool wanted from the drive, if it is to. */
static void hold_at_close(const char* name) {
  const char* const folder = stand_in_folder();
  struct StandInDrive drive;
  const int lock = state_lock(folder);
  const bool is_held =
      has_looked && state_load(folder, name, &drive) && drive.hold_in == HoldAtClose;
  drive.hold_in = 0;
  if (is_held) state_save(folder, name, &drive);
  state_unlock(lock);
  if (is_held) hold(folder);
}

EXPORTED int close(int handle) {
  if (handle >= 0 && handle < MaxHandles && handles[handle].node[0] != '\0') {
    handles[handle].node[0] = '\0';
    hold_at_close(handles[handle].name);
  }
  return ((int (*)(int))dlsym(RTLD_NEXT, "close"))(handle);
}

static bool is_controller(const char* node) {
  const char* const number = node + strlen("/dev/nvme");
  return number[strspn(number, "0123456789")] == '\0';
}

static int answer(struct StandInDrive* drive, int64_t now, const char* node, unsigned long request,
                  void* argument) {
  if (is_nvme(drive) && request == NVME_IOCTL_ADMIN_CMD) return nvme_answer(drive, now, argument);
  if (is_nvme(drive) && request == NVME_IOCTL_ID && !is_controller(node)) return 1;
  if (!is_nvme(drive) && request == SG_IO) return scsi_answer(drive, now, argument);
  errno = ENOTTY;
  return -1;
}

/* Whether this command is one that the drive does not answer. */
static bool fails(struct StandInDrive* drive) {
  if (drive->fail_in == 0 || --drive->fail_in > 0) return false;
  if (drive->fail_for > 1) {
    --drive->fail_for;
    drive->fail_in = 1;
  }
  return true;
}

/* Whether the command between the two states has begun a test, with no rival before it. */
static bool has_begun(const struct StandInDrive* before, const struct StandInDrive* now) {
  return now->tests_begun > before->tests_begun && before->rival == 0;
}

static int ask(int handle, unsigned long request, void* argument) {
  const char* const folder = stand_in_folder();
  const int lock = state_lock(folder);
  struct StandInDrive drive;
  if (!state_load(folder, handles[handle].name, &drive) ||
      !has_word(drive.nodes, handles[handle].node)) {
    state_unlock(lock);
    errno = ENODEV;
    return -1;
  }
  const int64_t now = state_clock(folder);
  self_test_advance(&drive, now);
  ++drive.commands;
  const struct StandInDrive before = drive;
  int result = -1;
  int error = (int)drive.fail_errno;
  if (!fails(&drive)) {
    errno = 0;
    result = answer(&drive, now, handles[handle].node, request, argument);
    error = errno;
    drive.last_command = now;
  }
  has_looked = has_looked || drive.looks > before.looks;
  const bool is_held = drive.hold_in == 1 ||
                       (drive.hold_in == HoldAtStart && has_begun(&before, &drive)) ||
                       (drive.hold_in == HoldAtStop && drive.aborts > before.aborts);
  if (is_held || drive.hold_in > 0) drive.hold_in = is_held ? 0 : drive.hold_in - 1;
  const struct timespec pause = {drive.slow / 1000, drive.slow % 1000 * 1000000L};
  state_save(folder, handles[handle].name, &drive);
  if (drive.haste != 0) state_set_clock(folder, now + drive.haste);
  state_unlock(lock);
  nanosleep(&pause, NULL);
  if (is_held) hold(folder);
  errno = error;
  return result;
}

EXPORTED int ioctl(int handle, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (handle >= 0 && handle < MaxHandles && handles[handle].node[0] != '\0')
    return ask(handle, request, argument);
  return ((int (*)(int, unsigned long, ...))dlsym(RTLD_NEXT, "ioctl"))(handle, request, argument);
}

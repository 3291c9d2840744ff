/* Preloaded into hddtest: makes calls of the C library fail. Of the environment, FAILING_CALL names
 * the kind, FAILING_NUMBER which of its calls fails, counted from one, with a "+" behind it all
 * from that one on, and FAILING_COUNT the file to which the number of such calls is written at the
 * end. With FAILING_WORKER those fail of the process that 'hddtest run' starts for a drive, else
 * its own. Other programs are left alone.
 * What comes before main and after it is left alone, such as the making of the libraries' own
 * objects: nobody could say there what has failed.
 */
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

static char kind[16];
static char count_file[4096];
static long first_failing;
static int fail_all_later;
static long calls;
static int is_armed;
static int failing_is_over;
static int (*real_main)(int, char**, char**);

static void* next(const char* name) { return dlsym(RTLD_NEXT, name); }

static int is_ours(int count, char** arguments) {
  if (count < 1 || strcmp(arguments[0], "hddtest") != 0) return 0;
  int is_worker = 0;
  for (int i = 1; i < count; ++i) is_worker |= strcmp(arguments[i], "--worker") == 0;
  return is_worker == (getenv("FAILING_WORKER") != NULL);
}

static void arm(int count, char** arguments) {
  const char* call = getenv("FAILING_CALL");
  const char* number = getenv("FAILING_NUMBER");
  const char* file = getenv("FAILING_COUNT");
  if (!call || !number || !file || !is_ours(count, arguments)) return;
  snprintf(kind, sizeof kind, "%s", call);
  snprintf(count_file, sizeof count_file, "%s", file);
  char* rest = NULL;
  first_failing = strtol(number, &rest, 10);
  fail_all_later = *rest == '+';
  is_armed = 1;
}

static int armed_main(int count, char** arguments, char** environment) {
  arm(count, arguments);
  const int status = real_main(count, arguments, environment);
  failing_is_over = 1;
  return status;
}

/* Called by each program first. */
int __libc_start_main(int (*main)(int, char**, char**), int count, char** arguments,
                      void (*init)(void), void (*end)(void), void (*end_of_loader)(void),
                      void* stack);
int __libc_start_main(int (*main)(int, char**, char**), int count, char** arguments,
                      void (*init)(void), void (*end)(void), void (*end_of_loader)(void),
                      void* stack) {
  int (*original)(int (*)(int, char**, char**), int, char**, void (*)(void), void (*)(void),
                  void (*)(void), void*);
  *(void**)&original = next("__libc_start_main");
  real_main = main;
  return original(armed_main, count, arguments, init, end, end_of_loader, stack);
}

__attribute__((destructor)) static void tell(void) {
  if (!is_armed) return;
  is_armed = 0;
  FILE* file = fopen(count_file, "w");
  if (!file) return;
  fprintf(file, "%ld\n", calls);
  fclose(file);
}

static int has_to_fail(const char* what, int error) {
  if (!is_armed || failing_is_over || strcmp(what, kind) != 0) return 0;
  const long call = __atomic_add_fetch(&calls, 1, __ATOMIC_RELAXED);
  if (call != first_failing && !(fail_all_later && first_failing > 0 && call > first_failing))
    return 0;
  errno = error;
  return 1;
}

/* A function that is called on with the arguments that it got. */
#define PASSED_ON(what, error, failure, type, name, parameters, arguments) \
  type name parameters {                                                   \
    static type(*original) parameters;                                     \
    if (!original) original = (type(*) parameters)next(#name);             \
    if (has_to_fail(what, error)) return failure;                          \
    return original arguments;                                             \
  }

static int makes_file(int flags) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

#define OPENING(name)                                                      \
  int name(const char* path, int flags, ...) {                             \
    static int (*original)(const char*, int, ...);                         \
    if (!original) original = (int (*)(const char*, int, ...))next(#name); \
    va_list more;                                                          \
    va_start(more, flags);                                                 \
    mode_t mode = makes_file(flags) ? va_arg(more, mode_t) : 0;            \
    va_end(more);                                                          \
    if (has_to_fail("open", EMFILE)) return -1;                            \
    return original(path, flags, mode);                                    \
  }
OPENING(open)
OPENING(open64)

int openat(int folder, const char* path, int flags, ...) {
  static int (*original)(int, const char*, int, ...);
  if (!original) original = (int (*)(int, const char*, int, ...))next("openat");
  va_list more;
  va_start(more, flags);
  mode_t mode = makes_file(flags) ? va_arg(more, mode_t) : 0;
  va_end(more);
  if (has_to_fail("open", EMFILE)) return -1;
  return original(folder, path, flags, mode);
}

/* Only what takes a lock. */
#define CONTROLLING(name)                                          \
  int name(int file, int command, ...) {                           \
    static int (*original)(int, int, ...);                         \
    if (!original) original = (int (*)(int, int, ...))next(#name); \
    va_list more;                                                  \
    va_start(more, command);                                       \
    void* argument = va_arg(more, void*);                          \
    va_end(more);                                                  \
    const int is_lock = command == F_SETLK || command == F_SETLKW; \
    if (is_lock && has_to_fail("lock", ENOLCK)) return -1;         \
    return original(file, command, argument);                      \
  }
CONTROLLING(fcntl)
CONTROLLING(fcntl64)
PASSED_ON("lock", ENOLCK, -1, int, flock, (int file, int operation), (file, operation))

PASSED_ON("open", EMFILE, NULL, FILE*, fopen, (const char* path, const char* mode), (path, mode))
PASSED_ON("open", EMFILE, NULL, FILE*, fopen64, (const char* path, const char* mode), (path, mode))
PASSED_ON("open", EMFILE, NULL, DIR*, opendir, (const char* path), (path))
PASSED_ON("open", EMFILE, -1, int, memfd_create, (const char* name, unsigned flags), (name, flags))
PASSED_ON("write", ENOSPC, -1, ssize_t, write, (int file, const void* data, size_t size),
          (file, data, size))
PASSED_ON("write", ENOSPC, -1, ssize_t, pwrite64,
          (int file, const void* data, size_t size, off64_t place), (file, data, size, place))
PASSED_ON("read", EIO, -1, ssize_t, read, (int file, void* data, size_t size), (file, data, size))
PASSED_ON("read", EIO, -1, ssize_t, pread64, (int file, void* data, size_t size, off64_t place),
          (file, data, size, place))
PASSED_ON("read", EIO, NULL, struct dirent*, readdir, (DIR * folder), (folder))
PASSED_ON("sync", EIO, -1, int, fsync, (int file), (file))
PASSED_ON("sync", EIO, -1, int, fdatasync, (int file), (file))
PASSED_ON("truncate", EIO, -1, int, ftruncate64, (int file, off64_t size), (file, size))
PASSED_ON("unlink", EACCES, -1, int, unlink, (const char* path), (path))
PASSED_ON("unlink", EACCES, -1, int, unlinkat, (int folder, const char* path, int flags),
          (folder, path, flags))
PASSED_ON("rename", EACCES, -1, int, rename, (const char* from, const char* to), (from, to))
PASSED_ON("rename", EACCES, -1, int, renameat, (int from, const char* old, int to, const char* new),
          (from, old, to, new))
PASSED_ON("rename", EACCES, -1, int, renameat2,
          (int from, const char* old, int to, const char* new, unsigned flags),
          (from, old, to, new, flags))
PASSED_ON("pipe", EMFILE, -1, int, pipe2, (int ends[2], int flags), (ends, flags))
PASSED_ON("spawn", EAGAIN, EAGAIN, int, posix_spawn,
          (pid_t * process, const char* path, const posix_spawn_file_actions_t* actions,
           const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]),
          (process, path, actions, attributes, arguments, environment))
PASSED_ON("thread", EAGAIN, EAGAIN, int, pthread_create,
          (pthread_t * thread, const pthread_attr_t* attributes, void* (*start)(void*),
           void* argument),
          (thread, attributes, start, argument))
PASSED_ON("poll", ENOMEM, -1, int, poll, (struct pollfd * files, nfds_t count, int time),
          (files, count, time))
PASSED_ON("wait", ECHILD, -1, pid_t, waitpid, (pid_t process, int* status, int options),
          (process, status, options))
PASSED_ON("mkdir", ENOSPC, -1, int, mkdir, (const char* path, mode_t mode), (path, mode))
PASSED_ON("stat", EIO, -1, int, stat, (const char* path, struct stat* status), (path, status))
PASSED_ON("stat", EIO, -1, int, stat64, (const char* path, struct stat64* status), (path, status))
PASSED_ON("stat", EIO, -1, int, lstat, (const char* path, struct stat* status), (path, status))
PASSED_ON("stat", EIO, -1, int, lstat64, (const char* path, struct stat64* status), (path, status))
PASSED_ON("stat", EIO, -1, int, fstat, (int file, struct stat* status), (file, status))
PASSED_ON("stat", EIO, -1, int, fstat64, (int file, struct stat64* status), (file, status))
PASSED_ON("stat", EIO, -1, int, fstatat,
          (int folder, const char* path, struct stat* status, int flags),
          (folder, path, status, flags))
PASSED_ON("stat", EIO, -1, int, faccessat, (int folder, const char* path, int mode, int flags),
          (folder, path, mode, flags))
PASSED_ON("link", EIO, -1, ssize_t, readlink, (const char* path, char* target, size_t size),
          (path, target, size))
PASSED_ON("random", ENOSYS, -1, ssize_t, getrandom, (void* bytes, size_t count, unsigned flags),
          (bytes, count, flags))
PASSED_ON("memory", ENOMEM, MAP_FAILED, void*, mmap64,
          (void* place, size_t size, int protection, int flags, int file, off64_t offset),
          (place, size, protection, flags, file, offset))

extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t number, size_t size);
extern void* __libc_realloc(void* block, size_t size);
void* malloc(size_t size) { return has_to_fail("memory", ENOMEM) ? NULL : __libc_malloc(size); }
void* calloc(size_t number, size_t size) {
  return has_to_fail("memory", ENOMEM) ? NULL : __libc_calloc(number, size);
}
void* realloc(void* block, size_t size) {
  return has_to_fail("memory", ENOMEM) ? NULL : __libc_realloc(block, size);
}

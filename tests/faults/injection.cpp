#include "tests/faults/injection.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/replaced_memory.h"

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace faults {

namespace {

bool armed = false;
Call armed_kind;
int failing_number, calls;

// The function of that name in the C library, or a sanitizer's in front of it.
template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool has_to_fail_with(Call kind, int error) {
  if (!has_to_fail(kind)) return false;
  errno = error;
  return true;
}

bool open_has_to_fail() {
  // The function is called once, so it does not see what it opens itself.
  if (const auto on_open = std::exchange(settings().on_open, {})) {
    on_open();
    settings().on_open = on_open;
  }
  return has_to_fail_with(Call::Open, EMFILE);
}

}  // namespace

void arm(Call kind, int number) {
  armed_kind = kind;
  failing_number = number;
  calls = 0;
  armed = true;
}

int disarm() {
  armed = false;
  return calls;
}

bool has_to_fail(Call kind) { return armed && kind == armed_kind && ++calls == failing_number; }

Settings& settings() {
  static auto& the = *new Settings;
  return the;
}

}  // namespace faults

using faults::Call;
using faults::has_to_fail_with;
using faults::next;
using faults::settings;

EXPORT pid_t fork() {
  static const auto original = next<pid_t()>("fork");
  return has_to_fail_with(Call::Fork, EAGAIN) ? -1 : original();
}

EXPORT int posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const arguments[],
                       char* const environment[]) {
  static const auto original = next<decltype(posix_spawn)>("posix_spawn");
  if (has_to_fail_with(Call::Fork, EAGAIN)) return EAGAIN;
  // The helper's first argument is its limit in seconds.
  std::vector<char*> all;
  for (char* const* argument = arguments; *argument; ++argument) all.push_back(*argument);
  all.push_back(nullptr);
  std::string seconds;
  if (settings().hurry > 1 && all.size() > 2) {
    seconds = std::to_string(std::max(1L, std::strtol(all[1], nullptr, 10) / settings().hurry));
    all[1] = seconds.data();
  }
  return original(process, path, actions, attributes, all.data(), environment);
}

EXPORT int pipe2(int ends[2], int flags) {
  static const auto original = next<int(int*, int)>("pipe2");
  return has_to_fail_with(Call::Pipe, EMFILE) ? -1 : original(ends, flags);
}

EXPORT int open(const char* path, int flags, ...) {
  static const auto original = next<int(const char*, int, ...)>("open");
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) ? va_arg(more, mode_t) : 0;
  va_end(more);
  return faults::open_has_to_fail() ? -1 : original(path, flags, mode);
}

EXPORT FILE* fopen(const char* path, const char* mode) {
  static const auto original = next<FILE*(const char*, const char*)>("fopen");
  return faults::open_has_to_fail() ? nullptr : original(path, mode);
}

EXPORT DIR* opendir(const char* path) {
  static const auto original = next<DIR*(const char*)>("opendir");
  return faults::open_has_to_fail() ? nullptr : original(path);
}

EXPORT ssize_t write(int file, const void* data, size_t size) {
  static const auto original = next<ssize_t(int, const void*, size_t)>("write");
  return has_to_fail_with(Call::Write, ENOSPC) ? -1 : original(file, data, size);
}

// A line of the log, and nothing else.
EXPORT ssize_t pwrite(int file, const void* data, size_t size, off_t offset) {
  static const auto original = next<ssize_t(int, const void*, size_t, off_t)>("pwrite");
  return has_to_fail_with(Call::Write, ENOSPC) ? -1 : original(file, data, size, offset);
}

// Only the logger sends, and only to the machine's journal, which must not hear of tests.
EXPORT ssize_t sendto(int, const void* data, size_t size, int, const sockaddr*, socklen_t) {
  if (has_to_fail_with(Call::Write, ENOSPC)) return -1;
  if (FILE* const file =
          settings().journal.empty()
              ? nullptr
              : next<FILE*(const char*, const char*)>("fopen")(settings().journal.c_str(), "ae")) {
    fwrite(data, 1, size, file);
    fclose(file);
  }
  return static_cast<ssize_t>(size);
}

EXPORT int stat(const char* path, struct stat* status) {
  static const auto original = next<int(const char*, struct stat*)>("stat");
  if (!settings().hidden.empty() && std::string_view(path).ends_with(settings().hidden)) {
    errno = ENOENT;
    return -1;
  }
  return original(path, status);
}

EXPORT int clock_gettime(clockid_t clock, timespec* time) {
  static const auto original = next<int(clockid_t, timespec*)>("clock_gettime");
  const int result = original(clock, time);
  if (clock == CLOCK_REALTIME) time->tv_sec += settings().clock_jump;
  if (clock == CLOCK_MONOTONIC_COARSE) time->tv_sec += settings().log_looks;
  if (clock == CLOCK_MONOTONIC && settings().hurry > 1) {
    const std::int64_t nanoseconds = time->tv_sec * std::int64_t{1'000'000'000} + time->tv_nsec;
    time->tv_sec = nanoseconds / 1'000'000'000 * settings().hurry;
    time->tv_sec += nanoseconds % 1'000'000'000 * settings().hurry / 1'000'000'000;
    time->tv_nsec = nanoseconds % 1'000'000'000 * settings().hurry % 1'000'000'000;
  }
  return result;
}

EXPORT int poll(pollfd* files, nfds_t count, int milliseconds) {
  static const auto original = next<int(pollfd*, nfds_t, int)>("poll");
  // A second more in real time, which children need to end on a busy machine.
  const int hurried = milliseconds / settings().hurry + 1000;
  return original(files, count, std::min(milliseconds, hurried));
}

// Between two reads of a drive's log.
EXPORT unsigned sleep(unsigned) {
  if (settings().on_sleep) settings().on_sleep();
  return 0;
}

namespace {

// The sanitizers end a process that asks for more than there can be.
constexpr std::size_t kLargest = std::size_t{1} << 40;

}  // namespace

static void* allocate(std::size_t size) {
  return faults::has_to_fail(Call::Allocation) || size > kLargest ? nullptr : std::malloc(size);
}

// Memory that the XML parser allocates. The sanitizers' allocator cannot be replaced here.
#if !defined(__SANITIZE_ADDRESS__)

extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_realloc(void* block, size_t size);

namespace {

bool xml_parser_fails(const void* caller) {
  if (!faults::armed || faults::armed_kind != Call::Allocation) return false;
  Dl_info library;
  return dladdr(caller, &library) != 0 && std::strstr(library.dli_fname, "libexpat") &&
         faults::has_to_fail(Call::Allocation);
}

}  // namespace

EXPORT void* malloc(size_t size) {
  return xml_parser_fails(__builtin_return_address(0)) ? nullptr : __libc_malloc(size);
}
EXPORT void* realloc(void* block, size_t size) {
  return xml_parser_fails(__builtin_return_address(0)) ? nullptr : __libc_realloc(block, size);
}

#endif

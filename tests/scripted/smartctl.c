/* The stand-in for smartctl: plays the next step of the script that lies beside it (script.h). */
#define _GNU_SOURCE
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include "tests/scripted/script.h"

static void require(int held) {
  if (!held) _exit(NOT_IN_THE_SCRIPT);
}

static int open_beside(const char* name, int flags) {
  char path[PATH_MAX];
  const ssize_t size = readlink("/proc/self/exe", path, sizeof path - 16);
  require(size > 0);
  path[size] = '\0';
  char* const file_name = strrchr(path, '/') + 1;
  snprintf(file_name, sizeof path - (size_t)(file_name - path), "%s", name);
  const int file = open(path, flags | O_CLOEXEC);
  require(file >= 0);
  return file;
}

static void read_at(int file, void* data, size_t size, uint64_t at) {
  require(pread(file, data, size, (off_t)at) == (ssize_t)size);
}

static void append(int file, const void* data, size_t size) {
  require(lseek(file, 0, SEEK_END) >= 0 && write(file, data, size) == (ssize_t)size);
}

static char* joined(int count, char** arguments, uint64_t* size) {
  *size = 0;
  for (int i = 0; i < count; ++i) *size += strlen(arguments[i]) + 1;
  char* const all = malloc(*size + 1);
  require(all != NULL);
  char* end = all;
  for (int i = 0; i < count; ++i) end = stpcpy(end, arguments[i]) + 1;
  return all;
}

/* Notes the call and returns its number, or the number of steps when there were as many. */
static uint64_t note(const char* arguments, uint64_t size) {
  const int file = open_beside("calls", O_RDWR);
  require(flock(file, LOCK_EX) == 0);
  struct CallsHead head;
  read_at(file, &head, sizeof head, 0);
  const uint64_t number = head.made < head.steps ? head.made : head.steps;
  ++head.made;
  append(file, &size, sizeof size);
  append(file, arguments, size);
  require(pwrite(file, &head, sizeof head, 0) == sizeof head);
  close(file);
  require(number < head.steps);
  return number;
}

static void print(int file, uint64_t at, uint64_t size) {
  char buffer[65536];
  while (size > 0) {
    const size_t part = size < sizeof buffer ? (size_t)size : sizeof buffer;
    read_at(file, buffer, part, at);
    for (size_t done = 0; done < part;) {
      const ssize_t written = write(STDOUT_FILENO, buffer + done, part - done);
      require(written > 0);
      done += (size_t)written;
    }
    at += part;
    size -= part;
  }
}

int main(int argc, char** argv) {
  uint64_t size;
  char* const arguments = joined(argc - 1, argv + 1, &size);
  const uint64_t number = note(arguments, size);

  const int script = open_beside("script", O_RDONLY);
  struct ScriptStep step;
  read_at(script, &step, sizeof step, number * sizeof step);
  require(step.arguments_size == size);
  char* const expected = malloc(size + 1);
  require(expected != NULL);
  read_at(script, expected, size, step.arguments_at);
  require(memcmp(expected, arguments, size) == 0);
  free(expected);
  free(arguments);

  const struct timespec pause = {step.takes_milliseconds / 1000,
                                 step.takes_milliseconds % 1000 * 1000000L};
  nanosleep(&pause, NULL);
  print(script, step.output_at, step.output_size);
  if (step.hangs) sleep(60);
  if (step.killed_by) {
    const struct rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    raise(step.killed_by);
  }
  return step.exit_status;
}

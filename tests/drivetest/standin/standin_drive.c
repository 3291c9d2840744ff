/* Makes the stand-in's machine, and does to its drives what a test needs besides the commands that
 * tools send: time that passes, resets, other programs. The usage is in README.md. */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/drivetest/standin/machine_tree.h"
#include "tests/drivetest/standin/self_test.h"
#include "tests/drivetest/standin/state.h"

struct Call {
  const char* folder;
  int64_t now;
  char** words; /* what follows the command: the drive's name first */
  bool (*change)(struct StandInDrive* drive, const struct Call* call);
};

static int type_named(const char* name) {
  static const char* const names[] = {"offline", "short", "long", "conveyance", "selective"};
  for (int i = 0; i < 5; ++i)
    if (strcmp(names[i], name) == 0) return i;
  return (int)strtol(name, NULL, 0);
}

static bool start(struct StandInDrive* drive, const struct Call* call) {
  if (is_ata(drive)) self_test_end(drive, ResultAborted, call->now);
  if (drive->is_testing) return false;
  self_test_begin(drive, type_named(call->words[1]), call->now);
  return true;
}

static bool abort_test(struct StandInDrive* drive, const struct Call* call) {
  self_test_end(drive, ResultAborted, call->now);
  return true;
}

static bool end(struct StandInDrive* drive, const struct Call* call) {
  self_test_end(drive, strtoll(call->words[1], NULL, 0), call->now);
  return true;
}

static bool reset(struct StandInDrive* drive, const struct Call* call) {
  self_test_reset(drive, call->now);
  return true;
}

static bool power_cycle(struct StandInDrive* drive, const struct Call* call) {
  self_test_power_loss(drive, call->now);
  drive->power_mode = 0xff;
  return true;
}

static bool set(struct StandInDrive* drive, const struct Call* call) {
  char value[PathSize] = "";
  for (char** word = call->words + 2; *word != NULL; ++word) {
    char so_far[PathSize];
    memcpy(so_far, value, sizeof so_far);
    make_path(value, "%s%s%s", so_far, word == call->words + 2 ? "" : " ", *word);
  }
  return drive_set(drive, call->words[1], value);
}

static bool hold(struct StandInDrive* drive, const struct Call* call) {
  return drive_set(drive, "hold_in", call->words[1]);
}

static bool clear_log(struct StandInDrive* drive, const struct Call* call) {
  (void)call;
  drive->log_size = 0;
  drive->rolled = 0;
  return true;
}

static const struct Command {
  const char* name;
  int words;
  bool (*change)(struct StandInDrive* drive, const struct Call* call);
  bool moves_drives;
} kCommands[] = {
    {"start", 2, start, false},
    {"abort", 1, abort_test, false},
    {"end", 2, end, false},
    {"reset", 1, reset, false},
    {"power-cycle", 1, power_cycle, false},
    {"clear-log", 1, clear_log, false},
    {"set", 2, set, true},
    {"hold", 2, hold, false},
};

static bool change_drive(const char* name, void* what) {
  const struct Call* const call = what;
  struct StandInDrive drive;
  if (strcmp(call->words[0], "all") != 0 && strcmp(call->words[0], name) != 0) return false;
  if (!state_load(call->folder, name, &drive)) exit(2);
  self_test_advance(&drive, call->now);
  if (!call->change(&drive, call) || !state_save(call->folder, name, &drive)) exit(1);
  return strcmp(call->words[0], name) == 0;
}

static bool swap(const char* folder, char** names) {
  struct StandInDrive drives[2];
  Text nodes;
  for (int i = 0; i < 2; ++i)
    if (!state_load(folder, names[i], &drives[i])) return false;
  memcpy(nodes, drives[0].nodes, sizeof nodes);
  memcpy(drives[0].nodes, drives[1].nodes, sizeof nodes);
  memcpy(drives[1].nodes, nodes, sizeof nodes);
  return state_save(folder, names[0], &drives[0]) && state_save(folder, names[1], &drives[1]);
}

static void write_file(const char* folder, const char* name, mode_t mode, const char* format, ...) {
  char path[PathSize];
  va_list arguments;
  make_path(path, "%s/%s", folder, name);
  FILE* const file = fopen(path, "we");
  if (file == NULL) exit(2);
  va_start(arguments, format);
  vfprintf(file, format, arguments);
  va_end(arguments);
  fclose(file);
  chmod(path, mode);
}

static void write_wrappers(const char* folder, const char* library) {
  static const char wrapper[] =
      "#!/bin/sh\nSTANDIN_STATE='%s' LD_PRELOAD='%s' exec /usr/sbin/%s \"$@\"\n";
  char smartctl[PathSize];
  make_path(smartctl, "smartctl -B '%s/drivedb.h'", folder);
  write_file(folder, "bin/smartctl", 0755, wrapper, folder, library, smartctl);
  write_file(folder, "bin/nvme", 0755, wrapper, folder, library, "nvme");
  /* What of smartctl's database the drives here need. All of it takes most of its time to read. */
  write_file(folder, "drivedb.h", 0644,
             "{ \"USB: ; \", \"0x152d:0x0578\", \"\", \"\", \"-d sat\" },\n");
}

static void make(const char* folder, const char* library) {
  static const char* const pipes[] = {"held", "go"};
  char path[PathSize];
  make_path(path, "%s/bin", folder);
  mkdir(path, 0755);
  write_wrappers(folder, library);
  for (int i = 0; i < 2; ++i) {
    make_path(path, "%s/%s", folder, pipes[i]);
    mkfifo(path, 0666);
  }
  machine_tree_make(folder);
}

static int show(const char* folder, const char* name, int64_t now) {
  char path[PathSize];
  char line[PathSize];
  struct StandInDrive drive;
  if (!state_load(folder, name, &drive)) return 2;
  self_test_advance(&drive, now);
  state_save(folder, name, &drive);
  state_drive_path(folder, name, path);
  FILE* const file = fopen(path, "re");
  if (file == NULL) return 2;
  while (fgets(line, sizeof line, file) != NULL) fputs(line, stdout);
  fclose(file);
  return 0;
}

static int run(const char* folder, int count, char** words) {
  const char* const name = words[0];
  const int64_t now = state_clock(folder);
  if (strcmp(name, "make") == 0 && count == 2) {
    make(folder, words[1]);
    return 0;
  }
  if (strcmp(name, "clock") == 0 && count == 2) {
    const int64_t seconds = strtoll(words[1], NULL, 10);
    const int64_t clock = *words[1] == '+' ? now + seconds : seconds;
    return state_set_clock(folder, clock) ? 0 : 2;
  }
  if (strcmp(name, "show") == 0 && count == 2) return show(folder, words[1], now);
  if (strcmp(name, "swap") == 0 && count == 3) {
    if (!swap(folder, words + 1)) return 2;
    machine_tree_make(folder);
    return 0;
  }
  for (size_t i = 0; i < sizeof kCommands / sizeof kCommands[0]; ++i) {
    const struct Command* const command = &kCommands[i];
    if (strcmp(command->name, name) != 0 || count <= command->words) continue;
    struct Call call = {folder, now, words + 1, command->change};
    if (!state_each(folder, change_drive, &call) && strcmp(words[1], "all") != 0) return 2;
    if (command->moves_drives) machine_tree_make(folder);
    return 0;
  }
  fprintf(stderr, "standin_drive: no such command: %s\n", name);
  return 2;
}

int main(int count, char** words) {
  if (count < 3) {
    fputs("usage: standin_drive FOLDER COMMAND [WORD...]\n", stderr);
    return 2;
  }
  const int lock = state_lock(words[1]);
  if (lock < 0) {
    perror(words[1]);
    return 2;
  }
  const int status = run(words[1], count - 2, words + 2);
  state_unlock(lock);
  return status;
}

#include "tests/drivetest/standin/state.h"

#include <dirent.h>
#include <fcntl.h>
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

static void path_in(const char* folder, const char* name, char* path) {
  make_path(path, "%s/%s", folder, name);
}

int state_lock(const char* folder) {
  char path[PathSize];
  path_in(folder, "lock", path);
  const int lock = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (lock < 0) return -1;
  if (flock(lock, LOCK_EX) == 0) return lock;
  close(lock);
  return -1;
}

void state_unlock(int lock) { close(lock); }

int64_t state_clock(const char* folder) {
  char path[PathSize];
  path_in(folder, "clock", path);
  FILE* const file = fopen(path, "re");
  if (file == NULL) return 0;
  char text[32] = "";
  const bool is_read = fgets(text, sizeof text, file) != NULL;
  fclose(file);
  return is_read ? strtoll(text, NULL, 10) : 0;
}

bool state_set_clock(const char* folder, int64_t seconds) {
  char path[PathSize];
  char other[PathSize];
  path_in(folder, "clock", path);
  path_in(folder, "clock.new", other);
  FILE* const file = fopen(other, "we");
  if (file == NULL) return false;
  fprintf(file, "%" PRId64 "\n", seconds);
  return fclose(file) == 0 && rename(other, path) == 0;
}

void state_drive_path(const char* folder, const char* name, char* path) {
  char below[PathSize];
  path_in("drives", name, below);
  path_in(folder, below, path);
}

bool state_load(const char* folder, const char* name, struct StandInDrive* drive) {
  char path[PathSize];
  char why[PathSize];
  state_drive_path(folder, name, path);
  if (drive_read(path, drive, why)) return true;
  fprintf(stderr, "stand-in: %s\n", why);
  return false;
}

bool state_save(const char* folder, const char* name, const struct StandInDrive* drive) {
  char path[PathSize];
  state_drive_path(folder, name, path);
  return drive_write(path, drive);
}

static int is_drive(const struct dirent* entry) { return strchr(entry->d_name, '.') == NULL; }

bool state_each(const char* folder, bool (*each)(const char* name, void* what), void* what) {
  char path[PathSize];
  path_in(folder, "drives", path);
  struct dirent** entries = NULL;
  const int count = scandir(path, &entries, is_drive, alphasort);
  bool is_found = false;
  for (int i = 0; i < count; ++i) {
    if (!is_found) is_found = each(entries[i]->d_name, what);
    free(entries[i]);
  }
  free(entries);
  return is_found;
}

struct Search {
  const char* folder;
  const char* node;
  char* name;
};

static bool is_at(const char* name, void* what) {
  const struct Search* const search = what;
  struct StandInDrive drive;
  if (!state_load(search->folder, name, &drive) || !has_word(drive.nodes, search->node))
    return false;
  make_path(search->name, "%s", name);
  return true;
}

bool state_find(const char* folder, const char* node, char* name) {
  struct Search search = {folder, node, name};
  return state_each(folder, is_at, &search);
}

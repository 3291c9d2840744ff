#include "tests/drivetest/standin/redirect.h"

#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const char* const kPlaces[] = {"/sys/",     "/dev/sd",    "/dev/sg",   "/dev/hd",
                                      "/dev/nvme", "/dev/disk/", "/dev/bus/", "/proc/devices"};

const char* stand_in_folder(void) { return getenv("STANDIN_STATE"); }

const char* redirected(const char* path, char* place) {
  const char* const folder = stand_in_folder();
  if (folder == NULL || path == NULL) return path;
  bool is_ours = false;
  for (size_t i = 0; i < sizeof kPlaces / sizeof kPlaces[0]; ++i)
    is_ours = is_ours || strncmp(path, kPlaces[i], strlen(kPlaces[i])) == 0;
  if (!is_ours) return path;
  make_path(place, "%s/machine%s", folder, path);
  return place;
}

bool resolve_node(const char* path, char* node) {
  char place[PathSize];
  char machine[PathSize];
  char root[PATH_MAX];
  char target[PATH_MAX];
  make_path(machine, "%s/machine", stand_in_folder());
  if (realpath(redirected(path, place), target) == NULL || realpath(machine, root) == NULL)
    return false;
  const size_t size = strlen(root);
  if (strncmp(target, root, size) != 0 || strncmp(target + size, "/dev/", 5) != 0) {
    errno = ENOENT;
    return false;
  }
  make_path(node, "%s", target + size);
  return true;
}

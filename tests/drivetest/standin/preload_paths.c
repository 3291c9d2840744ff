/* What tools look drives up by: these calls see the stand-in's machine instead of the real one. */
#include <dirent.h>
#include <dlfcn.h>
#include <glob.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/drivetest/standin/redirect.h"

#define EXPORTED __attribute__((visibility("default")))
/* The call of the C library that one of ours stands before. */
#define NEXT(function) ((__typeof__(&function))dlsym(RTLD_NEXT, #function))

EXPORTED int stat(const char* restrict path, struct stat* restrict result) {
  char place[PathSize];
  return NEXT(stat)(redirected(path, place), result);
}

EXPORTED int stat64(const char* restrict path, struct stat64* restrict result) {
  char place[PathSize];
  return NEXT(stat64)(redirected(path, place), result);
}

EXPORTED int lstat(const char* restrict path, struct stat* restrict result) {
  char place[PathSize];
  return NEXT(lstat)(redirected(path, place), result);
}

EXPORTED int access(const char* path, int mode) {
  char place[PathSize];
  return NEXT(access)(redirected(path, place), mode);
}

EXPORTED ssize_t readlink(const char* restrict path, char* restrict target, size_t size) {
  char place[PathSize];
  return NEXT(readlink)(redirected(path, place), target, size);
}

EXPORTED char* realpath(const char* restrict path, char* restrict resolved) {
  char place[PathSize];
  char node[PathSize];
  if (redirected(path, place) == path || strncmp(path, "/dev/", 5) != 0)
    return NEXT(realpath)(path, resolved);
  if (!resolve_node(path, node)) return NULL;
  if (resolved == NULL) return strdup(node);
  make_path(resolved, "%s", node);
  return resolved;
}

EXPORTED FILE* fopen(const char* restrict path, const char* restrict mode) {
  char place[PathSize];
  return NEXT(fopen)(redirected(path, place), mode);
}

EXPORTED FILE* fopen64(const char* restrict path, const char* restrict mode) {
  char place[PathSize];
  return NEXT(fopen64)(redirected(path, place), mode);
}

EXPORTED DIR* opendir(const char* path) {
  char place[PathSize];
  return NEXT(opendir)(redirected(path, place));
}

EXPORTED int scandir64(const char* restrict path, struct dirent64*** restrict entries,
                       int (*filter)(const struct dirent64*),
                       int (*compare)(const struct dirent64**, const struct dirent64**)) {
  char place[PathSize];
  return NEXT(scandir64)(redirected(path, place), entries, filter, compare);
}

EXPORTED int glob(const char* restrict pattern, int flags, int (*on_error)(const char*, int),
                  glob_t* restrict result) {
  char place[PathSize];
  const char* const ours = redirected(pattern, place);
  const int status = NEXT(glob)(ours, flags, on_error, result);
  if (status != 0 || ours == pattern) return status;
  const size_t size = strlen(ours) - strlen(pattern);
  for (size_t i = 0; i < result->gl_pathc; ++i) {
    char* const path = result->gl_pathv[i];
    if (strlen(path) > size) memmove(path, path + size, strlen(path + size) + 1);
  }
  return 0;
}

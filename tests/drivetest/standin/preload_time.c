/* Preloaded into hddtest itself: what it waits for is over at once, and has passed for the drives
 * and on its own clock, so many times as STANDIN_PACE says. The time waited is shared by all
 * processes of the stand-in's folder. */
#include <fcntl.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "tests/drivetest/standin/state.h"

#define EXPORTED __attribute__((visibility("default")))

enum { Billion = 1000000000 };

/* Nanoseconds; NULL where there is no folder. */
static _Atomic int64_t* waited(void) {
  static _Atomic(void*) shared;
  void* place = atomic_load(&shared);
  const char* const folder = getenv("STANDIN_STATE");
  if (place != NULL || folder == NULL) return place;
  char path[PathSize];
  make_path(path, "%s/waited", folder);
  const int file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (file < 0 || ftruncate(file, sizeof(int64_t)) != 0) return NULL;
  place = mmap(NULL, sizeof(int64_t), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (place == MAP_FAILED) return NULL;
  atomic_store(&shared, place); /* two at once map the same */
  return place;
}

EXPORTED int clock_gettime(clockid_t clock, struct timespec* time) {
  const long result = syscall(SYS_clock_gettime, clock, time);
  _Atomic int64_t* const more = clock == CLOCK_REALTIME ? waited() : NULL;
  if (result != 0 || more == NULL) return (int)result;
  const int64_t all = atomic_load(more) + time->tv_nsec;
  time->tv_sec += all / Billion;
  time->tv_nsec = all % Billion;
  return 0;
}

EXPORTED int nanosleep(const struct timespec* duration, struct timespec* left) {
  (void)left;
  const char* const folder = getenv("STANDIN_STATE");
  _Atomic int64_t* const all = waited();
  if (folder == NULL || all == NULL) return 0;
  const char* const pace = getenv("STANDIN_PACE");
  const int64_t pause = ((int64_t)duration->tv_sec * Billion + duration->tv_nsec) *
                        (pace == NULL ? 1 : strtoll(pace, NULL, 10));
  const int64_t before = atomic_fetch_add(all, pause);
  const int lock = state_lock(folder);
  if (lock < 0) return 0;
  state_set_clock(folder, state_clock(folder) + (before + pause) / Billion - before / Billion);
  state_unlock(lock);
  return 0;
}

EXPORTED int clock_nanosleep(clockid_t clock, int flags, const struct timespec* duration,
                             struct timespec* left) {
  (void)clock;
  (void)flags; /* no sleep of ours is until a time of the clock */
  return nanosleep(duration, left);
}

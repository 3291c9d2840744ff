// The present as local time. A leaf: any folder may use it.
#pragma once

#include <cstdint>
#include <ctime>

namespace platform {

struct LocalTime {
  std::int64_t microseconds;  // since 1970-01-01T00:00 UTC
  int minutes_from_utc;       // by which local time is ahead
};

// Never fails, and may be called from any thread. A zone that the process changes to (tzset) shows
// at once.
inline LocalTime local_time() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  return {std::int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000,
          static_cast<int>(local.tm_gmtoff / 60)};
}

}  // namespace platform

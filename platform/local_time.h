// The present as local time. A leaf: any folder may use it.
#pragma once

#include <cstdint>
#include <ctime>
#include <limits>

namespace platform {

struct LocalTime {
  std::int64_t microseconds;  // since 1970-01-01T00:00 UTC
  int minutes_from_utc;       // by which local time is ahead
};

// Never fails, and may be called from any thread. A zone that the process changes to (tzset) shows
// within a second: the offset, which changes with full seconds only, is looked up once in each.
// (The look-up takes longer than all else that a time stamp costs.)
inline LocalTime local_time() {
  constinit thread_local struct {
    std::time_t second = std::numeric_limits<std::time_t>::min();
    int minutes = 0;
  } offset;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (now.tv_sec != offset.second) {
    tm local{};
    localtime_r(&now.tv_sec, &local);
    offset = {now.tv_sec, static_cast<int>(local.tm_gmtoff / 60)};
  }
  return {std::int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000, offset.minutes};
}

}  // namespace platform

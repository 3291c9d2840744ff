// The present as local time. A leaf: any folder may use it.
#pragma once

#include <atomic>
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
  // The second and, in the lowest bits, its offset: one number, so that it is always a whole.
  constexpr int bits = 12;
  constexpr int zero = 1 << (bits - 1);
  static constinit std::atomic<std::int64_t> known{std::numeric_limits<std::int64_t>::min()};
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  std::int64_t offset = known.load(std::memory_order_relaxed);
  if (offset >> bits != now.tv_sec) {
    tm local{};
    localtime_r(&now.tv_sec, &local);
    offset = (std::int64_t{now.tv_sec} << bits) + zero + local.tm_gmtoff / 60;
    known.store(offset, std::memory_order_relaxed);
  }
  return {std::int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000,
          static_cast<int>(offset & ((1 << bits) - 1)) - zero};
}

}  // namespace platform

#include "platform/support/cimdatetime.h"

#include <chrono>

#include "platform/digits.h"

namespace NKVRHVX20 {

TCIMDateTime::TCIMDateTime(std::int64_t microseconds_since_epoch, int utc_offset_minutes) {
  const platform::TimeStamp nearest =
      platform::nearest_time_stamp(microseconds_since_epoch, utc_offset_minutes);
  microseconds_ = nearest.microseconds;
  utc_offset_minutes_ = nearest.minutes_from_utc;
}

std::string TCIMDateTime::ToString() const {
  const std::chrono::microseconds offset = std::chrono::minutes(utc_offset_minutes_);
  return platform::time_stamp_text(microseconds_ + offset.count(), utc_offset_minutes_);
}

}  // namespace NKVRHVX20

#include "platform/support/cimdatetime.h"

#include <algorithm>
#include <chrono>

#include "platform/digits.h"

namespace NKVRHVX20 {

namespace {

using std::chrono::microseconds;
using std::chrono::sys_days;

constexpr sys_days kFirstDay = std::chrono::year(0) / 1 / 1;
constexpr sys_days kDayAfterLast = std::chrono::year(10000) / 1 / 1;

}  // namespace

TCIMDateTime::TCIMDateTime(std::int64_t microseconds_since_epoch, int utc_offset_minutes)
    : utc_offset_minutes_(std::clamp(utc_offset_minutes, -999, 999)) {
  // It is the local time that has to fit the four digits of the year.
  const microseconds offset = std::chrono::minutes(utc_offset_minutes_);
  const microseconds first = microseconds(kFirstDay.time_since_epoch()) - offset;
  const microseconds last =
      microseconds(kDayAfterLast.time_since_epoch()) - offset - microseconds(1);
  microseconds_ = std::clamp(microseconds_since_epoch, first.count(), last.count());
}

std::string TCIMDateTime::ToString() const {
  const microseconds offset = std::chrono::minutes(utc_offset_minutes_);
  return platform::time_stamp_text(microseconds_ + offset.count(), utc_offset_minutes_);
}

}  // namespace NKVRHVX20

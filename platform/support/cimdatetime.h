// A point in time as CIM writes it (DSP0004, the time stamp form of datetime).
#pragma once

#include <cstdint>
#include <string>

#include "platform/support/logger.h"

namespace NKVRHVX20 {

// A point in time with the minutes by which its local time is ahead of UTC. A plain value, which is
// written and never read from a text.
class HVX_EXPORT TCIMDateTime {
 public:
  // Microseconds since 1970-01-01T00:00 UTC; local years 0 to 9999 and offsets of -999 to 999
  // minutes have a text form, others are brought to the nearest end.
  TCIMDateTime(std::int64_t microseconds_since_epoch, int utc_offset_minutes);

  // Local time and offset in the 25 characters yyyymmddhhmmss.mmmmmmsutc, for example
  // 20240131120000.000000+060.
  std::string ToString() const;

 private:
  std::int64_t microseconds_;
  int utc_offset_minutes_;
};

}  // namespace NKVRHVX20

// CIM date-times: a point in time with its distance from UTC, or an interval.
#pragma once

#include <optional>
#include <string_view>

#include "platform/framework/types.h"

namespace ovk_cimple {

// A value of microsecond precision. The text form has 25 characters (DSP0004):
//   time stamp  yyyymmddhhmmss.mmmmmmsutc   20240131120000.000000+060
//   interval    ddddddddhhmmss.mmmmmm:000   00000003120000.000000:000
// Immutable, so safe to read from any thread.
class OVK_CIMPLE_EXPORT Datetime {
 public:
  // The empty interval.
  Datetime() = default;

  // An interval of so many microseconds. More than 99999999 days do not fit the text form and
  // become the longest interval that does.
  explicit Datetime(uint64 microseconds);

  // A time stamp: microseconds since 1970-01-01T00:00 UTC, and the minutes (-999 to 999) by which
  // local time is ahead of UTC. A time outside of the years 0 to 9999 becomes the nearest inside.
  static Datetime time_stamp(sint64 microseconds_since_epoch, sint32 utc_offset_minutes);

  // The present time, as local time with its offset.
  static Datetime now();

  // Reads the 25-character form. Empty for any other text, also for one with a field out of range
  // or with the wildcard '*'.
  static std::optional<Datetime> parse(std::string_view text);

  String to_string() const;
  bool is_interval() const { return interval_; }

  // The interval's length, or the time stamp's distance from 1970-01-01T00:00 UTC.
  sint64 microseconds() const { return microseconds_; }
  sint32 utc_offset_minutes() const { return utc_offset_minutes_; }

  bool operator==(const Datetime&) const = default;

 private:
  sint64 microseconds_ = 0;
  sint32 utc_offset_minutes_ = 0;
  bool interval_ = true;
};

}  // namespace ovk_cimple

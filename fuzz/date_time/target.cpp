// CIM date-times. The framework and the object manager read them and agree but for asterisks, days
// beyond a month's end and second 60; these two and the support library write them alike. An input
// that does not have 25 characters is taken for the numbers that a date-time is made of.
#include "fuzz/target.h"

#include <algorithm>
#include <cstring>

#include "broker/date_time.h"
#include "platform/framework/datetime.h"
#include "platform/support/cimdatetime.h"

namespace {

using ovk_cimple::Datetime;

void require_same(const Datetime& value) {
  const std::string text = value.to_string().c_str();
  fuzz::require(text.size() == 25, "a date-time has 25 characters");
  fuzz::require(Datetime::parse(text) == value, "what is written reads the same");
  fuzz::require(broker::is_datetime(text), "both sides take it");
  fuzz::require(broker::is_interval(text) == value.is_interval(), "as the same kind");
  fuzz::require(broker::datetime_microseconds(text) == value.microseconds(), "of the same value");
  if (value.is_interval()) {
    fuzz::require(broker::interval_text(static_cast<std::uint64_t>(value.microseconds())) == text,
                  "both sides write an interval alike");
    return;
  }
  const int offset = value.utc_offset_minutes();
  fuzz::require(broker::time_stamp_text(value.microseconds(), offset) == text,
                "both sides write a time stamp alike");
  fuzz::require(NKVRHVX20::TCIMDateTime(value.microseconds(), offset).ToString() == text,
                "and the support library");
}

void read_numbers(std::string_view bytes) {
  std::int64_t microseconds = 0;
  std::int32_t offset = 0;
  std::memcpy(&microseconds, bytes.data(), std::min(bytes.size(), sizeof microseconds));
  if (bytes.size() > sizeof microseconds) {
    bytes.remove_prefix(sizeof microseconds);
    std::memcpy(&offset, bytes.data(), std::min(bytes.size(), sizeof offset));
  }
  require_same(Datetime(static_cast<ovk_cimple::uint64>(microseconds)));
  const Datetime stamp = Datetime::time_stamp(microseconds, offset);
  require_same(stamp);
  fuzz::require(
      NKVRHVX20::TCIMDateTime(microseconds, offset).ToString() == stamp.to_string().c_str(),
      "both bring what has no text form to the nearest end");
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  const auto value = Datetime::parse(input);
  if (value) require_same(*value);
  if (broker::is_datetime(input)) {
    const std::int64_t microseconds = broker::datetime_microseconds(input);
    require(!value || value->microseconds() == microseconds, "both sides mean the same");
    require(value || input.find('*') != input.npos || input.substr(6, 2) > "28" ||
                input.substr(12, 2) == "60",
            "both take all but asterisks, days beyond a month's end and leap seconds");
  } else {
    require(!value, "both sides take it");
  }
  if (input.size() != 25) read_numbers(input);
}

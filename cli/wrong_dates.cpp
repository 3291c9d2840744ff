#include "cli/wrong_dates.h"

#include <fmt/format.h>

#include <optional>

namespace cli {

using drivetest::TestRow;
using drivetest::Time;

bool lies_ahead(Time date, Time now) {
  constexpr std::chrono::days kClocksDiffer{1};
  return date - now > kClocksDiffer;
}

bool drop_dates_ahead(TestRow& row, Time now) {
  const auto drop = [&](std::optional<Time>& date) {
    if (!date || !lies_ahead(*date, now)) return false;
    date.reset();
    return true;
  };
  const bool has_started_ahead = drop(row.started);
  const bool has_ended_ahead = drop(row.ended);
  drop(row.looked);
  drop(row.progressed);
  // All later rows of the drive are recorded as late, whatever the clock says then.
  if (lies_ahead(row.recorded, now))
    row.recorded = row.ended.value_or(row.looked.value_or(row.started.value_or(Time{})));
  return has_started_ahead || has_ended_ahead;
}

std::string dated_ahead_text(std::size_t tests) {
  return fmt::format("{} of later than now, by a clock that was wrong: {} no date here",
                     tests == 1 ? "one test is" : fmt::format("{} tests are", tests),
                     tests == 1 ? "it has" : "they have");
}

}  // namespace cli

// Dates of tests that a clock made which was ahead.
#pragma once

#include <cstddef>
#include <string>

#include "drivetest/test_row.h"

namespace cli {

// Whether the date is later than the clocks of two machines differ.
bool lies_ahead(drivetest::Time date, drivetest::Time now);

// Takes such dates out of the test, which then counts as one that nobody saw: else a drive that
// passed a test in the year 2099 would never be overdue. Whether there was one when it was started
// or ended.
bool drop_dates_ahead(drivetest::TestRow& row, drivetest::Time now);

// What is to be told of so many tests, one at least. A sentence without its full stop.
std::string dated_ahead_text(std::size_t tests);

}  // namespace cli

// One drive that the history knows under two names, as one. Internal to the history.
#pragma once

#include <cstdint>

#include "drivetest/database.h"
#include "drivetest/test_row.h"

namespace drivetest {

// All that is known of `before` becomes that of `named`, and `before` is no more. A test that both
// took from the drive's log stands once. If both have a running test, the earlier one ends as
// unknown. But a row that merely repeats the other one's test is deleted.
void join_drives(Database& database, std::int64_t before, std::int64_t named, Time now);

}  // namespace drivetest

// Which entries of a drive's log the history has already where it has tests of the drive and has
// never seen its log: they came with a file. Pure functions.
#pragma once

#include <vector>

#include "drivetest/log_growth.h"
#include "drivetest/test_row.h"

namespace drivetest {

// Leaves what such a test tells out of what the log has. `kept` are the tests with the drive's own
// entry, the oldest first. As the log has its entries in the order of the tests, too, each entry is
// one of them at most, and equal entries are as many tests as they are entries.
void leave_out_kept(LogGrowth& growth, const std::vector<TestRow>& kept);

}  // namespace drivetest

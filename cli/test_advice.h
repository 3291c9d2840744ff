// What to do about a drive whose newest test did not pass.
#pragma once

#include <string>

#include "drivetest/drive.h"
#include "drivetest/test_row.h"

namespace cli {

// "back up its data, then replace it: Example Disk 500, serial number EX0001, at ..."; why a test
// was aborted, as far as that can be known, and how the next one comes to its end. Empty: nothing
// to do, or nothing is known. Not escaped. Of a failed drive sysfs is read.
std::string test_advice(const drivetest::Drive& drive, const drivetest::TestRow& row);

}  // namespace cli

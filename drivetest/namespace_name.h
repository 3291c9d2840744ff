// The name of an NVMe drive's namespace as the kernel has read it. smartctl tells EUI-64 alone, and
// many drives for data centres have an NGUID instead.
#pragma once

#include <string>

#include "drivetest/drive.h"

namespace drivetest {

// "nguid-" and 32 digits in lower case; empty where the controller shows no namespace or several,
// or that has no NGUID. From the kernel's memory; asks no drive. The tree below HVX_SYSFS_ROOT is
// read where that is set.
std::string nguid_of(const Place& place);

}  // namespace drivetest

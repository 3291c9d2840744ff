// A drive's world wide name as the kernel has read it when the drive came. smartctl tells of NVMe
// the EUI-64 alone, and many drives for data centres have an NGUID instead; and a command of
// smartctl's that fails once must not make another drive of this one.
#pragma once

#include <string>

#include "drivetest/drive.h"

namespace drivetest {

// In the form of Drive::world_wide_name: that of a SCSI disk, and of an NVMe drive that of its only
// namespace; empty where the kernel has none, or not the drive's own, as behind a USB bridge or a
// RAID controller. From the kernel's memory; asks no drive. The tree below HVX_SYSFS_ROOT is read
// where that is set.
std::string kernel_name_of(const Drive& drive);

}  // namespace drivetest

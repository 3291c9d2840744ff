// A drive's world wide name as the kernel has read it when the drive came. smartctl tells of NVMe
// the EUI-64 alone, and many drives for data centres have an NGUID instead; and a command of
// smartctl's that fails once must not make another drive of this one. And what else the tools do
// not tell of NVMe drives.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "drivetest/drive.h"

namespace drivetest {

// In the form of Drive::world_wide_name: that of a SCSI disk, and of an NVMe drive that of its only
// namespace; empty where the kernel has none, or not the drive's own, as behind a USB bridge or a
// RAID controller. From the kernel's memory; asks no drive. The tree below HVX_SYSFS_ROOT is read
// where that is set.
std::string kernel_name_of(const Drive& drive);

// Whether an NVMe drive rotates, which its tools do not tell; not set where none of its namespaces
// tells, or they differ. Of other drives it is never set.
std::optional<bool> kernel_rotation_of(const Drive& drive);

// In the form of Drive::world_wide_name what the kernel writes as "naa.5000c500a1b2c3d4"; empty for
// a name that it writes in another form.
std::string name_of_naa(std::string_view text);

// Whether the device is a name space, "/dev/nvme0n1", and neither a controller nor another disk.
bool is_nvme_namespace(std::string_view device);

}  // namespace drivetest

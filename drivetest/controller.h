// Which controller a drive is behind, so that not too many tests load one at once.
//
// A controller is what the kernel's driver drives as one: a host adapter, that is a function of a
// PCI device. All ports of an AHCI controller are behind one, all drives of a RAID controller,
// however they are reached, and all USB drives of one USB host controller. An NVMe drive is its own
// controller. Where there is no PCI, it is the SCSI host, else the drive.
#pragma once

#include <string>

#include "drivetest/drive.h"

namespace drivetest {

// A text that drives behind one controller share: "0000:00:1f.2", "host3", "/dev/vda". From the
// kernel's memory; asks no drive. The tree below HVX_SYSFS_ROOT is read where that is set.
std::string controller_of(const Place& place);

// Whether there is a controller whose drives the kernel does not show, and smartctl's scan does.
bool may_hide_drives();

}  // namespace drivetest

// Arrays of Linux' software RAID (md) that rebuild or check their drives now. Such work reads or
// writes all of each drive, and a self-test beside it makes both take much longer.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "inventory/sysfs.h"

namespace drivetest {

struct BusyArray {
  std::string name;                  // "md0"
  std::string work;                  // "recovery", "resync", "reshape" or "check"
  std::vector<std::string> members;  // block devices: "sda1", "nvme0n1p2", "dm-3"
};

// From the text of /proc/mdstat. Work that waits for other arrays on the same drives (DELAYED)
// counts; work that begins only when the array is written to (PENDING) does not, since that may be
// never. What is not understood counts as no work.
std::vector<BusyArray> busy_arrays(std::string_view mdstat);

// The whole disks below a block device: "sda" below "sda1", and all disks below a device mapper's
// or an array. By its name where sysfs does not know the device.
std::vector<std::string> disks_below(const inventory::Sysfs& sysfs, const std::string& device);

// What the machine's busy arrays do to its disks: "sda" to "md0: recovery". The files below
// HVX_SYSFS_ROOT are read where that is set. Asks no drive.
std::map<std::string, std::string> busy_disks();

// What such an array does to the disk that one of these nodes is ("/dev/sda"); empty: none does.
std::string work_of_array(const std::map<std::string, std::string>& busy,
                          const std::vector<std::string>& nodes);

}  // namespace drivetest

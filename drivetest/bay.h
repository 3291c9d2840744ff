// Where a drive sits, for people who have to pull it: what the kernel tells of it in sysfs and
// below /dev/disk/by-path. No drive is asked.
#pragma once

#include <optional>
#include <string>

#include "drivetest/drive.h"

namespace drivetest {

// Each text is empty where the kernel tells nothing. They come from drives, enclosures and udev:
// escape them before showing.
struct Bay {
  std::string block_device;    // "/dev/sda", by which programs for bays know the drive; checked
  std::string by_path;         // "/dev/disk/by-path/pci-0000:00:1f.2-ata-1"
  std::string enclosure;       // the kernel's address of it: "0:0:24:0"
  std::string enclosure_name;  // its maker and model
  std::string enclosure_id;    // the number that no other enclosure has
  std::string slot;            // the number that the enclosure gives the bay, else the bay's name

  bool operator==(const Bay&) const = default;
};

// The place may also be a link to a device. The tree below HVX_SYSFS_ROOT is read where that is
// set. A drive behind a RAID controller has none: what the kernel tells of the device is true of
// the controller or of its volume, and somebody would pull the wrong drive.
std::optional<Bay> bay_of(const Place& place);

// Whether the device hangs on USB, as far as the kernel tells.
bool is_on_usb(const Place& place);

}  // namespace drivetest

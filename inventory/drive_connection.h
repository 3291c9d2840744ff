// How a drive is connected, in a word for people.
#pragma once

#include <string>
#include <string_view>

namespace inventory {

// Decided by where the device hangs in the kernel's device tree (its path below /sys/devices) and
// by the driver of its SCSI host adapter, if any: "SATA", "ATA", "USB", "NVMe", "virtio", "MMC/SD",
// "Xen", "SAS/RAID (driver)", "SCSI (driver)"; empty when unknown.
std::string connection(std::string_view device_path, std::string_view host_driver);

}  // namespace inventory

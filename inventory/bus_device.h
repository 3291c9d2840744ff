// What sysfs tells of SCSI devices, of whatever type.
#pragma once

#include <string>
#include <vector>

#include "inventory/scsi.h"
#include "inventory/sysfs.h"

namespace inventory {

// Texts are cleaned (device_text.h) and empty when unknown.
struct BusDevice {
  ScsiAddress address;
  bool address_published = false;
  std::string generic;  // "/dev/sg0", the device file for raw commands; empty without the driver sg
  std::string block;    // "/dev/sda"; empty where it is no block device
  std::string vendor;
  std::string model;
  std::string state;  // the kernel's word: running, offline, ...
};

// Every device on the kernel's SCSI bus, in numeric order of the addresses. Takes time in
// proportion to their number.
std::vector<BusDevice> read_bus_devices(const Sysfs& sysfs);

}  // namespace inventory

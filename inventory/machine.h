// What the kernel tells of the machine.
#pragma once

#include <string>

#include "inventory/sysfs.h"

namespace inventory {

// The kernel's host name, cleaned; "localhost" when it has none. No name service is asked: that
// could block, and the name is a key of every drive.
std::string host_name();

// Texts of the firmware (DMI), cleaned (device_text.h) and empty when unknown; uuid and serial are
// readable by root only.
struct Machine {
  std::string vendor;
  std::string product;
  std::string version;
  std::string uuid;
  std::string serial;
};

Machine read_machine(const Sysfs& sysfs);

}  // namespace inventory

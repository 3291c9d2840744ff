#include "inventory/bus_device.h"

#include <algorithm>

#include "inventory/device_text.h"

namespace inventory {

namespace {

// The device file of the only entry in a directory; empty when there is none fit for publishing.
std::string device_file(const Sysfs& sysfs, const std::string& directory) {
  for (const std::string& name : sysfs.entries(directory))
    if (is_device_name("/dev/" + name)) return "/dev/" + name;
  return {};
}

}  // namespace

std::vector<BusDevice> read_bus_devices(const Sysfs& sysfs) {
  const std::string bus = "/sys/bus/scsi/devices";
  const ScsiHosts hosts = read_scsi_hosts(sysfs);
  std::vector<ScsiAddress> addresses;
  for (const std::string& name : sysfs.entries(bus))
    if (const auto address = parse_address(name)) addresses.push_back(*address);
  std::sort(addresses.begin(), addresses.end());

  std::vector<BusDevice> devices;
  for (const ScsiAddress& address : addresses) {
    const std::string place = bus + "/" + to_string(address) + "/";
    if (sysfs.target(place).empty()) continue;
    devices.push_back({address, hosts.publishes(address),
                       device_file(sysfs, place + "scsi_generic"),
                       device_file(sysfs, place + "block"), sysfs.text(place + "vendor"),
                       sysfs.text(place + "model"), sysfs.text(place + "state")});
  }
  return devices;
}

}  // namespace inventory

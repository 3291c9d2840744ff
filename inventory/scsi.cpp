#include "inventory/scsi.h"

#include <algorithm>

namespace inventory {

std::optional<ScsiAddress> parse_address(std::string_view text) {
  ScsiAddress address;
  for (std::uint64_t* part : {&address.host, &address.channel, &address.target, &address.lun}) {
    const bool last = part == &address.lun;
    const std::size_t colon = text.find(':');
    if ((colon == text.npos) != last) return std::nullopt;
    const auto number = parse_number(text.substr(0, colon));
    if (!number) return std::nullopt;
    *part = *number;
    if (!last) text.remove_prefix(colon + 1);
  }
  return address;
}

std::string to_string(const ScsiAddress& address) {
  return std::to_string(address.host) + ':' + std::to_string(address.channel) + ':' +
         std::to_string(address.target) + ':' + std::to_string(address.lun);
}

std::string address_text(const ScsiAddress& address) {
  return "Port:" + std::to_string(address.host) + " Target:" + std::to_string(address.target) +
         " Bus:" + std::to_string(address.channel) + " Lun:" + std::to_string(address.lun);
}

namespace {

// The kernel's driver of USB drives, and its sub-drivers for odd ones, such as ums-realtek.
bool is_usb_storage(std::string_view driver) {
  return driver == "usb-storage" || driver.starts_with("ums-");
}

}  // namespace

ScsiHosts::ScsiHosts(std::map<std::uint64_t, std::string> drivers)
    : drivers_(std::move(drivers)),
      all_emulated_(std::all_of(drivers_.begin(), drivers_.end(), [](const auto& host) {
        return host.second == "ahci" || host.second == "ata_piix" || is_usb_storage(host.second);
      })) {}

const std::string& ScsiHosts::driver(std::uint64_t host) const {
  static const auto& none = *new std::string;
  const auto found = drivers_.find(host);
  return found == drivers_.end() ? none : found->second;
}

bool ScsiHosts::publishes(const ScsiAddress& address) const {
  return !all_emulated_ && !is_usb_storage(driver(address.host));
}

ScsiHosts read_scsi_hosts(const Sysfs& sysfs) {
  const std::string hosts = "/sys/class/scsi_host";
  std::map<std::uint64_t, std::string> drivers;
  for (const std::string& name : sysfs.entries(hosts)) {
    if (!name.starts_with("host")) continue;
    const auto number = parse_number(std::string_view(name).substr(4));
    if (!number) continue;
    const std::string driver =
        sysfs.text(std::string(hosts).append("/").append(name).append("/proc_name"));
    // The kernel prints this for a driver without a name, such as uas.
    drivers[*number] = driver == "(null)" ? "" : driver;
  }
  return ScsiHosts(std::move(drivers));
}

}  // namespace inventory

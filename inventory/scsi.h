// SCSI addresses and host adapters, and which addresses the inventory publishes.
#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "inventory/sysfs.h"

namespace inventory {

// Where a SCSI device is: the kernel's H:C:T:L, in the order in which it sorts.
struct ScsiAddress {
  std::uint64_t host = 0;
  std::uint64_t channel = 0;
  std::uint64_t target = 0;
  std::uint64_t lun = 0;

  auto operator<=>(const ScsiAddress&) const = default;
};

// The address in a text "H:C:T:L" of four decimal numbers and nothing else.
std::optional<ScsiAddress> parse_address(std::string_view text);

// "H:C:T:L", as the kernel and hwinfo write it.
std::string to_string(const ScsiAddress& address);

// "Port:H Target:T Bus:C Lun:L", the form in which discovery reads the address of a bus device.
// It takes the one character that follows each colon, so there is no blank after them, and an
// adapter whose number has two digits is read by its first: a known limit.
std::string address_text(const ScsiAddress& address);

// The machine's SCSI host adapters by number, each with its driver's name.
class ScsiHosts {
 public:
  explicit ScsiHosts(std::map<std::uint64_t, std::string> drivers);

  // Empty when there is no such host adapter or it has no name.
  const std::string& driver(std::uint64_t host) const;

  // Whether a device's address is published. ATA and USB drives have addresses only because the
  // kernel emulates them, and each published address costs discovery a run of hwinfo for every
  // drive. So no address is published where every host adapter is ahci, ata_piix or usb-storage.
  // With any other adapter all addresses are: discovery recognises drives behind such an adapter by
  // their address alone, and finds onboard drives beside a logical volume testable by theirs alone.
  // The address of a drive of usb-storage, or of one of its sub-drivers (ums-*), is never
  // published, so that such a drive is left out for being a USB drive.
  bool publishes(const ScsiAddress& address) const;

 private:
  std::map<std::uint64_t, std::string> drivers_;
  bool all_emulated_;
};

ScsiHosts read_scsi_hosts(const Sysfs& sysfs);

}  // namespace inventory

#include "inventory/drive_connection.h"

#include <algorithm>

namespace inventory {

namespace {

// Whether a component of the path is this name with a number behind it.
bool passes(std::string_view path, std::string_view name) {
  for (std::size_t slash = path.find('/'); slash != path.npos; slash = path.find('/', slash + 1)) {
    const std::string_view rest = path.substr(slash + 1);
    if (rest.size() > name.size() && rest.starts_with(name) && rest[name.size()] >= '0' &&
        rest[name.size()] <= '9')
      return true;
  }
  return false;
}

struct Medium {
  std::string_view component;
  const char* word;
};

// In this order: the medium that a drive is reached through stands before what it speaks there.
constexpr Medium kMedia[] = {
    {"usb", "USB"},       {"nvme", "NVMe"},  {"nvme-subsys", "NVMe"},
    {"virtio", "virtio"}, {"mmc", "MMC/SD"}, {"vbd-", "Xen"},
};

// Drivers of SAS and RAID adapters whose drives show no SAS transport.
constexpr std::string_view kRaidDrivers[] = {
    "3w-9xxx", "3w-sas",  "aacraid", "arcmsr", "esas2r", "hpsa",   "isci",     "megaraid_sas",
    "mpi3mr",  "mpt2sas", "mpt3sas", "mptsas", "mvsas",  "pm80xx", "smartpqi",
};

}  // namespace

std::string connection(std::string_view device_path, std::string_view host_driver) {
  for (const Medium& medium : kMedia)
    if (passes(device_path, medium.component)) return medium.word;
  if (passes(device_path, "ata"))
    return host_driver.starts_with("ahci") || host_driver.starts_with("sata_") ? "SATA" : "ATA";

  const bool raid = passes(device_path, "end_device-") ||
                    std::find(std::begin(kRaidDrivers), std::end(kRaidDrivers), host_driver) !=
                        std::end(kRaidDrivers);
  std::string word;
  if (passes(device_path, "host")) word = "SCSI";
  if (raid) word = "SAS/RAID";
  if (!word.empty() && !host_driver.empty()) word.append(" (").append(host_driver).append(")");
  return word;
}

}  // namespace inventory

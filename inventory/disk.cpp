#include "inventory/disk.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "inventory/device_text.h"
#include "inventory/drive_connection.h"

namespace inventory {

namespace {

constexpr std::uint64_t kSectorBytes = 512;  // whatever the drive's own block size

std::string first_text(const Sysfs& sysfs, const std::string& place,
                       std::initializer_list<const char*> attributes) {
  for (const char* attribute : attributes)
    if (std::string text = sysfs.text(place + attribute); !text.empty()) return text;
  return {};
}

// SCSI page 80, "unit serial number": type, page code, two bytes of length, text.
std::string page_serial(const std::string& page) {
  if (page.size() < 4 || page[1] != '\x80') return {};
  const auto byte = [&](std::size_t i) { return std::size_t{static_cast<unsigned char>(page[i])}; };
  return cleaned(std::string_view(page).substr(4, byte(2) << 8 | byte(3)));
}

bool is_floppy(std::string_view name) {
  return name.starts_with("fd") && parse_number(name.substr(2)).has_value();
}

std::string device_name(std::string name) {
  std::replace(name.begin(), name.end(), '!', '/');
  return "/dev/" + name;
}

std::optional<Disk> read_disk(const Sysfs& sysfs, const ScsiHosts& hosts, const std::string& name) {
  const std::string place = "/sys/block/" + name + "/";
  Disk disk;
  disk.device = device_name(name);
  if (!is_device_name(disk.device) || is_floppy(name)) return std::nullopt;
  const std::string path = sysfs.target(place + "device");
  if (path.empty() || sysfs.flag(place + "hidden")) return std::nullopt;

  disk.address = parse_address(std::string_view(path).substr(path.rfind('/') + 1));
  std::string_view driver;
  if (disk.address) {
    const auto type = sysfs.number(place + "device/type");
    if (type && type != 0 && type != 14) return std::nullopt;
    driver = hosts.driver(disk.address->host);
    if (!hosts.publishes(*disk.address)) disk.address.reset();
  }
  disk.connection = connection(path, driver);

  disk.vendor = sysfs.text(place + "device/vendor");
  // virtio publishes its maker's number there, not a name.
  if (disk.vendor.starts_with("0x")) disk.vendor.clear();
  disk.model = first_text(sysfs, place, {"device/model", "device/name"});
  disk.revision = first_text(sysfs, place, {"device/rev", "device/firmware_rev"});
  disk.serial = page_serial(sysfs.bytes(place + "device/vpd_pg80").value_or(""));
  if (disk.serial.empty()) disk.serial = first_text(sysfs, place, {"device/serial", "serial"});
  disk.world_wide_name = first_text(sysfs, place, {"device/wwid", "wwid"});
  disk.state = sysfs.text(place + "device/state");
  disk.bytes = sysfs.number(place + "size");
  if (disk.bytes > std::numeric_limits<std::uint64_t>::max() / kSectorBytes) disk.bytes.reset();
  if (disk.bytes) *disk.bytes *= kSectorBytes;
  disk.block_bytes = sysfs.number(place + "queue/logical_block_size");
  disk.removable = sysfs.flag(place + "removable");
  disk.read_only = sysfs.flag(place + "ro");
  return disk;
}

}  // namespace

std::vector<Disk> read_disks(const Sysfs& sysfs) {
  std::vector<std::pair<std::string, std::string>> names;
  for (std::string& name : sysfs.entries("/sys/block")) {
    std::string key = natural_key(name);
    names.emplace_back(std::move(key), std::move(name));
  }
  std::sort(names.begin(), names.end());

  const ScsiHosts hosts = read_scsi_hosts(sysfs);
  std::vector<Disk> disks;
  for (const auto& [key, name] : names)
    if (auto disk = read_disk(sysfs, hosts, name)) disks.push_back(std::move(*disk));
  return disks;
}

}  // namespace inventory

#include "drivetest/bay.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "drivetest/find_drives.h"
#include "inventory/device_text.h"
#include "inventory/sysfs.h"

namespace drivetest {

namespace {

using inventory::Sysfs;

// The nodes of the drive's blocks, such as /dev/sda, and for NVMe those of its name spaces.
std::vector<std::string> block_devices(const Sysfs& sysfs, const Place& place) {
  std::vector<std::string> nodes;
  const std::string target = sysfs.target(place.device);
  const auto is_meant = [&](const std::string& name) {
    return name == place.device || name == target;
  };
  for (const FoundDrive& one : find_drives({})) {
    if (std::none_of(one.names.begin(), one.names.end(), is_meant)) continue;
    for (const std::string& name : one.names) {
      const std::string block = name.substr(name.rfind('/') + 1);
      const bool is_block = name == "/dev/" + block && inventory::is_device_name(name) &&
                            !sysfs.target("/sys/block/" + block).empty();
      if (is_block) nodes.push_back(name);
    }
  }
  // The path by which the drive was tested comes first.
  std::stable_partition(nodes.begin(), nodes.end(), is_meant);
  return nodes;
}

// The shortest of the links that lead there: udev makes several of different age.
std::string by_path_of(const Sysfs& sysfs, const std::string& node) {
  const std::string folder = "/dev/disk/by-path/";
  const auto key = [](const std::string& name) { return std::pair(name.size(), name); };
  std::string best;
  for (const std::string& link : sysfs.entries(folder))
    if (sysfs.target(folder + link) == node && (best.empty() || key(link) < key(best))) best = link;
  return best.empty() ? best : folder + best;
}

void add_enclosure(const Sysfs& sysfs, const std::string& node, Bay& bay) {
  const std::string device =
      sysfs.target("/sys/block/" + node.substr(node.rfind('/') + 1) + "/device");
  if (device.empty()) return;
  const std::string folder = "/sys/class/enclosure/";
  for (const std::string& enclosure : sysfs.entries(folder)) {
    const std::string place = folder + enclosure + "/";
    for (const std::string& component : sysfs.entries(place)) {
      if (sysfs.target(place + component + "/device") != device) continue;
      bay.enclosure = enclosure;
      bay.enclosure_name = inventory::joined(
          {sysfs.text(place + "device/vendor"), sysfs.text(place + "device/model")});
      bay.enclosure_id = sysfs.text(place + "id");
      const auto number = sysfs.number(place + component + "/slot");
      bay.slot = number ? std::to_string(*number) : component;
      return;
    }
  }
}

}  // namespace

std::optional<Bay> bay_of(const Place& place) {
  if (!member_type(place.type).empty()) return std::nullopt;
  const Sysfs sysfs;
  Bay bay;
  for (const std::string& node : block_devices(sysfs, place)) {
    if (bay.block_device.empty()) bay.block_device = node;
    if (bay.by_path.empty()) bay.by_path = by_path_of(sysfs, node);
    if (bay.slot.empty()) add_enclosure(sysfs, node, bay);
  }
  return bay;
}

bool is_on_usb(const Place& place) {
  const Sysfs sysfs;
  const std::string node = sysfs.target(place.device);
  const std::string& device = node.empty() ? place.device : node;
  const std::string block = "/sys/block/" + device.substr(device.rfind('/') + 1);
  return sysfs.target(block + "/device").find("/usb") != std::string::npos;
}

}  // namespace drivetest

#include "drivetest/namespace_name.h"

#include <string_view>
#include <vector>

#include "inventory/sysfs.h"
#include "platform/words.h"

namespace drivetest {

std::string nguid_of(const Place& place) {
  constexpr std::string_view kNodes = "/dev/";
  constexpr std::size_t kDigits = 32;
  if (!place.device.starts_with("/dev/nvme")) return {};
  const inventory::Sysfs sysfs;
  const std::string folder = "/sys/class/nvme/" + place.device.substr(kNodes.size()) + "/";
  std::vector<std::string> names = sysfs.entries(folder);
  // "nvme0n1", or "nvme0c0n1" for a path to it.
  std::erase_if(names, [](const std::string& name) {
    return !name.starts_with("nvme") || name.find('n', 1) == name.npos;
  });
  if (names.size() != 1) return {};
  std::string name = sysfs.text(folder + names.front() + "/nguid");
  std::erase(name, '-');
  const bool is_name =
      platform::is_hexadecimal(name, kDigits) && name.find_first_not_of('0') != name.npos;
  return is_name ? "nguid-" + name : std::string();
}

}  // namespace drivetest

#include "drivetest/kernel_name.h"

#include <string_view>
#include <vector>

#include "inventory/sysfs.h"
#include "platform/words.h"

namespace drivetest {

namespace {

// The file's digits behind the form; empty where they are not so many, or all zero.
std::string name_in(const inventory::Sysfs& sysfs, const std::string& file, const std::string& form,
                    std::size_t digits) {
  std::string name = sysfs.text(file);
  std::erase_if(name, [](char letter) { return letter == '-' || letter == ' '; });
  const bool is_name =
      platform::is_hexadecimal(name, digits) && name.find_first_not_of('0') != name.npos;
  return is_name ? form + platform::lower(name) : std::string();
}

// Where the kernel shows the namespace; empty where the controller has none or several.
std::string folder_of_namespace(const inventory::Sysfs& sysfs, const std::string& node) {
  if (is_nvme_namespace("/dev/" + node)) return "/sys/block/" + node;
  const std::string folder = "/sys/class/nvme/" + node + "/";
  std::vector<std::string> names = sysfs.entries(folder);
  // "nvme0n1", or "nvme0c0n1" for a path to it.
  std::erase_if(names, [](const std::string& name) { return !is_nvme_namespace("/dev/" + name); });
  return names.size() == 1 ? folder + names.front() : std::string();
}

}  // namespace

std::string kernel_name_of(const Drive& drive) {
  constexpr std::string_view kNodes = "/dev/";
  const Place& place = drive.place;
  if (!place.device.starts_with(kNodes)) return {};
  const std::string node = place.device.substr(kNodes.size());
  const inventory::Sysfs sysfs;
  if (drive.protocol == Protocol::Nvme) {
    if (!node.starts_with("nvme")) return {};
    const std::string folder = folder_of_namespace(sysfs, node);
    if (folder.empty()) return {};
    std::string name = name_in(sysfs, folder + "/eui", "eui-", 16);
    return name.empty() ? name_in(sysfs, folder + "/nguid", "nguid-", 32) : name;
  }
  const bool is_own = drive.protocol == Protocol::Scsi && !drive.is_on_usb &&
                      (place.type.empty() || place.type == "scsi");
  if (!is_own) return {};
  return name_of_naa(sysfs.text("/sys/block/" + node + "/device/wwid"));
}

std::string name_of_naa(std::string_view text) {
  constexpr std::string_view kForm = "naa.";
  if (!text.starts_with(kForm)) return {};
  return "wwn-0x" + std::string(text.substr(kForm.size()));
}

bool is_nvme_namespace(std::string_view device) {
  constexpr std::string_view kForm = "/dev/nvme";
  return device.starts_with(kForm) && device.find('n', kForm.size()) != device.npos;
}

}  // namespace drivetest

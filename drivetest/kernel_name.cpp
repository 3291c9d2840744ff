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

constexpr std::string_view kNodes = "/dev/";

// Where the kernel shows the namespaces of an NVMe drive, or the one that is the drive's place.
std::vector<std::string> folders_of_namespaces(const inventory::Sysfs& sysfs, const Drive& drive) {
  const std::string node = drive.place.device.substr(kNodes.size());
  if (!node.starts_with("nvme")) return {};
  if (is_nvme_namespace(drive.place.device)) return {"/sys/block/" + node};
  const std::string folder = "/sys/class/nvme/" + node + "/";
  std::vector<std::string> found;
  // "nvme0n1", or "nvme0c0n1" for a path to it.
  for (const std::string& name : sysfs.entries(folder))
    if (is_nvme_namespace("/dev/" + name)) found.push_back(folder + name);
  return found;
}

}  // namespace

std::string kernel_name_of(const Drive& drive) {
  const Place& place = drive.place;
  if (!place.device.starts_with(kNodes)) return {};
  const std::string node = place.device.substr(kNodes.size());
  const inventory::Sysfs sysfs;
  if (drive.protocol == Protocol::Nvme) {
    const std::vector<std::string> folders = folders_of_namespaces(sysfs, drive);
    if (folders.size() != 1) return {};
    std::string name = name_in(sysfs, folders.front() + "/eui", "eui-", 16);
    return name.empty() ? name_in(sysfs, folders.front() + "/nguid", "nguid-", 32) : name;
  }
  const bool is_own = drive.protocol == Protocol::Scsi && !drive.is_on_usb &&
                      (place.type.empty() || place.type == "scsi");
  if (!is_own) return {};
  return name_of_naa(sysfs.text("/sys/block/" + node + "/device/wwid"));
}

std::optional<bool> kernel_rotation_of(const Drive& drive) {
  if (drive.protocol != Protocol::Nvme || !drive.place.device.starts_with(kNodes)) return {};
  const inventory::Sysfs sysfs;
  std::optional<bool> rotates;
  for (const std::string& folder : folders_of_namespaces(sysfs, drive)) {
    const auto told = sysfs.number(folder + "/queue/rotational");
    if (!told) continue;
    if (rotates && *rotates != (*told != 0)) return std::nullopt;
    rotates = *told != 0;
  }
  return rotates;
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

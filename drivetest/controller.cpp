#include "drivetest/controller.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "inventory/sysfs.h"
#include "platform/words.h"

namespace drivetest {
namespace {

// "0000:00:1f.2"; the domain may have more digits.
bool is_pci_function(std::string_view name) {
  constexpr std::string_view kForm = "xxxx:xx:xx.x";
  if (name.size() < kForm.size()) return false;
  const std::size_t more = name.size() - kForm.size();
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char form = i < more ? 'x' : kForm[i - more];
    const bool fits = form == 'x' ? platform::hexadecimal_value(name[i]) >= 0 : name[i] == form;
    if (!fits) return false;
  }
  return true;
}

bool is_numbered(std::string_view name, std::string_view kind) {
  return name.starts_with(kind) && name.size() > kind.size() &&
         platform::only_digits(name.substr(kind.size()));
}

// The folder of the kernel's device behind the node.
std::string device_folder(const inventory::Sysfs& sysfs, const std::string& device) {
  const std::string name = device.substr(device.rfind('/') + 1);
  // A RAID controller's own node, "/dev/bus/0", has the number of the SCSI host.
  if (device.starts_with("/dev/bus/")) return sysfs.target("/sys/class/scsi_host/host" + name);
  for (const char* const folder : {"/sys/block/", "/sys/class/nvme/", "/sys/class/scsi_generic/"})
    if (std::string found = sysfs.target(folder + name); !found.empty()) return found;
  return {};
}

}  // namespace

bool may_hide_drives() {
  const inventory::Sysfs sysfs;
  const std::string folder = "/sys/class/scsi_host/";
  return std::ranges::any_of(sysfs.entries(folder), [&](const std::string& host) {
    const std::string driver = sysfs.text(folder + host + "/proc_name");
    return driver == "megaraid_sas" || driver == "megaraid_mbox" || driver == "sssraid";
  });
}

std::string controller_of(const Place& place) {
  std::string function;
  std::string host;
  const std::string folder = device_folder(inventory::Sysfs(), place.device);
  for (std::string_view rest = folder; !rest.empty();) {
    const std::string_view name = platform::take_to(rest, '/');
    if (is_pci_function(name)) function = name;
    if (is_numbered(name, "host")) host = name;
  }
  if (!function.empty()) return function;
  return host.empty() ? place.device : host;
}

}  // namespace drivetest

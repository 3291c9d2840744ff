#include "drivetest/arrays.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>

#include "platform/words.h"

namespace drivetest {

namespace {

using inventory::Sysfs;

constexpr std::array<std::string_view, 4> kWorks = {"recovery", "resync", "reshape", "check"};

// "md0 : active raid1 sdb1[1] sda1[0](F)". Other lines with a colon have no name of one word before
// it, or no members.
std::optional<BusyArray> array_of(std::string_view line) {
  const std::string_view name = platform::take_word(line);
  if (platform::take_word(line) != ":") return std::nullopt;
  BusyArray array{std::string(name), "", {}};
  while (!line.empty()) {
    const std::string_view word = platform::take_word(line);
    const std::size_t bracket = word.find('[');
    const bool is_member = bracket != std::string_view::npos && bracket > 0 &&
                           platform::only_digits(word.substr(bracket + 1, 1)) &&
                           word.find(']', bracket) != std::string_view::npos;
    if (is_member) array.members.emplace_back(word.substr(0, bracket));
  }
  if (array.members.empty()) return std::nullopt;
  return array;
}

// "[==>...]  check = 12.6% (...) finish=150.0min", "resync=DELAYED".
std::string work_of(std::string_view line) {
  while (!line.empty()) {
    const std::string_view word = platform::take_word(line);
    for (const std::string_view work : kWorks) {
      if (word == work && line.starts_with("=")) return std::string(work);
      const bool has_state = word.starts_with(work) && word.substr(work.size()).starts_with("=");
      if (has_state && !word.ends_with("=PENDING")) return std::string(work);
    }
  }
  return {};
}

std::string last_name(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// "sda" of "sda1", "nvme0n1" of "nvme0n1p2": by the kernel's names alone.
std::string without_partition(const std::string& device) {
  const std::size_t digits = device.find_last_not_of("0123456789") + 1;
  if (digits == 0 || digits == device.size()) return device;
  const bool is_after_number = device[digits - 1] == 'p' && digits > 1 &&
                               platform::only_digits(device.substr(digits - 2, 1));
  if (is_after_number) return device.substr(0, digits - 1);
  return device.starts_with("nvme") ? device : device.substr(0, digits);
}

void add_disks(const Sysfs& sysfs, const std::string& device, std::set<std::string>& seen,
               std::vector<std::string>& disks) {
  if (!seen.insert(device).second) return;
  const std::string place = sysfs.target("/sys/class/block/" + device);
  if (place.empty()) {
    disks.push_back(without_partition(device));
    return;
  }
  if (sysfs.number(place + "/partition")) {
    add_disks(sysfs, last_name(place.substr(0, place.rfind('/'))), seen, disks);
    return;
  }
  const std::vector<std::string> below = sysfs.entries(place + "/slaves");
  for (const std::string& one : below) add_disks(sysfs, one, seen, disks);
  if (below.empty()) disks.push_back(device);
}

}  // namespace

std::vector<BusyArray> busy_arrays(std::string_view mdstat) {
  std::vector<BusyArray> arrays;
  std::optional<BusyArray> array;
  while (!mdstat.empty()) {
    const std::string_view line = platform::take_to(mdstat, '\n');
    const bool is_indented = line.empty() || line.front() == ' ' || line.front() == '\t';
    if (!is_indented) array = array_of(line);
    if (!is_indented || !array) continue;
    array->work = work_of(line);
    if (array->work.empty()) continue;
    arrays.push_back(*array);
    array.reset();
  }
  return arrays;
}

std::vector<std::string> disks_below(const Sysfs& sysfs, const std::string& device) {
  std::set<std::string> seen;
  std::vector<std::string> disks;
  // A name that leads elsewhere is none of a device.
  if (device.find('/') == std::string::npos) add_disks(sysfs, device, seen, disks);
  return disks;
}

std::map<std::string, std::string> busy_disks() {
  const char* const root = std::getenv("HVX_SYSFS_ROOT");
  std::ifstream file((root ? root : "") + std::string("/proc/mdstat"));
  const std::string text(std::istreambuf_iterator<char>(file), {});
  const Sysfs sysfs;
  std::map<std::string, std::string> disks;
  for (const BusyArray& array : busy_arrays(text))
    for (const std::string& member : array.members)
      for (const std::string& disk : disks_below(sysfs, member))
        disks.emplace(disk, array.name + ": " + array.work);
  return disks;
}

std::string work_of_array(const std::map<std::string, std::string>& busy,
                          const std::vector<std::string>& nodes) {
  for (const std::string& node : nodes)
    if (const auto found = busy.find(node.substr(node.rfind('/') + 1)); found != busy.end())
      return found->second;
  return {};
}

}  // namespace drivetest

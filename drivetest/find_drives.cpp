#include "drivetest/find_drives.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include "drivetest/kernel_name.h"
#include "drivetest/tool_json.h"
#include "inventory/device_text.h"
#include "inventory/disk.h"
#include "inventory/sysfs.h"

namespace drivetest {

namespace {

using inventory::Sysfs;

// A -d type that may be handed on: "sat+megaraid,5".
bool is_type(std::string_view type) {
  return !type.empty() && type.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789,+-/_") ==
                              std::string_view::npos;
}

std::vector<Place> scanned_places(const ToolOutput& scan) {
  const JsonDocument document(scan.text);
  const JsonPart list = document.root()["devices"];
  std::vector<Place> places;
  for (std::size_t number = 0; number < list.size(); ++number) {
    const JsonPart device = list.at(number);
    Place place{device["name"].text(), device["type"].text()};
    const bool is_usable = place.device.starts_with("/dev/") &&
                           inventory::is_device_name(place.device) && is_type(place.type) &&
                           device["open_error"].text().empty();
    if (is_usable) places.push_back(std::move(place));
  }
  return places;
}

std::string last_name(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::vector<FoundDrive> disks(const Sysfs& sysfs) {
  std::vector<FoundDrive> found;
  for (const inventory::Disk& disk : inventory::read_disks(sysfs)) {
    if (is_nvme_namespace(disk.device)) continue;
    FoundDrive one;
    one.drive.place.device = disk.device;
    one.drive.serial_number = disk.serial;
    one.drive.is_on_usb = disk.connection == "USB";
    // The bridges have names of their own, which are not the drives'.
    if (!one.drive.is_on_usb) one.drive.world_wide_name = name_of_naa(disk.world_wide_name);
    one.drive.size = disk.bytes;
    const std::string block = "/sys/block/" + last_name(disk.device);
    if (const auto rotates = sysfs.number(block + "/queue/rotational"))
      one.drive.is_rotational = *rotates != 0;
    one.names = {disk.device};
    found.push_back(std::move(one));
  }
  return found;
}

// The controllers that a namespace belongs to: one, or all of its subsystem.
std::vector<std::string> controllers_of(const Sysfs& sysfs, const std::string& block) {
  const std::string owner = last_name(sysfs.target("/sys/block/" + block + "/device"));
  if (!owner.starts_with("nvme-subsys")) return {owner};
  return sysfs.entries("/sys/class/nvme-subsystem/" + owner);
}

std::vector<FoundDrive> nvme_drives(const Sysfs& sysfs) {
  std::vector<std::string> controllers = sysfs.entries("/sys/class/nvme");
  std::sort(controllers.begin(), controllers.end(), [](const auto& a, const auto& b) {
    return inventory::natural_key(a) < inventory::natural_key(b);
  });
  std::vector<FoundDrive> found;
  std::map<std::string, std::size_t> by_subsystem;
  std::map<std::string, std::size_t> by_controller;
  for (const std::string& controller : controllers) {
    const std::string folder = "/sys/class/nvme/" + controller + "/";
    FoundDrive one;
    one.drive.place.device = "/dev/" + controller;
    if (!inventory::is_device_name(one.drive.place.device)) continue;
    one.drive.protocol = Protocol::Nvme;
    one.drive.model = sysfs.text(folder + "model");
    one.drive.serial_number = sysfs.text(folder + "serial");
    one.drive.firmware = sysfs.text(folder + "firmware_rev");
    one.kernel_name = kernel_name_of(one.drive);
    one.drive.is_rotational = kernel_rotation_of(one.drive);
    one.names = {one.drive.place.device};
    const std::string name = sysfs.text(folder + "subsysnqn");
    const std::string key = name.empty() ? controller : name + "\n" + one.drive.serial_number;
    const auto [place, is_new] = by_subsystem.emplace(key, found.size());
    by_controller[controller] = place->second;
    if (is_new) {
      found.push_back(std::move(one));
      continue;
    }
    FoundDrive& first = found[place->second];
    first.paths.push_back(one.drive.place);
    first.names.push_back(one.drive.place.device);
  }
  for (const std::string& block : sysfs.entries("/sys/block")) {
    if (!is_nvme_namespace("/dev/" + block)) continue;
    for (const std::string& controller : controllers_of(sysfs, block)) {
      const auto owner = by_controller.find(controller);
      if (owner == by_controller.end()) continue;
      found[owner->second].names.push_back("/dev/" + block);
      break;
    }
  }
  return found;
}

bool is_same_drive(const Drive& a, const Drive& b) {
  return !a.world_wide_name.empty() && a.world_wide_name == b.world_wide_name &&
         !a.serial_number.empty() && a.serial_number == b.serial_number && a.size == b.size;
}

// Whether the name is one that makers register: NAA 5 or 6 with the number of a company and one
// that the company has given. Cheap drives have names that are none.
bool is_registered(std::string_view name) {
  constexpr std::string_view kForm = "wwn-0x";
  constexpr std::size_t kCompany = 6;
  if (!name.starts_with(kForm)) return false;
  name.remove_prefix(kForm.size());
  const bool is_naa =
      (name.size() == 16 && name.front() == '5') || (name.size() == 32 && name.front() == '6');
  if (!is_naa) return false;
  const auto is_number = [](std::string_view digits) {
    return digits.find_first_not_of('0') != digits.npos &&
           digits.find_first_not_of('f') != digits.npos;
  };
  return is_number(name.substr(1, kCompany)) && is_number(name.substr(1 + kCompany));
}

// SAS drives may have no serial number. The name that such a drive has is that of its logical unit,
// which is the same on all paths, and two looks at one drive find the same hour.
bool is_same_logical_unit(const Look& a, const Look& b) {
  const auto may_be_path = [](const Look& look) {
    return look.fault == LookFault::None && look.drive.protocol == Protocol::Scsi &&
           !look.drive.is_on_usb && look.drive.serial_number.empty() &&
           is_registered(look.drive.world_wide_name);
  };
  if (!may_be_path(a) || !may_be_path(b)) return false;
  const std::uint64_t hours = a.power_on_hours.value_or(0);
  const std::uint64_t others = b.power_on_hours.value_or(0);
  return a.drive.world_wide_name == b.drive.world_wide_name && a.drive.model == b.drive.model &&
         a.drive.firmware == b.drive.firmware && a.drive.size && a.drive.size == b.drive.size &&
         std::max(hours, others) - std::min(hours, others) <= 1;
}

// A drive in standby does not say its serial number. Then the name decides, unless something
// differs.
bool is_same_drive(const Look& a, const Look& b) {
  if (is_same_drive(a.drive, b.drive) || is_same_logical_unit(a, b)) return true;
  const std::string& serial = a.drive.serial_number;
  const bool is_silent = (a.fault != LookFault::None && serial.empty()) ||
                         (b.fault != LookFault::None && b.drive.serial_number.empty());
  return is_silent && !a.drive.world_wide_name.empty() &&
         a.drive.world_wide_name == b.drive.world_wide_name && a.drive.size == b.drive.size;
}

bool is_able(const Look& look) {
  return std::any_of(look.abilities.begin(), look.abilities.end(),
                     [](const Ability& ability) { return ability.is_able; });
}

// Of several ways to a drive the best one answers. Next counts whether tests can be started by it,
// and then whether it has a device node.
bool is_better_way(const Look& a, const FoundDrive& of_a, const Look& b, const FoundDrive& of_b) {
  const auto worth = [](const Look& look, const FoundDrive& found) {
    return std::tuple(look.fault == LookFault::None, is_able(look), !found.names.empty());
  };
  return worth(a, of_a) > worth(b, of_b);
}

void add_path(FoundDrive& first, const FoundDrive& other) {
  first.paths.push_back(other.drive.place);
  first.paths.insert(first.paths.end(), other.paths.begin(), other.paths.end());
  first.names.insert(first.names.end(), other.names.begin(), other.names.end());
}

void add_types(std::vector<FoundDrive>& drives, const std::vector<Place>& scanned) {
  for (const Place& place : scanned) {
    const auto known = std::find_if(drives.begin(), drives.end(), [&](const FoundDrive& one) {
      return std::find(one.names.begin(), one.names.end(), place.device) != one.names.end();
    });
    if (known == drives.end()) {
      FoundDrive one;
      one.drive.place = place;
      drives.push_back(std::move(one));
      // smartctl's own choice for a SCSI disk needs no words. The scan also calls an ATA drive so
      // that did not answer at that moment, and as such its tests could not be read.
    } else if (known->drive.protocol != Protocol::Nvme && known->drive.place.type.empty() &&
               place.type != "scsi") {
      known->drive.place.type = place.type;
    }
  }
}

void add_links(const Sysfs& sysfs, std::vector<FoundDrive>& drives) {
  const std::string folder = "/dev/disk/by-id/";
  std::map<std::string, std::vector<std::string>> links;
  for (const std::string& link : sysfs.entries(folder))
    links[sysfs.target(folder + link)].push_back(folder + link);
  for (FoundDrive& one : drives) {
    std::set<std::string> all;
    for (const std::string& name : one.names)
      if (const auto found = links.find(name); found != links.end())
        all.insert(found->second.begin(), found->second.end());
    one.names.insert(one.names.end(), all.begin(), all.end());
  }
}

// What the kernel knows a drive by. It may know no model, and cheap drives have neither a name nor
// a serial number of their own. A serial number behind USB may be the bridge's.
std::string known_claim(const FoundDrive& known) {
  if (!known.kernel_name.empty()) return known.kernel_name;
  const Drive& drive = known.drive;
  std::string claim = drive.claimed_identity();
  return claim.empty() && !drive.is_on_usb ? drive.serial_number : claim;
}

bool may_be(const FoundDrive& known, const Drive& said) {
  const auto is_it = [](const std::string& a, const std::string& b) {
    return !a.empty() && a == b;
  };
  return is_it(known.kernel_name, said.world_wide_name) ||
         is_it(known.drive.world_wide_name, said.world_wide_name) ||
         is_it(known.drive.serial_number, said.serial_number);
}

bool is_nvme(const FoundDrive& one) { return one.drive.protocol == Protocol::Nvme; }

// A drive in standby does not say its model; then the serial number that the kernel knows decides.
bool claim_the_same(const Look& a, const Look& b) {
  const std::string claim = a.drive.claimed_identity();
  if (!claim.empty() && claim == b.drive.claimed_identity()) return true;
  const bool is_silent = a.fault != LookFault::None || b.fault != LookFault::None;
  return is_silent && a.drive.world_wide_name.empty() && b.drive.world_wide_name.empty() &&
         !a.drive.serial_number.empty() && a.drive.serial_number == b.drive.serial_number;
}

void note_shared(std::vector<Drive>& shared, const Look& first, const Look& second) {
  if (!claim_the_same(first, second)) return;
  for (const Look* const look : {&first, &second})
    if (std::ranges::find(shared, look->drive.place, &Drive::place) == shared.end())
      shared.push_back(look->drive);
}

}  // namespace

std::vector<FoundDrive> find_drives(const ToolOutput& scan) {
  const Sysfs sysfs;
  std::vector<FoundDrive> all = disks(sysfs);
  std::vector<FoundDrive> nvme = nvme_drives(sysfs);
  all.insert(all.end(), nvme.begin(), nvme.end());
  add_types(all, scanned_places(scan));
  std::stable_sort(all.begin(), all.end(), [](const FoundDrive& a, const FoundDrive& b) {
    const auto key = [](const Place& place) {
      return std::pair(inventory::natural_key(place.device), inventory::natural_key(place.type));
    };
    return key(a.drive.place) < key(b.drive.place);
  });

  std::vector<FoundDrive> drives;
  for (FoundDrive& one : all) {
    const auto first = std::find_if(drives.begin(), drives.end(), [&](const FoundDrive& other) {
      return is_same_drive(other.drive, one.drive);
    });
    if (first == drives.end())
      drives.push_back(std::move(one));
    else
      add_path(*first, one);
  }
  add_links(sysfs, drives);
  return drives;
}

std::string path_named(const std::string& name, const std::filesystem::path& folder) {
  if (name.find('/') == name.npos) return {};
  const std::filesystem::path path = folder / name;
  const bool is_absolute = name.starts_with("/");
  // The name of a link stays. What is before ".." may be a link too, and then leads up elsewhere.
  const bool leads_up = std::ranges::find(path, "..") != path.end();
  if (is_absolute && !leads_up) return path.lexically_normal();
  std::error_code error;
  std::string canonical = std::filesystem::weakly_canonical(path, error);
  if (error) canonical = path;
  const bool is_path = is_absolute || name.front() == '.' || !Sysfs().target(canonical).empty();
  return is_path ? canonical : std::string();
}

std::optional<Place> place_named(const std::vector<FoundDrive>& drives, const std::string& name,
                                 const std::string& type) {
  std::error_code error;
  const std::string path = path_named(name, std::filesystem::current_path(error));
  const bool is_path = !path.empty();
  const std::string target = is_path ? Sysfs().target(path) : std::string();
  const auto is_meant = [&](const std::string& known) {
    return is_path ? known == path || known == target : known == name || last_name(known) == name;
  };
  for (const FoundDrive& one : drives) {
    if (std::none_of(one.names.begin(), one.names.end(), is_meant)) continue;
    if (type.empty()) return one.drive.place;
    return Place{one.drive.place.device, type};
  }
  if (is_path) return Place{path, type};
  std::vector<Place> places;
  for (const FoundDrive& one : drives)
    if (!name.empty() && one.drive.serial_number == name) places.push_back(one.drive.place);
  if (places.size() != 1) return std::nullopt;
  if (!type.empty()) places.front().type = type;
  return places.front();
}

std::vector<std::size_t> drives_in_doubt(const std::vector<FoundDrive>& drives,
                                         const std::vector<std::optional<Look>>& looks) {
  if (drives.size() < 2) return {};
  std::map<std::string, int> claims;
  for (const FoundDrive& one : drives)
    for (const std::string& claim : std::set{known_claim(one), one.drive.claimed_identity()})
      ++claims[claim];
  const bool are_several_nvme = std::ranges::count_if(drives, is_nvme) > 1;
  const auto may_have_name_of_other = [&](const FoundDrive& one) {
    return are_several_nvme && is_nvme(one) && one.kernel_name.empty();
  };
  const auto is_said_elsewhere = [&](std::size_t number) {
    for (std::size_t other = 0; other < drives.size(); ++other)
      if (other != number && looks[other] && may_be(drives[number], looks[other]->drive))
        return true;
    return false;
  };
  std::vector<std::size_t> doubtful;
  for (std::size_t number = 0; number < drives.size(); ++number) {
    const FoundDrive& one = drives[number];
    const std::string claim = known_claim(one);
    // Only the drive tells whether the kernel's name or its serial number is what it is known by.
    const std::string other = one.drive.claimed_identity();
    const bool are_alike =
        claims[claim] > 1 || (!one.kernel_name.empty() && !other.empty() && claims[other] > 1);
    if (claim.empty() || are_alike || may_have_name_of_other(one) || is_said_elsewhere(number))
      doubtful.push_back(number);
  }
  return doubtful;
}

std::vector<Drive> join_paths(std::vector<FoundDrive>& drives,
                              std::vector<std::optional<Look>>& looks) {
  std::vector<Drive> shared;
  for (std::size_t place = 0; place < looks.size(); ++place)
    for (std::size_t other = place + 1; other < looks.size();) {
      const bool are_known = looks[place] && looks[other];
      if (!are_known || !is_same_drive(*looks[place], *looks[other])) {
        if (are_known) note_shared(shared, *looks[place], *looks[other]);
        ++other;
        continue;
      }
      if (is_better_way(*looks[other], drives[other], *looks[place], drives[place])) {
        std::swap(drives[place], drives[other]);
        std::swap(looks[place], looks[other]);
      }
      add_path(drives[place], drives[other]);
      drives.erase(drives.begin() + static_cast<std::ptrdiff_t>(other));
      looks.erase(looks.begin() + static_cast<std::ptrdiff_t>(other));
    }
  return shared;
}

}  // namespace drivetest

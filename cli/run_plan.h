// Which drives a call of "hddtest run" tests, and why not the others.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/drive_list.h"
#include "cli/places.h"

namespace cli {

// Who tests the drive.
enum class Way {
  Module,   // or, where its SMART is off, the library
  Forced,   // the module, whatever it thinks of the drive
  Library,  // drivetest
};

struct PlannedDrive {
  std::string name;  // as the user named it
  // As the module will know it, or where the library finds it; the name where no path leads to it.
  std::string device;
  std::optional<std::string> reason{};  // why it is not tested; Way::Library: by the module
  std::string cause{};                  // the same as one word for programs
  std::string words{};                  // the same in the words of the list of drives
  Way way = Way::Module;
  std::string type{};        // for smartctl -d; not for the module
  bool is_apart = false;     // another drive claims to be this one; Way::Library
  std::string controller{};  // that it is behind; see drivetest/controller.h

  bool is_tested() const { return !reason || way == Way::Library; }
};

// Without discovery: every name is passed on as it stands. Several names of one drive count once.
std::vector<PlannedDrive> plan_forced(const std::vector<std::string>& names);

// The named drives, with what discovery decided on them. A name may be a link, such as one below
// /dev/disk/by-id, and a relative path.
std::vector<PlannedDrive> plan_named(const std::vector<std::string>& names, const Places& places,
                                     const std::vector<ListedDrive>& drives);

// The named drives, none of which is tested.
std::vector<PlannedDrive> plan_none(const std::vector<std::string>& names, const std::string& cause,
                                    const std::string& reason);

// Every drive of the machine: those that discovery offers, and the others with its reason.
std::vector<PlannedDrive> plan_all(const std::vector<ListedDrive>& drives);

}  // namespace cli

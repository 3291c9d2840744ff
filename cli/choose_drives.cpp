// Which drives are meant by their names.
#include <algorithm>
#include <numeric>
#include <set>
#include <utility>

#include "cli/drive_tests.h"
#include "cli/failure.h"
#include "cli/output.h"

namespace cli {

using drivetest::Drive;
using drivetest::FoundDrive;
using drivetest::Place;
using drivetest::SeenLook;

namespace {

bool is_same(const Place& a, const Place& b) {
  return a.device == b.device && drivetest::member_type(a.type) == drivetest::member_type(b.type);
}

// A type of the user's own takes the place of what smartctl has found for the drives that are
// named. Which drives these are.
std::vector<std::size_t> take_type(std::vector<FoundDrive>& found,
                                   const std::vector<std::string>& names, const std::string& type) {
  std::set<std::size_t> numbers;
  for (const std::string& name : names) {
    const std::optional<Place> place = place_named(found, name, type);
    for (std::size_t number = 0; place && number < found.size(); ++number)
      if (is_same(found[number].drive.place, *place)) numbers.insert(number);
  }
  for (const std::size_t number : numbers) found[number].drive.place.type = type;
  return {numbers.begin(), numbers.end()};
}

// Where the kernel shows the drive: /dev/nvme0 and /dev/nvme0n1, or both of two paths.
std::vector<std::string> nodes_of(const FoundDrive& found) {
  std::vector<std::string> nodes = {found.drive.place.device};
  for (const Place& path : found.paths) nodes.push_back(path.device);
  for (const std::string& name : found.names)
    if (!name.starts_with("/dev/disk/")) nodes.push_back(name);
  return nodes;
}

std::vector<std::size_t> all_of(std::size_t count) {
  std::vector<std::size_t> numbers(count);
  std::iota(numbers.begin(), numbers.end(), std::size_t{0});
  return numbers;
}

}  // namespace

// Why the name is that of no drive or of more than one, and what to do. No other name is proposed:
// the serial number next to it is another drive's.
std::string DriveTests::not_chosen_reason(const Survey& survey, const std::string& name) {
  std::string owners;
  for (const FoundDrive& one : survey.found)
    if (!name.empty() && one.drive.serial_number == name)
      owners += listed(one.drive.place, survey.found);
  if (owners.empty()) return "there is no such drive; 'hddtest status' shows all";
  return "several drives have that serial number:" + owners + "; name one by its device";
}

ChosenDrive DriveTests::chosen(const Survey& survey, std::size_t number) {
  ChosenDrive drive;
  drive.known = survey.found[number].drive;
  drive.place = drive.known.place;
  drive.name = drive.place.device;
  if (const auto& look = survey.looks[number]) drive.seen = SeenLook{*look, survey.changes};
  drive.nodes = nodes_of(survey.found[number]);
  return drive;
}

ChosenDrive DriveTests::chosen(const Survey& survey, const std::string& name,
                               const std::string& type) {
  const std::optional<Place> place = place_named(survey.found, name, type);
  ChosenDrive drive;
  drive.name = name;
  if (!place) {
    drive.reason = not_chosen_reason(survey, name);
    return drive;
  }
  drive.place = *place;
  // Drives behind a controller share a device; a type of the user's own is not among those found.
  for (std::size_t number = 0; number < survey.found.size(); ++number) {
    const Drive& one = survey.found[number].drive;
    const bool is_first = drive.known.place.device.empty();
    if (is_same(one.place, *place)) {
      drive.known = one;
      drive.nodes = nodes_of(survey.found[number]);
    } else if (is_first && one.place.device == place->device) {
      drive.known.place = one.place;
      drive.nodes = nodes_of(survey.found[number]);
    }
    if (one.place == place && survey.looks[number])
      drive.seen = SeenLook{*survey.looks[number], survey.changes};
  }
  return drive;
}

std::vector<ChosenDrive> DriveTests::choose(const std::vector<std::string>& names,
                                            const std::string& type, bool wake, LooksAhead ahead) {
  if (names.empty() && !type.empty())
    throw WrongCommandLine("--type needs a DEVICE: the type of one drive is not that of others");
  Survey survey{drivetest::find_drives(drives_.scan()), {}, keeper_.changes()};
  survey.looks.resize(survey.found.size());
  if (names.empty() && ahead == LooksAhead::AtAll)
    look_at(survey, all_of(survey.found.size()), wake);
  else if (!type.empty())
    look_at(survey, take_type(survey.found, names, type), wake);
  std::string apart = tell_apart(survey);
  const auto is_found = [&](const std::string& name) {
    return place_named(survey.found, name, type).has_value();
  };
  // The kernel does not know the serial numbers of all drives.
  if (!std::all_of(names.begin(), names.end(), is_found)) {
    look_at(survey, all_of(survey.found.size()), false);
    apart += tell_apart(survey);
  }
  if (!apart.empty())
    complain("these drives claim to be one and the same, and are known by their places:" + apart);
  std::vector<ChosenDrive> drives;
  for (const std::string& name : names) drives.push_back(chosen(survey, name, type));
  if (names.empty())
    for (std::size_t number = 0; number < survey.found.size(); ++number)
      drives.push_back(chosen(survey, number));
  return drives;
}

}  // namespace cli

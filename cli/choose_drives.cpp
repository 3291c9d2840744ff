// Which drives are meant by their names.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <numeric>
#include <set>
#include <utility>

#include "cli/drive_tests.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "drivetest/arrays.h"

namespace cli {

using drivetest::Drive;
using drivetest::FoundDrive;
using drivetest::Look;
using drivetest::LookFault;
using drivetest::Place;
using drivetest::SeenLook;

namespace {

// A type of the user's own takes the place of what smartctl has found for the drives that are
// named. Which drives these are.
std::vector<std::size_t> take_type(std::vector<FoundDrive>& found,
                                   const std::vector<std::string>& names, const std::string& type) {
  std::set<std::size_t> numbers;
  for (const std::string& name : names) {
    const std::optional<Place> place = place_named(found, name, type);
    for (std::size_t number = 0; place && number < found.size(); ++number)
      if (is_same_place(found[number].drive.place, *place)) numbers.insert(number);
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

// Whether smartctl asks there even if there is no such node: the number of a SCSI host stands for
// the drives behind it, and nodes of 3ware and Adaptec controllers it makes itself.
bool need_not_exist(const Place& place) {
  const std::size_t number = place.device.find_last_not_of("0123456789") + 1;
  if (number == place.device.size()) return false;
  const std::string node = place.device.substr(0, number);
  const std::string member = drivetest::member_type(place.type);
  if (node == "/dev/twe" || node == "/dev/twa" || node == "/dev/twl")
    return member.starts_with("3ware");
  if (node == "/dev/aac") return member.starts_with("aacraid");
  return node == "/dev/bus/";
}

// Why no tool has to ask there, where no drive was found; empty: there may be one all the same.
std::string why_no_device(const Place& place) {
  struct stat status {};
  const std::string& path = place.device;
  if (need_not_exist(place)) return {};
  if (stat(path.c_str(), &status) != 0)
    return errno == ENOENT || errno == ENOTDIR ? std::string(kNoSuchDrive) : std::string();
  const bool is_device = S_ISBLK(status.st_mode) || S_ISCHR(status.st_mode);
  return is_device ? "" : "this is no device";
}

std::vector<std::size_t> all_of(std::size_t count) {
  std::vector<std::size_t> numbers(count);
  std::iota(numbers.begin(), numbers.end(), std::size_t{0});
  return numbers;
}

std::vector<std::size_t> outside_busy_arrays(const std::vector<FoundDrive>& found) {
  const auto busy = drivetest::busy_disks();
  std::vector<std::size_t> numbers;
  for (std::size_t number = 0; number < found.size(); ++number)
    if (drivetest::work_of_array(busy, nodes_of(found[number])).empty()) numbers.push_back(number);
  return numbers;
}

}  // namespace

// With wake those are woken that only their own words tell apart; the others rest on.
void DriveTests::look_outside_busy_arrays(Survey& survey, bool wake) {
  const std::vector<std::size_t> numbers = outside_busy_arrays(survey.found);
  look_at(survey, numbers, false);
  for (std::set<std::size_t> resting(numbers.begin(), numbers.end()); wake;) {
    std::vector<std::size_t> woken;
    for (const std::size_t number : drives_in_doubt(survey.found, survey.looks)) {
      std::optional<Look>& look = survey.looks[number];
      if (!look || look->fault != LookFault::Standby || resting.erase(number) == 0) continue;
      look.reset();
      woken.push_back(number);
    }
    if (woken.empty()) break;
    look_at(survey, woken, true);
  }
}

// The drives that have this serial number by the kernel's word or by their own, or else, where they
// cannot be asked, by the history's. With wake the history is not asked of drives at rest that can
// be woken to say it.
std::vector<std::size_t> DriveTests::owners(const Survey& survey, const std::string& serial_number,
                                            bool wake) {
  std::vector<std::size_t> numbers;
  for (std::size_t number = 0; number < survey.found.size() && !serial_number.empty(); ++number) {
    std::string told = survey.found[number].drive.serial_number;
    const std::optional<Look>& look = survey.looks[number];
    const bool is_to_say = wake && look && look->fault == LookFault::Standby && is_silent(*look);
    if (told.empty() && look && look->fault != LookFault::None && !is_to_say)
      ask_history([&](drivetest::History& history) {
        told = recognised(history, chosen(survey, number), *look).serial_number;
      });
    if (told == serial_number) numbers.push_back(number);
  }
  return numbers;
}

std::optional<Place> DriveTests::named_place(const Survey& survey, const std::string& name,
                                             const std::string& type, bool wake) {
  if (std::optional<Place> place = place_named(survey.found, name, type)) return place;
  const std::vector<std::size_t> numbers = owners(survey, name, wake);
  if (numbers.size() != 1) return std::nullopt;
  Place place = survey.found[numbers.front()].drive.place;
  if (!type.empty()) place.type = type;
  return place;
}

// Whether a drive of one of these serial numbers was tested where this one is now.
bool DriveTests::was_tested_at(const Drive& silent, const std::set<std::string>& serial_numbers) {
  bool was_tested = false;
  ask_history([&](drivetest::History& history) {
    const auto tests = history.at_device(silent.place.device);
    was_tested = std::ranges::any_of(tests, [&](const drivetest::KeptTest& test) {
      return serial_numbers.contains(test.drive.serial_number) && may_be_of(silent, test);
    });
  });
  return was_tested;
}

// Asks silent drives once more for serial numbers that are no other drive's: with wake those that
// rest, and with the type those that did not answer without it where one of that serial number was
// tested. Whether one was asked.
bool DriveTests::ask_silent(Survey& survey, const std::vector<std::string>& names,
                            const std::string& type, bool wake, Silent which) {
  std::set<std::string> wanted;
  for (const std::string& name : names)
    if (!place_named(survey.found, name, type) && owners(survey, name, wake).empty())
      wanted.insert(name);
  if (wanted.empty()) return false;
  std::vector<std::size_t> numbers;
  for (std::size_t number = 0; number < survey.found.size(); ++number) {
    Place& place = survey.found[number].drive.place;
    std::optional<Look>& look = survey.looks[number];
    if (!look || !is_silent(*look)) continue;
    const bool can_be_woken = wake && look->fault == LookFault::Standby;
    const bool may_need_type =
        look->fault == LookFault::CannotBeReached && !type.empty() && place.type != type;
    if (!can_be_woken && !may_need_type) continue;
    if (!(can_be_woken && which == Silent::All) && !was_tested_at(look->drive, wanted)) continue;
    if (may_need_type) place.type = type;
    look.reset();
    numbers.push_back(number);
  }
  look_at(survey, numbers, wake);
  return !numbers.empty();
}

// Why the name is that of no drive or of more than one, and what to do. No other name is proposed:
// the serial number next to it is another drive's.
std::string DriveTests::not_chosen_reason(const Survey& survey, const std::string& name,
                                          bool wake) {
  std::string several;
  for (const std::size_t number : owners(survey, name, wake))
    several += listed(survey.found[number].drive.place, survey.found);
  if (!several.empty())
    return "several drives have that serial number:" + several + "; name one by its device";
  std::string silent;
  bool rests = false;
  for (std::size_t number = 0; number < survey.found.size(); ++number) {
    const std::optional<Look>& look = survey.looks[number];
    if (!look || !is_silent(*look) || look->fault == LookFault::None) continue;
    silent += listed(survey.found[number].drive.place, survey.found);
    rests = rests || look->fault == LookFault::Standby;
  }
  std::string reason(kNoSuchDrive);
  if (!silent.empty()) reason += ", or it is one that cannot be asked now:" + silent;
  if (rests) reason += "; --wake asks those in standby";
  return reason + kShowsAll;
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
                               const std::string& type, bool wake) {
  const std::optional<Place> place = named_place(survey, name, type, wake);
  ChosenDrive drive;
  drive.name = name;
  if (!place) {
    drive.reason = not_chosen_reason(survey, name, wake);
    return drive;
  }
  drive.place = *place;
  // Drives behind a controller share a device; a type of the user's own is not among those found.
  for (std::size_t number = 0; number < survey.found.size(); ++number) {
    const Drive& one = survey.found[number].drive;
    const bool is_first = drive.known.place.device.empty();
    if (is_same_place(one.place, *place)) {
      drive.known = one;
      drive.nodes = nodes_of(survey.found[number]);
    } else if (is_first && one.place.device == place->device) {
      drive.known.place = one.place;
      drive.nodes = nodes_of(survey.found[number]);
    }
    if (one.place == place && survey.looks[number])
      drive.seen = SeenLook{*survey.looks[number], survey.changes};
  }
  const std::string why = drive.known.place.device.empty() ? why_no_device(*place) : std::string();
  if (!why.empty()) drive.reason = why + kShowsAll;
  return drive;
}

void expect_names(const std::vector<std::string>& names) {
  if (std::ranges::find(names, "") != names.end())
    throw WrongCommandLine(
        "the name of a drive is empty: name a device, a serial number or a by-id name");
}

std::vector<ChosenDrive> DriveTests::choose(const std::vector<std::string>& names,
                                            const std::string& type, bool wake, LooksAhead ahead) {
  expect_names(names);
  if (names.empty() && !type.empty())
    throw WrongCommandLine("--type needs a DEVICE: the type of one drive is not that of others");
  Survey survey{drivetest::find_drives(drives_.scan()), {}, keeper_.changes()};
  survey.looks.resize(survey.found.size());
  for (const FoundDrive& one : survey.found)
    named_.insert({one.drive.claimed_identity(), one.kernel_name});
  if (names.empty() && ahead == LooksAhead::AtAll)
    look_at(survey, all_of(survey.found.size()), wake);
  else if (names.empty() && ahead == LooksAhead::OutsideBusyArrays)
    look_outside_busy_arrays(survey, wake);
  else if (!type.empty())
    look_at(survey, take_type(survey.found, names, type), wake);
  std::string apart = tell_apart(survey);
  const auto is_found = [&](const std::string& name) {
    return named_place(survey, name, type, wake).has_value();
  };
  // The kernel does not know the serial numbers of all drives.
  if (!std::all_of(names.begin(), names.end(), is_found)) {
    look_at(survey, all_of(survey.found.size()), false);
    apart += tell_apart(survey);
  }
  // A drive at rest may have to be woken to say its serial number. Those at places where one of the
  // named drives was tested are asked first, so that most others may rest on.
  for (const Silent which : {Silent::WhereTested, Silent::All})
    if (ask_silent(survey, names, type, wake, which)) apart += tell_apart(survey);
  complain_of(apart);
  std::vector<ChosenDrive> drives;
  for (const std::string& name : names) drives.push_back(chosen(survey, name, type, wake));
  if (names.empty())
    for (std::size_t number = 0; number < survey.found.size(); ++number)
      drives.push_back(chosen(survey, number));
  const std::lock_guard guard(lock_);
  chosen_ = std::move(survey);
  return drives;
}

}  // namespace cli

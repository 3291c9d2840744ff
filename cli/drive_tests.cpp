#include "cli/drive_tests.h"

#include <algorithm>
#include <iterator>
#include <thread>

#include "cli/failure.h"
#include "cli/output.h"
#include "platform/at_once.h"

namespace cli {

using drivetest::Drive;
using drivetest::DriveStatus;
using drivetest::FoundDrive;
using drivetest::Look;
using drivetest::LookFault;
using drivetest::Place;
using drivetest::TestRow;

namespace {

constexpr std::size_t kAtOnce = 16;

// What the kernel knows a drive by. It may know no model, and cheap drives have neither a name nor
// a serial number of their own.
std::string claim_of(const Drive& drive) {
  std::string claim = drive.claimed_identity();
  return claim.empty() ? drive.serial_number : claim;
}

// What more than one of the drives claims to be.
std::set<std::string> shared_claims(const std::vector<FoundDrive>& found) {
  std::set<std::string> all;
  std::set<std::string> shared;
  for (const FoundDrive& one : found)
    if (const std::string claim = claim_of(one.drive); !claim.empty() && !all.insert(claim).second)
      shared.insert(claim);
  return shared;
}

std::string text_of(const Place& place) { return place.device + "\n" + place.type; }

ChosenDrive chosen(const std::vector<FoundDrive>& found, const std::string& name,
                   const std::string& type) {
  const std::optional<Place> place = place_named(found, name, type);
  if (!place)
    return {name,
            {},
            "there is no such drive, or several have that serial number; 'hddtest "
            "status' shows them",
            {}};
  ChosenDrive drive{name, *place, {}, {}};
  // Drives behind a controller share a device; a type of the user's own is not among those found.
  for (const FoundDrive& one : found) {
    const bool is_first = drive.known.place.device.empty();
    if (one.drive.place == place || (is_first && one.drive.place.device == place->device))
      drive.known = one.drive;
  }
  return drive;
}

}  // namespace

void DrivesApart::keep_apart(const Place& place) {
  const std::lock_guard guard(lock_);
  apart_.insert(text_of(place));
}

Look DrivesApart::look(const Place& place, bool wake) {
  Look look = tools_.look(place, wake);
  look.drive.shares_identity = is_apart(place);
  return look;
}

bool DrivesApart::is_apart(const Place& place) {
  const std::lock_guard guard(lock_);
  return apart_.contains(text_of(place));
}

void SystemTime::wait(std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration); }

DriveTests::DriveTests(OpensHistory opens)
    : keeper_(drives_, time_, [this] { return &history(); }) {
  if (opens == OpensHistory::AtOnce) keeper_.open_history();
}

std::vector<ChosenDrive> DriveTests::choose(const std::vector<std::string>& names,
                                            const std::string& type) {
  if (names.empty() && !type.empty())
    throw WrongCommandLine("--type needs a DEVICE: the type of one drive is not that of others");
  std::vector<FoundDrive> found = drivetest::find_drives(drives_.scan());
  tell_apart(found, true);
  std::vector<ChosenDrive> drives;
  std::vector<FoundDrive> asked;
  for (const std::string& name : names) {
    ChosenDrive drive = chosen(found, name, type);
    // The kernel does not know the serial numbers of all drives.
    if (!drive.reason.empty()) {
      if (asked.empty()) asked = with_serial_numbers(found);
      drive = chosen(asked, name, type);
    }
    drives.push_back(std::move(drive));
  }
  if (names.empty())
    for (const FoundDrive& one : found)
      drives.push_back({one.drive.place.device, one.drive.place, {}, one.drive});
  return drives;
}

Place DriveTests::place_of(const std::string& device) {
  if (shared_claims(drivetest::find_drives({})).empty()) return {device, ""};
  std::vector<FoundDrive> found = drivetest::find_drives(drives_.scan());
  tell_apart(found, false);
  for (const FoundDrive& one : found)
    if (one.drive.place.device == device) return one.drive.place;
  return {device, ""};
}

std::vector<FoundDrive> DriveTests::with_serial_numbers(std::vector<FoundDrive> found) {
  const std::vector<Look> looks = drivetest::look_at(drives_, found, false);
  for (std::size_t i = 0; i < found.size(); ++i)
    if (!looks[i].drive.serial_number.empty())
      found[i].drive.serial_number = looks[i].drive.serial_number;
  return found;
}

// Where the kernel shows two of one name, their own words decide: a second path to a drive is left
// out, and different drives with one identity are known by their places.
void DriveTests::tell_apart(std::vector<FoundDrive>& found, bool is_told) {
  const std::set<std::string> shared = shared_claims(found);
  const auto is_doubtful = [&](const FoundDrive& one) {
    return shared.contains(claim_of(one.drive));
  };
  std::vector<FoundDrive> doubtful;
  std::copy_if(found.begin(), found.end(), std::back_inserter(doubtful), is_doubtful);
  if (doubtful.empty()) return;
  std::vector<Look> looks = drivetest::look_at(drives_, doubtful, false);
  std::string names;
  for (const Place& place : join_paths(doubtful, looks)) {
    drives_.keep_apart(place);
    names += " " + place.device;
  }
  if (!names.empty() && is_told)
    complain("these drives claim to be one and the same, and are known by their places:" + names);
  std::erase_if(found, [&](FoundDrive& one) {
    if (!is_doubtful(one)) return false;
    const auto kept = std::find_if(doubtful.begin(), doubtful.end(), [&](const FoundDrive& other) {
      return other.drive.place == one.drive.place;
    });
    if (kept != doubtful.end()) one = *kept;
    return kept == doubtful.end();
  });
}

drivetest::History& DriveTests::history() {
  if (no_history_) throw drivetest::HistoryError(*no_history_);
  try {
    if (!history_) history_ = std::make_unique<drivetest::History>();
  } catch (const drivetest::HistoryError& error) {
    no_history_ = error;
    throw;
  }
  return *history_;
}

std::vector<DriveStatus> DriveTests::look_at(const std::vector<ChosenDrive>& drives, bool wake) {
  std::vector<DriveStatus> statuses(drives.size());
  at_once(drives.size(), [&](std::size_t i) {
    if (drives[i].reason.empty()) statuses[i] = keeper_.look(drives[i].place, wake);
  });
  return statuses;
}

std::string DriveTests::identity_of(const ChosenDrive& drive) {
  if (!drive.reason.empty()) return {};
  return identity_of(drive, drives_.look(drive.place, false));
}

// A drive that says nothing, as in standby, is known by what the kernel knows of it or, where that
// is but the serial number, by the only drive that was seen here and has it.
std::string DriveTests::identity_of(const ChosenDrive& drive, const Look& look) {
  if (look.fault == LookFault::None) return look.drive.identity();
  Drive known = drive.known;
  known.place = drive.place;
  known.shares_identity = drives_.is_apart(drive.place);
  if (!known.claimed_identity().empty() || known.serial_number.empty()) return known.identity();
  std::set<std::string> seen;
  for (const drivetest::KnownDrive& one : history().drives())
    if (one.drive.serial_number == known.serial_number &&
        (!known.shares_identity || one.identity.ends_with(known.identity())))
      seen.insert(one.identity);
  return seen.size() == 1 ? *seen.begin() : known.identity();
}

std::optional<TestRow> DriveTests::newest(const ChosenDrive& drive, const DriveStatus& status) {
  if (status.running) return status.running;
  try {
    auto rows = history().of_drive(identity_of(drive, status.look), 1);
    if (!rows.empty()) return std::move(rows.front().row);
  } catch (const drivetest::HistoryError&) {
    // The keeper has met the same, and tells it.
  }
  return status.ended.empty() ? std::nullopt : std::optional(status.ended.front());
}

void DriveTests::tell_of_history() {
  if (const std::string fault = keeper_.history_fault(); !fault.empty())
    complain("nothing is kept in the history: " + fault);
  if (!history_) return;
  for (const std::string& note : history_->take_notes()) complain(note);
}

void at_once(std::size_t count, const std::function<void(std::size_t)>& work) {
  platform::at_once(count, kAtOnce, work);
}

}  // namespace cli

// Which drive one is that does not answer: by what the kernel and the history know of it.
#include <algorithm>
#include <set>
#include <utility>

#include "cli/drive_tests.h"

namespace cli {

using drivetest::Drive;
using drivetest::Look;
using drivetest::LookFault;
using drivetest::TestRow;

namespace {

void add_what_is_known(drivetest::History& history, Drive& told) {
  const std::vector<drivetest::KnownDrive> drives = history.drives();
  const auto known = std::ranges::find(drives, told.identity(), &drivetest::KnownDrive::identity);
  if (known == drives.end()) return;
  for (std::string Drive::*const text : {&Drive::model, &Drive::serial_number, &Drive::firmware})
    if ((told.*text).empty()) told.*text = known->drive.*text;
}

}  // namespace

bool DriveTests::is_known(const Look& look) {
  return look.fault == LookFault::None || !look.drive.claimed_identity().empty();
}

// Whether neither the drive nor the kernel tells which drive it is. One that does not answer is not
// told by the serial number of its USB bridge.
bool DriveTests::is_silent(const Look& look) {
  const Drive& drive = look.drive;
  const bool has_answered = look.fault == LookFault::None;
  return drive.claimed_identity().empty() &&
         (drive.serial_number.empty() || (!has_answered && drive.is_on_usb));
}

// A drive that the kernel names is at that place. But what a controller hides may be the drive that
// it shows to the kernel, too.
bool DriveTests::may_be_of(const Drive& told, const drivetest::KeptTest& test) const {
  static const std::string machine_id = drivetest::this_host().machine_id;
  const std::string serial_number = told.is_on_usb ? std::string() : told.serial_number;
  const bool is_hidden = !drivetest::member_type(told.place.type).empty();
  const bool is_elsewhere =
      answered_.contains(test.row.drive) || (!is_hidden && named_.contains(test.row.drive));
  return is_same_place(test.row.place, told.place) && test.row.machine_id == machine_id &&
         !is_elsewhere && (serial_number.empty() || serial_number == test.drive.serial_number);
}

std::vector<drivetest::KeptTest> DriveTests::tests_at(const Look& look) {
  std::vector<drivetest::KeptTest> tests = history().at_device(look.drive.place.device);
  std::erase_if(tests, [&](const auto& test) { return !may_be_of(look.drive, test); });
  return tests;
}

bool DriveTests::may_be_testing(const Look& look) {
  bool may_be = false;
  try {
    if (!is_known(look))
      keeper_.with_history([&](drivetest::History& history) {
        may_be = std::ranges::any_of(history.running(), [&](const drivetest::KeptTest& test) {
          return may_be_of(look.drive, test);
        });
      });
  } catch (const drivetest::HistoryError&) {
    // The keeper meets this failure too, and reports it.
  }
  return may_be;
}

std::string DriveTests::identity_of(const ChosenDrive& drive, const Look& look) {
  if (look.fault == LookFault::None) return history().identity_of(look.drive);
  return history().identity_of(recognised(history(), drive, look));
}

// A drive that does not answer, as in standby, is known by what it says all the same and by what
// the kernel knows of it or, where that is not its name, by the drive that was seen here and fits.
// The kernel tells no model of most, and firmware of none.
Drive DriveTests::recognised(drivetest::History& history, const ChosenDrive& chosen,
                             const Look& look) {
  Drive told = look.drive;
  for (std::string Drive::*const text :
       {&Drive::world_wide_name, &Drive::serial_number, &Drive::model})
    if ((told.*text).empty()) told.*text = chosen.known.*text;
  told.place = chosen.place;
  told.shares_identity =
      told.shares_identity || drives_.is_apart(told) || history.is_known_apart(told);
  if (!told.world_wide_name.empty()) {
    if (told.model.empty() || told.serial_number.empty() || told.firmware.empty())
      add_what_is_known(history, told);
    return told;
  }
  std::optional<Drive> known = known_drive(history, told);
  if (!known) return told;
  known->is_on_usb = told.is_on_usb;
  return *std::move(known);
}

// The only drive of this machine that has the serial number, and the model where that is told. Of a
// drive that tells nothing, behind a controller, the one that was tested last at its place.
std::optional<Drive> DriveTests::known_drive(drivetest::History& history, const Drive& told) {
  const std::vector<drivetest::KnownDrive> drives = history.drives();
  std::set<std::string> fitting;
  std::set<std::string> by_place;
  std::set<std::string> claims;
  if (!told.serial_number.empty()) {
    Drive nameless;
    nameless.place = told.place;
    for (const drivetest::KnownDrive& one : drives)
      if (one.drive.serial_number == told.serial_number &&
          (told.model.empty() || one.drive.model == told.model)) {
        claims.insert(one.drive.claimed_identity());
        if (one.identity.ends_with(nameless.identity()))
          by_place.insert(one.identity);
        else
          fitting.insert(one.identity);
      }
    const bool is_one_claim = claims.size() == 1 && !by_place.empty();
    if (told.shares_identity || is_one_claim)
      fitting = by_place;
    else
      fitting.merge(by_place);
  } else if (!drivetest::member_type(told.place.type).empty()) {
    const std::string machine_id = drivetest::this_host().machine_id;
    std::optional<TestRow> newest;
    for (const drivetest::KeptTest& test : history.last_of_each_drive())
      if (test.row.machine_id == machine_id && is_same_place(test.row.place, told.place) &&
          !answered_.contains(test.row.drive) && (!newest || newest->recorded < test.row.recorded))
        newest = test.row;
    if (newest) fitting.insert(newest->drive);
  }
  if (fitting.size() != 1) return std::nullopt;
  const auto known = std::ranges::find(drives, *fitting.begin(), &drivetest::KnownDrive::identity);
  if (known == drives.end()) return std::nullopt;
  Drive drive = known->drive;
  drive.place = told.place;
  drive.shares_identity = known->identity != drive.claimed_identity();
  return drive.identity() == known->identity ? std::optional(drive) : std::nullopt;
}

}  // namespace cli

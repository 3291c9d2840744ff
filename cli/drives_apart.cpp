#include "cli/drives_apart.h"

#include <algorithm>

namespace cli {

using drivetest::Drive;
using drivetest::Look;
using drivetest::Place;

namespace {

// What the drive is known by. One that does not say who it is has its place alone.
std::string name_apart(Drive drive) {
  drive.shares_identity = true;
  return drive.identity();
}

Drive unknown_at(const Place& place) {
  Drive drive;
  drive.place = place;
  return drive;
}

}  // namespace

bool DrivesApart::keep_apart(const Place& place) { return keep_apart(unknown_at(place)); }

bool DrivesApart::is_apart(const Place& place) { return is_apart(unknown_at(place)); }

bool DrivesApart::keep_apart(const Drive& drive) {
  const std::lock_guard guard(lock_);
  apart_.insert(name_apart(drive));
  return told_.insert(unknown_at(drive.place).identity()).second;
}

Look DrivesApart::look(const Place& place, bool wake) {
  Look look = tools_.look(place, wake);
  Drive& drive = look.drive;
  if (drive.world_wide_name.empty()) drive.world_wide_name = name_of_(drive);
  const bool was_apart = was_apart_(drive);
  const std::lock_guard guard(lock_);
  // Now one may say who it is that was kept apart before it did.
  const bool is_told = !drive.claimed_identity().empty();
  const bool is_kept = is_told && apart_.erase(unknown_at(place).identity()) > 0;
  if (was_apart || is_kept) apart_.insert(name_apart(drive));
  drive.shares_identity = is_known(drive);
  return look;
}

bool DrivesApart::is_apart(const Drive& drive) {
  const std::lock_guard guard(lock_);
  return is_known(drive);
}

bool DrivesApart::is_known(const Drive& drive) const {
  const std::string name = name_apart(drive);
  if (!drive.claimed_identity().empty()) return apart_.contains(name);
  return std::ranges::any_of(apart_, [&](const std::string& one) { return one.ends_with(name); });
}

}  // namespace cli

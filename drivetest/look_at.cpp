#include <algorithm>

#include "drivetest/find_drives.h"
#include "platform/at_once.h"

namespace drivetest {

namespace {

void fill(std::string& text, const std::string& known) {
  if (text.empty()) text = known;
}

Look look_at_one(DriveAccess& access, const FoundDrive& found, bool wake) {
  Look look = access.look(found.drive.place, wake);
  Drive& drive = look.drive;
  if (!drive.size) drive.size = found.drive.size;
  if (!drive.is_rotational) drive.is_rotational = found.drive.is_rotational;
  // Only then: a name that a drive does not say itself would make another one of it.
  if (look.fault == LookFault::None) return look;
  fill(drive.world_wide_name, found.drive.world_wide_name);
  fill(drive.serial_number, found.drive.serial_number);
  fill(drive.model, found.drive.model);
  fill(drive.firmware, found.drive.firmware);
  if (drive.protocol == Protocol::Unknown) drive.protocol = found.drive.protocol;
  return look;
}

}  // namespace

std::vector<Look> look_at(DriveAccess& access, const std::vector<FoundDrive>& drives, bool wake,
                          unsigned most_at_once) {
  std::vector<Look> looks(drives.size());
  platform::at_once(drives.size(), most_at_once, [&](std::size_t place) {
    looks[place] = look_at_one(access, drives[place], wake);
  });
  return looks;
}

}  // namespace drivetest

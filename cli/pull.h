// What somebody has to know to pull a drive that failed, and no other.
#pragma once

#include <string>

#include "cli/json.h"
#include "drivetest/drive.h"

namespace cli {

// Where the drive sits, as far as that is known: "at /dev/disk/by-path/..., slot 3 of the enclosure
// ...; 'ledctl locate=/dev/sda' lights its bay", with the line for ledctl where that is installed.
// Nobody runs it here. Not escaped. Reads sysfs.
std::string bay_text(const drivetest::Place& place);

// "Example Disk 500, serial number EX0001"; "the drive" where it told neither. Not escaped.
std::string drive_text(const std::string& model, const std::string& serial);

// The place behind the drive's own words: "Example Disk 500, serial number EX0001, at ...".
std::string pull_text(const drivetest::Place& place, const std::string& model,
                      const std::string& serial);

// The place as an object; what is not known is null. Its members are by_path, enclosure,
// enclosure_name, enclosure_id, slot, controller (the -d type of a drive behind one) and locate,
// the line for ledctl.
Json bay_json(const drivetest::Place& place);

}  // namespace cli

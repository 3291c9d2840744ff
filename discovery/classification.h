// What kind of device a drive is, decided by plain substring search in hwinfo's reports and in
// the texts of bus devices. Pure functions: no report is parsed for structure.
//
// A report is a text as C sees it: it ends at its first NUL byte.
#pragma once

#include <optional>
#include <string>

namespace discovery {

// Whether the device's name occurs in the report. Kept on purpose: /dev/sda is found in
// /dev/sdaa too, so a name that is the beginning of a listed one counts as listed.
bool lists_device(const std::string& report, const std::string& device);

// The SCSI address text "Port:H Target:T Bus:C Lun:L" as hwinfo's bus ID "H:C:T:L". Not set when
// the text has no "Port:"; empty when one of the other keys is missing. Kept on purpose: each
// value is one character, so of a target 12 only the 1 is seen and another disk may match.
std::optional<std::string> bus_id(const std::string& address);

enum class Controller {
  BusIdNotListed,  // the report has no such bus ID
  AnotherDevice,   // the block of that bus ID is another drive's
  Onboard,         // the drive's block, driven by ata_piix or ahci
  Raid,            // the drive's block, driven by anything else
};

// What the report's block of a bus ID says of the device. An empty bus ID stands at the report's
// beginning, so the first block is examined then.
Controller controller_of(const std::string& report, const std::string& bus_id,
                         const std::string& device);

enum class DriverLookup { DeviceNotListed, NoDriverLine, Found };

struct Driver {
  DriverLookup lookup;
  std::string information;  // from the last "Driver:" before the device's name up to the name
};

// Kept on purpose: the line may belong to the block of an earlier device when none stands between
// it and the name.
Driver driver_of(const std::string& report, const std::string& device);

}  // namespace discovery

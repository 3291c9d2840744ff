// Reads what smartctl prints with --json=o. Pure: nothing is run.
#pragma once

#include "drivetest/look.h"
#include "drivetest/tool_output.h"

namespace drivetest {

// Older ones print no log of SCSI drives as JSON.
inline constexpr ToolVersion kOldestSmartctl{7, 3};
// Older ones know nothing of the self-tests of NVMe drives.
inline constexpr ToolVersion kFirstSmartctlOfNvmeTests{7, 4};

// Of "smartctl --version", which is all text; 0.0 where it says none.
ToolVersion smartctl_version(const ToolOutput& output);

struct SmartctlReport {
  ToolVersion version;
  bool has_one_namespace = false;  // of an NVMe drive, which can have no second one
  Look look;                       // to be completed by settle (inability.h)
};

// Whatever the tool has printed: what is told is in the look, also besides a fault.
SmartctlReport read_smartctl(const Place& place, const ToolOutput& output);

}  // namespace drivetest

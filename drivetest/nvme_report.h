// Reads what nvme (nvme-cli) prints as JSON of a drive, and joins it to what smartctl has told.
// Needed beside a smartctl that is too old for the self-tests of NVMe drives, and for the minutes
// of the long test, which no smartctl tells. Pure: nothing is run.
#pragma once

#include "drivetest/look.h"
#include "drivetest/tool_output.h"

namespace drivetest {

inline constexpr ToolVersion kOldestNvme{2, 3};

// Of "nvme version", which is all text; 0.0 where it says none.
ToolVersion nvme_version(const ToolOutput& output);

// Of "nvme id-ctrl -o json": which tests the drive can do and how long they take, and whatever
// smartctl has left out of what the drive says of itself.
void add_nvme_identity(Look& look, const ToolOutput& output);

// Of "nvme self-test-log -o json": what runs, and the log.
void add_nvme_log(Look& look, const ToolOutput& output);

}  // namespace drivetest

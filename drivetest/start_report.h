// Reads what a tool says when it was told to start or to stop a test. Pure: nothing is run.
#pragma once

#include "drivetest/drive_access.h"
#include "drivetest/tool_output.h"

namespace drivetest {

// Of smartctl and of nvme. Only a hint: smartctl ends with 0 where it did nothing, and with 4 where
// the test may have begun.
ToolReply read_reply(const ToolOutput& output);

}  // namespace drivetest

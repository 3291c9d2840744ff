// What has been read from a tool, as text that tests compare: every fact that was told, on a line
// of its own.
#pragma once

#include <string>

#include "drivetest/drive_access.h"
#include "drivetest/look.h"
#include "drivetest/tool_output.h"

namespace drivetest {

std::string text_of(const Look& look);
std::string text_of(const ToolReply& reply);

// What a reader makes of an output: "smartctl", "id-ctrl", "self-test-log", "reply" for what
// follows a start or a stop, or "scan", which also reads the tree below HVX_SYSFS_ROOT.
std::string reading_of(const std::string& way, const ToolOutput& output);

}  // namespace drivetest

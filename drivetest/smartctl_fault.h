// Why smartctl told less than it was asked for; a part of smartctl_report.
#pragma once

#include <string>
#include <vector>

#include "drivetest/look.h"
#include "drivetest/tool_json.h"
#include "drivetest/tool_output.h"

namespace drivetest {

struct ToolMessage {
  std::string text;
  bool is_information = false;  // else a warning or an error
};
// Those of smartctl's JSON, the list of what it would take as an argument left out.
std::vector<ToolMessage> messages_of(JsonPart root);

// Sets fault and reason of the look. A message that the reason quotes is taken away.
void find_fault(const ToolOutput& output, const JsonDocument& document, ToolVersion version,
                std::vector<ToolMessage>& messages, const std::vector<std::string>& lines,
                Look& look);

}  // namespace drivetest

// What smartctl tells of a drive's self-tests: which it can do, which runs, and the log; a part of
// smartctl_report.
#pragma once

#include <string>
#include <vector>

#include "drivetest/look.h"
#include "drivetest/tool_json.h"
#include "drivetest/tool_output.h"

namespace drivetest {

// `root` is smartctl's JSON and `lines` the text in it, which has to serve where the JSON is
// silent.
void read_ata(JsonPart root, const std::vector<std::string>& lines, Look& look);
void read_scsi(JsonPart root, const std::vector<std::string>& lines, Look& look);
void read_nvme(JsonPart root, const std::vector<std::string>& lines, ToolVersion version,
               Look& look);

}  // namespace drivetest

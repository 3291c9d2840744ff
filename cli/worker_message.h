// What stands in the lines that a process which tests a drive writes for the one that has
// started it; see worker.h.
#pragma once

#include <nlohmann/json.hpp>

#include "cli/drive_result.h"
#include "cli/follow.h"
#include "cli/json.h"

namespace cli {

Json pack(const DriveResult& result);
// Throws what the library throws where it is nothing that pack has made.
DriveResult unpack_result(const Json& json);

Json pack(const TestProgress& progress);
TestProgress unpack_progress(const Json& json);

}  // namespace cli

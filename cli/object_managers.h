// The object managers of this machine in which hddtest-register registered the self-test.
#pragma once

#include <filesystem>
#include <vector>

#include "cli/findings.h"

namespace cli {

// For each, whether the module finds its message file below the working directory of that object
// manager: none is found, and a run there makes no record, where the link /hddtest (sfcb) or the
// folder of the drop-in file (OpenPegasus) has gone astray. root: where their files are.
std::vector<Finding> object_manager_findings(const std::filesystem::path& root = "/");

}  // namespace cli

// The object managers of this machine in which hddtest-register registered the self-test.
#pragma once

#include <filesystem>
#include <vector>

#include "cli/findings.h"

namespace cli {

// For each that hddtest-register noted in /var/lib/hddtest/registrations, whether the registration
// took place and what was made for it is there, and whether the module finds its message file below
// the working directory of that object manager: none is found, and a run there makes no record,
// where the link /hddtest (sfcb) or the drop-in file or its folder (OpenPegasus) has gone astray.
// Without a unit, the folder is that in which OpenPegasus is to be started. root: where their files
// are.
std::vector<Finding> object_manager_findings(const std::filesystem::path& root = "/");

}  // namespace cli

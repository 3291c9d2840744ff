// The object managers of this machine in which hddtest-register registered the self-test.
#pragma once

#include <filesystem>
#include <vector>

#include "cli/findings.h"

namespace cli {

// One finding for each object manager that hddtest-register noted in
// /var/lib/hddtest/registrations: whether the registration took place, whether what was made for it
// is there, and whether the module finds its message file below that object manager's working
// directory. It does not where the link /hddtest (sfcb), or the drop-in file or its folder
// (OpenPegasus), has gone astray; then a run there makes no record. Without a unit, the folder is
// the one in which OpenPegasus is to be started. root: the folder below which all these paths are
// looked for.
std::vector<Finding> object_manager_findings(const std::filesystem::path& root = "/");

}  // namespace cli

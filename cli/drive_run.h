// One test of one drive, asked for as any client would: RunDiagnostic on the service instance, then
// the job and the completion record that it left.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "broker/object_manager.h"
#include "cli/run_progress.h"
#include "cli/verdict.h"

namespace cli {

struct DriveResult;

// A drive of which nothing was asked.
DriveResult not_tested(std::string device, std::string cause, std::string reason);

// Of a name that no drive has.
Verdict no_such_drive();

// Nothing, or why the path is no drive, with its cause. One that may not be looked at could be one.
std::optional<Verdict> why_not_a_drive(const std::string& path);

// Looks at the drive that the module will know by this text, and tests it if it is ready; blocks
// until it is done, which may be ten minutes. Listens to the core log meanwhile; changed is called
// when what the drive is doing has changed.
DriveResult test_drive(broker::ObjectManager& manager, const std::string& device,
                       const std::function<void(const Progress&)>& changed);

}  // namespace cli

// One test of one drive, asked for as any client would: RunDiagnostic on the service instance, then
// the job and the completion record that it left.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "broker/object_manager.h"
#include "cli/json.h"
#include "cli/outcome.h"
#include "cli/progress.h"

namespace cli {

struct DriveResult {
  std::string device{};  // as the user named it
  // Nothing: the drive was not tested, and no record was made.
  std::optional<Outcome> outcome{};
  std::optional<std::string>
      reason{};                        // the last failure that the run noted, or why there was none
  std::optional<std::string> entry{};  // the entry of the drive's own log that decided
  Json job{};                          // the instances, null where there is none
  Json record{};
  std::chrono::seconds elapsed{0};
};

// Nothing, or why the path is no drive.
std::optional<std::string> refusal(const std::string& path);

// Tests the drive that the module will know by this text; blocks until it is done, which may be ten
// minutes. Listens to the core log meanwhile; changed is called when what the drive is doing has
// changed.
DriveResult test_drive(broker::ObjectManager& manager, const std::string& device,
                       const std::function<void(const Progress&)>& changed);

}  // namespace cli

// One test of one drive, asked for as any client would: RunDiagnostic on the service instance, then
// the job and the completion record that it left.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "broker/object_manager.h"
#include "cli/json.h"
#include "cli/progress.h"
#include "cli/verdict.h"

namespace cli {

struct DriveResult {
  std::string device{};  // as the user named it
  Verdict verdict{};     // without outcome and cause: see verdict_of()
  // The entry of the drive's own log that decided.
  std::optional<std::string> entry{};
  std::string model{};  // as smartctl prints it; empty where it was not asked or does not say
  std::string serial{};
  // The instances; null where there is none, or where it wrongly calls the drive failed.
  Json job{};
  Json record{};
  std::optional<std::chrono::sys_seconds> begin{};  // nothing where nothing was asked
  std::chrono::seconds elapsed{0};
};

// A drive of which nothing was asked.
DriveResult not_tested(std::string device, std::string cause, std::string reason);

// Nothing, or why the path is no drive.
std::optional<std::string> refusal(const std::string& path);

// Looks at the drive that the module will know by this text, and tests it if it is ready; blocks
// until it is done, which may be ten minutes. Listens to the core log meanwhile; changed is called
// when what the drive is doing has changed.
DriveResult test_drive(broker::ObjectManager& manager, const std::string& device,
                       const std::function<void(const Progress&)>& changed);

}  // namespace cli

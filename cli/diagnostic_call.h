// The call that tests a drive, RunDiagnostic of the service: its names, and which calls test one.
#pragma once

#include <string>

#include "broker/object_manager.h"

namespace cli {

inline constexpr std::string_view kRunMethod = "RunDiagnostic";
inline constexpr std::string_view kRunArgument = "ManagedElement";

broker::ObjectPath service_path();
broker::ObjectPath drive_path(const std::string& device);

// The drive that a call would test. Empty when it would test none; the module answers such calls at
// once.
std::string drive_to_test(const broker::ObjectPath& service, const broker::Value* drive);

// Lets one test run at a time, as the module does, but only a few wait.
broker::OneAtATime one_test_at_a_time();

}  // namespace cli

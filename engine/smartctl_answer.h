// What an answer of smartctl means for a self-test run, over plain data.
#pragma once

#include <string>

namespace engine {

// Whether a status of smartctl fails the step. Its lowest bits say: 0 the command line was
// refused, 1 the device could not be opened, 2 a command to it failed or its answer had a wrong
// checksum, 3 the drive says that it is failing now. The higher ones, which fail no step, tell of
// its wear and its past: attributes at their thresholds, logged errors, failed self-tests.
bool step_failed(int status);

// Whether what "smartctl -i" printed says that SMART is there and switched on.
bool is_smart_enabled(const std::string& information);

// Whether the text says that the drive keeps no self-test log. Reading it again is no use then.
bool keeps_no_log(const std::string& log);

}  // namespace engine

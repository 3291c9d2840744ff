// What a run of smartctl or nvme has left behind.
#pragma once

#include <string>

namespace drivetest {

struct ToolOutput {
  std::string text;      // standard output
  std::string errors;    // standard error
  int exit_status = -1;  // -1: it did not end by exiting, or could not be started
};

struct ToolVersion {
  unsigned major = 0;  // 0: not told
  unsigned minor = 0;

  auto operator<=>(const ToolVersion&) const = default;
};

}  // namespace drivetest

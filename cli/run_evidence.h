// What the lines of the core log prove of a run of the module: smartctl's own answers.
//
// The module knows passed, failed and aborted, and takes everything that keeps a test from its end
// for a failure. Whether the drive failed is told by what smartctl answered.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "cli/drive_look.h"

namespace cli {

struct RunEvidence {
  std::optional<SmartctlAnswer> information{};  // "smartctl -i"
  std::optional<SmartctlAnswer> baseline{};     // the log before the test
  std::optional<SmartctlAnswer> start{};        // "smartctl -t short"
  std::optional<std::string> log{};             // the last read of the log during the test
  bool in_progress = false;                     // a read showed a test in progress
  bool ended = false;                           // the module saw an end of the test

  // Takes a line of the core log. For one thread at a time.
  void take(int severity, std::string_view text);

  // Whether smartctl was told to start the test and did: from there on the drive may be testing.
  bool started() const { return start && !step_failed(start->status); }
};

}  // namespace cli

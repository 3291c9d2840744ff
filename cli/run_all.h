// A call of "hddtest run": its drives, several at once, each in a process of its own (worker.h).
#pragma once

#include <string>
#include <vector>

#include "cli/places.h"

namespace cli {

inline constexpr int kAnyNumber = 1000;  // of drives

struct RunOptions {
  std::vector<std::string> devices;
  std::string kind = "short";
  std::string type;
  bool force = false;
  bool json_lines = false;
  int jobs = 4;
  int per_controller = kAnyNumber;
  // Of a process that tests one drive; see worker.h.
  bool worker = false;
  bool by_library = false;
  bool apart = false;
  bool type_given = false;
};

// Tests the drives, and tells of their progress and their results; returns the exit status. Blocks
// until all tests have ended or been given up. json: one array at the end. Throws CommandFailure
// and broker::Error.
int run_all(const RunOptions& options, bool json, const Places& places);

}  // namespace cli

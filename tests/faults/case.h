// A case: something goes wrong while one operation is asked for, and everything that has to be seen
// of it. The tables of all cases are in run_cases.cpp and discovery_cases.cpp.
#pragma once

#include <string>
#include <vector>

#include "platform/support/sigchld.h"
#include "tests/faults/world.h"

namespace faults {

struct Case {
  const char* name;
  void (*arrange)(World&);
  // What World::run or World::offered answers.
  const char* seen;
  // A line of the log, as World::logged takes it; null: the log has got no line.
  const char* log;
  enum Needs { nothing, root, other_user, ordinary_build } needs = nothing;
};

const std::vector<Case>& run_cases();        // one test is run
const std::vector<Case>& discovery_cases();  // the testable drives are listed

// For arrangements.
constexpr unsigned nobody = 65534;

// Everything of the case's folder is that user's, and so is this process from now on; nothing when
// it is not root's.
void become_nobody(World& world);

template <NKVRHVX20::SigchldArrangement arrangement>
void arrange_children(World&) {
  NKVRHVX20::arrange_sigchld(arrangement);
}

}  // namespace faults

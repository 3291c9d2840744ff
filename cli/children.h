// The end of everything that this process has started.
#pragma once

#include <chrono>

namespace cli {

// Kills the children of this process and what they leave behind, until nothing is left: also those
// that are stopped, have left their group, or have become somebody's daemon meanwhile. For a
// process that is about to end: who waits for a child of his own finds that it is gone. Blocks for
// that time at most; false when something is left, which is stuck in the kernel then.
bool end_children(std::chrono::milliseconds time);

}  // namespace cli

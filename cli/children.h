// The end of everything that this process has started.
#pragma once

#include <chrono>

namespace cli {

// Kills the children of this process and their descendants until none is left, also those that are
// stopped, have left the process group or have become daemons. Only for a process that is about to
// end, since other code that waits for a child finds it gone. Blocks for at most this time. False
// means that a process is left, which is then stuck in the kernel.
bool end_children(std::chrono::milliseconds time);

}  // namespace cli

// hddtest drives --offered: which drives the module offers to its clients, and why not the others.
#pragma once

#include "cli/commands.h"

namespace cli {

// Prints the list. Runs hwinfo, which takes seconds, and reads from the drives. The exit status.
// Throws broker::Error.
int show_offered_drives(const Invocation& invocation);

}  // namespace cli

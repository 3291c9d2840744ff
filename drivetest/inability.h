// Why a drive cannot be tested, although it could be looked at.
#pragma once

#include <string>

#include "drivetest/drive.h"
#include "drivetest/look.h"

namespace drivetest {

// Whether a -d type makes smartctl write to the disks behind it, which no look may do.
bool is_writing_type(const std::string& type);

// What the way to the drive does not let through, in words; empty: nothing is known to be amiss.
std::string inability_of_type(const std::string& type);

// Of a SCSI drive that says it has no log of self-tests.
std::string inability_without_log(const Drive& drive);

// To be called when all tools were asked. A look that lacks what tells whether a test has ended is
// a fault: a command may have failed this once, and no test may be taken as ended for that. A drive
// without a test that can be started gets an inability, and one with an inability loses its
// abilities.
void settle(Look& look);

}  // namespace drivetest

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

// To be called when all tools were asked: a drive without a test that can be started, or whose
// result nobody would learn, gets an inability and loses its abilities. The fault of a look that
// failed says enough.
void settle(Look& look);

}  // namespace drivetest

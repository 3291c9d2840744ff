// What drive tools say in words, in the language of LC_ALL=C.
#pragma once

#include <string>
#include <string_view>

#include "drivetest/look.h"
#include "drivetest/tool_output.h"

namespace drivetest {

// What a message means that ends in the C library's words for an error. CannotBeReached where they
// mean nothing to us.
LookFault fault_of(std::string_view message);

// The first line that is not empty, without blanks at its ends, in valid UTF-8, and not too long to
// be quoted.
std::string first_line(std::string_view text);

// The version that an output begins with, behind these words; 0.0 where there is none.
ToolVersion version_after(const ToolOutput& output, std::string_view words);

}  // namespace drivetest

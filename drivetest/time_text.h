// Points in time as the history and programs that read it write them: UTC, as in
// 2026-11-22T12:00:00Z. Such texts sort as the times do.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "drivetest/test_row.h"

namespace drivetest {

// A time outside the years 1970 to 9999 becomes the nearest one inside: a clock may say anything.
std::string time_text(Time time);

// Not set for what is written otherwise or is no time of these years.
std::optional<Time> time_from_text(std::string_view text);

}  // namespace drivetest

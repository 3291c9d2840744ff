// The line of a drive's tests over time, drawn as SVG inside of HTML.
#pragma once

#include <string>
#include <string_view>

#include "cli/report_drive.h"

namespace cli {

// What a line begins and ends with; the same for all drives of a page, so that they compare.
struct Span {
  drivetest::Time from;
  drivetest::Time to;
};

// Two years at most, and four weeks at least, that end now.
Span span_of(drivetest::Time oldest, drivetest::Time now);

// A lane for each kind of test that the drive has had, long above short, with the names of the
// lanes and the dates below; empty where there is nothing to draw. `name` tells readers who cannot
// see it which drive it is, and is escaped here; `number` is the drive's own on the page.
std::string drawing(const ReportedDrive& drive, const Span& span, std::string_view name,
                    std::size_t number);

// "104 tests: 103 passed, 1 failed".
std::string counts_text(const ReportedDrive& drive);

// The marks with their meaning, to stand once on a page.
std::string legend();

}  // namespace cli

// The quick way to read a test from a line of JSON. The page of a fleet is made of the histories of
// its machines, millions of such lines, and nearly all stand there just as json_line has written
// them. A page of 1,000 machines is to take 30 seconds (bench/table.py); test_from_json alone would
// take ten times as long for its lines.
#pragma once

#include <optional>
#include <string_view>

#include "drivetest/test_row.h"

namespace drivetest {

// What test_from_json gives for the line, in a fraction of the time. Not set for a line that has
// its members in another order, blanks between them or rare escapes in its texts, and for every
// line that is wrong: test_from_json reads those, or says what is wrong.
std::optional<KeptTest> test_from_written_line(std::string_view line);

}  // namespace drivetest

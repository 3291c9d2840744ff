// A test as a line of JSON: what --json prints, an export holds, and an import reads. Members that
// are not known are null. docs/history.md has them all.
#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

#include "drivetest/test_row.h"

namespace drivetest {

inline constexpr std::size_t kLongestMember = 16384;  // of the texts of a line, in bytes
inline constexpr std::size_t kIdDigits = 32;          // hexadecimal, of a test and of a machine

nlohmann::ordered_json to_json(const KeptTest& test);

// One line of ASCII without effect on a terminal, whatever the texts of a drive hold. Without line
// feed.
std::string json_line(const KeptTest& test);

// Why a line is no test. Its words say what is wrong with which member; they may hold text of the
// line, which is without effect on a terminal.
class JsonLineError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A line as json_line makes it. Any order of the members will do; `number` may be missing and is
// not taken over. Throws JsonLineError for everything else, such as members that are unknown or
// come twice, wrong types, times and numbers out of range, NUL in a text, invalid UTF-8 and what
// contradiction_in tells.
KeptTest test_from_json(std::string_view line);

}  // namespace drivetest

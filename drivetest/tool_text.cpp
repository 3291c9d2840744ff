#include "drivetest/tool_text.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "drivetest/tool_json.h"
#include "platform/words.h"

namespace drivetest {

namespace {

struct FaultRow {
  std::string_view end;
  LookFault fault;
};
constexpr std::array kFaults = {FaultRow{"Permission denied", LookFault::NotPermitted},
                                FaultRow{"Operation not permitted", LookFault::NotPermitted},
                                FaultRow{"No such device", LookFault::NoSuchDrive},
                                FaultRow{"No such device or address", LookFault::NoSuchDrive},
                                FaultRow{"No such file or directory", LookFault::NoSuchDrive}};

}  // namespace

LookFault fault_of(std::string_view message) {
  for (const FaultRow& row : kFaults)
    if (message.ends_with(row.end)) return row.fault;
  return LookFault::CannotBeReached;
}

std::string first_line(std::string_view text) {
  constexpr std::size_t kLongest = 300;
  text = platform::trim(text);
  text = platform::trim(text.substr(0, std::min(text.find_first_of("\r\n"), kLongest)));
  return valid_utf8(text);
}

ToolVersion version_after(const ToolOutput& output, std::string_view words) {
  if (!output.text.starts_with(words)) return {};
  const char* const text = output.text.c_str() + words.size();
  ToolVersion version;
  // NOLINTNEXTLINE(cert-err34-c): four digits are no overflow
  const int numbers = std::sscanf(text, "%4u.%4u", &version.major, &version.minor);
  return numbers == 2 ? version : ToolVersion();
}

}  // namespace drivetest

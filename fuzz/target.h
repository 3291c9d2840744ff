// What the targets share. A target is one unit that defines read_input, which hands the input to a
// reader of outside text and requires what must hold for every input.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace fuzz {

void read_input(std::string_view input);

// Ends the process if the condition does not hold. The search takes that for a finding.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

// Removes the first line from the text and returns it without its line end.
inline std::string_view take_line(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::read_input({reinterpret_cast<const char*>(data), size});
  return 0;
}

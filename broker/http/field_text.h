// Pieces of header fields: how their words are compared and what stands around them.
#pragma once

#include <strings.h>

#include <string_view>

namespace broker::http {

// Without regard to case.
inline bool equal(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// Without the blanks at both ends.
inline std::string_view trim(std::string_view text) {
  constexpr std::string_view blanks = " \t";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace broker::http

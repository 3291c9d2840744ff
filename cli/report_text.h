// Text from outside on a page of HTML.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace cli {

// So many characters of a text are shown; a drive's own words are shorter.
inline constexpr std::size_t kMostShown = 200;

// The text as it may stand in an element of HTML or SVG and between the double or single quotes of
// an attribute: none of its characters ends, begins or changes anything there. Control characters
// (line ends too), changes of the direction of writing, and bytes that are not UTF-8 become U+FFFD;
// what is longer than `most` characters ends with "...". Text in a script, a style or an address
// needs more, and a page of ours has none there.
std::string markup(std::string_view text, std::size_t most = kMostShown);

// The words with a capital at the front and a full stop at the end.
std::string sentence(std::string text);

}  // namespace cli

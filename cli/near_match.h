// What a mistyped word may have been meant to be.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cli {

// The known word that begins with the given one, if there is exactly one; else the known word with
// the fewest typing errors between the two (a letter left out, added or changed, or two swapped).
// Ignores case and the hyphens of options such as "--jobs". Empty when none is near.
std::string near_match(std::string_view word, const std::vector<std::string>& known);

// "; did you mean 'WORD'?" with it; empty without.
std::string near_match_question(std::string_view word, const std::vector<std::string>& known);

}  // namespace cli

// What a mistyped word may have been meant to be.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cli {

// The known word that the given one is the beginning of, if it is that of one alone, else the one
// that is fewest slips of a hand away: letters left out, added, changed, or two that changed
// places. Capitals do not matter, nor do the hyphens of options such as "--jobs". Empty when none
// is near.
std::string near_match(std::string_view word, const std::vector<std::string>& known);

// "; did you mean 'WORD'?" with it; empty without.
std::string near_match_question(std::string_view word, const std::vector<std::string>& known);

}  // namespace cli

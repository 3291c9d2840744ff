#include "cli/near_match.h"

#include <algorithm>
#include <utility>

#include "platform/words.h"

namespace cli {
namespace {

// In small letters, without the hyphens of an option.
std::string letters(std::string_view text) {
  return platform::lower(std::string(platform::trim_begin(text, "-")));
}

// How many slips lead from one to the other.
std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> before;  // of a without its last two letters, of a without its last one
  std::vector<std::size_t> last(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::vector<std::size_t> now(b.size() + 1, i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      now[j] =
          std::min({last[j] + 1, now[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        now[j] = std::min(now[j], before[j - 2] + 1);
    }
    before = std::exchange(last, std::move(now));
  }
  return last.back();
}

}  // namespace

std::string near_match(std::string_view word, const std::vector<std::string>& known) {
  // Nobody mistypes a longer word, and the work grows with the square of its length.
  constexpr std::size_t kLongest = 100;
  if (word.empty() || word.size() > kLongest) return "";
  const std::string given = letters(word);
  std::vector<std::string> begun;
  std::string nearest;
  std::size_t least = std::max<std::size_t>(1, given.size() / 3) + 1;
  for (const std::string& one : known) {
    const std::string small = letters(one);
    if (given.size() > 1 && small.starts_with(given)) begun.push_back(one);
    if (one.size() > kLongest) continue;
    const std::size_t slips = distance(given, small);
    // With as many slips as letters, every word would be near.
    if (slips < least && slips < given.size()) {
      least = slips;
      nearest = one;
    }
  }
  return begun.size() == 1 ? begun.front() : nearest;
}

std::string near_match_question(std::string_view word, const std::vector<std::string>& known) {
  const std::string near = near_match(word, known);
  return near.empty() ? "" : "; did you mean '" + near + "'?";
}

}  // namespace cli

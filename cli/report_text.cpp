#include "cli/report_text.h"

#include "platform/utf8.h"
#include "platform/words.h"

namespace cli {

namespace {

void append_character(std::string& result, std::string_view bytes, char32_t character) {
  switch (character) {
    case '&':
      result += "&amp;";
      return;
    case '<':
      result += "&lt;";
      return;
    case '>':
      result += "&gt;";
      return;
    case '"':
      result += "&quot;";
      return;
    case '\'':
      result += "&#39;";
      return;
    default:
      result += platform::misleads(character) ? "\xEF\xBF\xBD" : bytes;
  }
}

}  // namespace

std::string markup(std::string_view text, std::size_t most) {
  std::string result;
  for (std::size_t shown = 0; !text.empty(); ++shown) {
    if (shown == most) return result + "...";
    const auto [character, length] = platform::first_utf8(text);
    append_character(result, text.substr(0, length), character);
    text.remove_prefix(length);
  }
  return result;
}

std::string sentence(std::string text) {
  if (!text.empty()) text.front() = platform::upper(text.front());
  if (!text.ends_with('.')) text += '.';
  return text;
}

}  // namespace cli

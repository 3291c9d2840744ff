#include "platform/cmpi/clean_text.h"

#include "platform/utf8.h"

namespace ovk_cimple {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

unsigned byte_at(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

// How many ASCII characters that may leave stand at the start: nearly always all.
std::size_t plain_length(std::string_view text) {
  std::size_t place = 0;
  while (place < text.size() && byte_at(text, place) < 0x80 && is_clean(byte_at(text, place)))
    ++place;
  return place;
}

}  // namespace

bool is_clean(char32_t character) {
  if (character < 0x20) return character == '\t' || character == '\n' || character == '\r';
  if (character >= 0x7F && character < 0xA0) return false;
  if (character >= 0xD800 && character < 0xE000) return false;
  return character != 0xFFFE && character != 0xFFFF && character <= 0x10FFFF;
}

std::string clean_text(std::string_view text) {
  std::string result;
  for (std::size_t plain; !text.empty();) {
    plain = plain_length(text);
    result += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) break;
    const auto [character, length] = platform::first_utf8(text);
    result += is_clean(character) ? text.substr(0, length) : kReplacement;
    text.remove_prefix(length);
  }
  return result;
}

CleanText::CleanText(const std::string& text) : text_(text.c_str()) {
  if (plain_length(text) == text.size()) return;
  changed_ = clean_text(text);
  text_ = changed_.c_str();
}

}  // namespace ovk_cimple

#include "platform/cmpi/text.h"

#include <algorithm>

namespace ovk_cimple {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

struct Sequence {
  std::size_t length;  // bytes taken, at least 1
  bool clean;
};

unsigned byte_at(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

// Reads the sequence at the start of a text that is not empty. The limits of the second byte
// leave out overlong forms, surrogates and what lies beyond U+10FFFF.
Sequence first_sequence(std::string_view text) {
  const unsigned lead = byte_at(text, 0);
  if (lead < 0x80) return {1, is_clean(lead)};
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4) return {1, false};
  unsigned low = 0x80, high = 0xBF;
  if (lead == 0xE0) low = 0xA0;
  if (lead == 0xED) high = 0x9F;
  if (lead == 0xF0) low = 0x90;
  if (lead == 0xF4) high = 0x8F;
  char32_t character = lead & (0x7F >> length);
  for (std::size_t index = 1; index < length; ++index) {
    if (index == text.size()) return {index, false};
    const unsigned next = byte_at(text, index);
    if (next < low || next > high) return {index, false};
    character = character << 6 | (next & 0x3F);
    low = 0x80;
    high = 0xBF;
  }
  return {length, is_clean(character)};
}

}  // namespace

bool is_clean(char32_t character) {
  if (character < 0x20) return character == '\t' || character == '\n' || character == '\r';
  if (character >= 0x7F && character < 0xA0) return false;
  if (character >= 0xD800 && character < 0xE000) return false;
  return character != 0xFFFE && character != 0xFFFF && character <= 0x10FFFF;
}

std::string clean_text(std::string_view text) {
  const auto plain = [](char c) { return c >= ' ' && c < '\x7F'; };
  auto place = std::find_if_not(text.begin(), text.end(), plain);
  std::string result(text.begin(), place);
  text.remove_prefix(result.size());
  while (!text.empty()) {
    const Sequence sequence = first_sequence(text);
    result += sequence.clean ? text.substr(0, sequence.length) : replacement;
    text.remove_prefix(sequence.length);
  }
  return result;
}

}  // namespace ovk_cimple

// Reading UTF-8 that may be anything, and writing it. A leaf: any folder may use it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

// What stands at the start of a text.
struct Utf8Sequence {
  static constexpr char32_t kNone = 0xFFFFFFFF;

  char32_t character;  // none where no character of UTF-8 begins
  std::size_t length;  // bytes it takes, or that could have begun a character: at least 1
};

// Of a text that is not empty. Overlong forms, surrogates and what lies beyond U+10FFFF are no
// characters.
constexpr Utf8Sequence first_utf8(std::string_view text) {
  const auto byte = [&](std::size_t place) { return static_cast<unsigned char>(text[place]); };
  const unsigned lead = byte(0);
  if (lead < 0x80) return {lead, 1};
  if (lead < 0xC2 || lead > 0xF4) return {Utf8Sequence::kNone, 1};
  std::size_t length = 2;
  if (lead >= 0xE0) length = 3;
  if (lead >= 0xF0) length = 4;
  // What the second byte may be: the bounds leave out overlong forms, surrogates, and what is too
  // large.
  unsigned low = 0x80;
  unsigned high = 0xBF;
  if (lead == 0xE0) low = 0xA0;
  if (lead == 0xED) high = 0x9F;
  if (lead == 0xF0) low = 0x90;
  if (lead == 0xF4) high = 0x8F;
  char32_t character = lead & (0x7F >> length);
  for (std::size_t place = 1; place < length; ++place) {
    if (place == text.size() || byte(place) < low || byte(place) > high)
      return {Utf8Sequence::kNone, place};
    character = character << 6 | (byte(place) & 0x3F);
    low = 0x80;
    high = 0xBF;
  }
  return {character, length};
}

// At most U+10FFFF. A surrogate, which is no character, becomes three bytes that first_utf8
// refuses.
inline void append_utf8(std::string& text, char32_t character) {
  if (character < 0x80) {
    text += static_cast<char>(character);
    return;
  }
  unsigned tail = 1;  // bytes behind the first
  unsigned lead = 0xC0;
  if (character >= 0x800) {
    tail = 2;
    lead = 0xE0;
  }
  if (character >= 0x10000) {
    tail = 3;
    lead = 0xF0;
  }
  text += static_cast<char>(lead | character >> (6 * tail));
  for (unsigned left = tail; left-- > 0;)
    text += static_cast<char>(0x80 | (character >> (6 * left) & 0x3F));
}

// Whether a character, shown as it is, may make the text around it look like another one: it is
// none, or a control character, or ends a line for some viewers, or changes the direction of
// writing.
constexpr bool misleads(char32_t character) {
  return character == Utf8Sequence::kNone || character < 0x20 ||
         (character >= 0x7F && character < 0xA0) ||       // delete, C1 controls
         (character >= 0x2028 && character <= 0x202E) ||  // line ends, writing direction
         (character >= 0x2066 && character <= 0x2069) ||  // writing direction
         character == 0x061C || character == 0x200E || character == 0x200F;
}

}  // namespace platform

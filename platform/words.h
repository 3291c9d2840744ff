// Words of texts that others wrote: compared without regard to case, trimmed, taken from the front.
// Case is that of ASCII alone: a host's locale changes nothing. A leaf: any folder may use it.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace platform {

inline constexpr std::string_view kBlanks = " \t\r\n";

constexpr char lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

inline std::string lower(std::string text) {
  for (char& letter : text) letter = lower(letter);
  return text;
}

constexpr char upper(char letter) {
  return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

inline std::string upper(std::string text) {
  for (char& letter : text) letter = upper(letter);
  return text;
}

// Whether the text holds nothing but decimal digits. An empty text holds nothing else either.
constexpr bool only_digits(std::string_view text) {
  return text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Of a hexadecimal digit, in either case; -1 for any other character.
constexpr int hexadecimal_value(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  const char letter = lower(digit);
  return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

// Whether the text is so many hexadecimal digits, with small letters.
constexpr bool is_hexadecimal(std::string_view text, std::size_t digits) {
  return text.size() == digits &&
         text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// Names of CIM, of HTTP fields and the like: equal but for case.
constexpr bool same_name(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  // Nearly all come in the spelling that they are compared with, which is quicker to see.
  if (a == b) return true;
  for (std::size_t place = 0; place < a.size(); ++place)
    if (lower(a[place]) != lower(b[place])) return false;
  return true;
}

// The text without the blanks at its beginning, at its end, and at both ends.
constexpr std::string_view trim_begin(std::string_view text, std::string_view blanks = kBlanks) {
  text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
  return text;
}
constexpr std::string_view trim_end(std::string_view text, std::string_view blanks = kBlanks) {
  return text.substr(0, text.find_last_not_of(blanks) + 1);
}
constexpr std::string_view trim(std::string_view text, std::string_view blanks = kBlanks) {
  return trim_end(trim_begin(text, blanks), blanks);
}

// Takes what stands before the separator from the front of the text, and the separator too. Takes
// all where there is none.
constexpr std::string_view take_to(std::string_view& text, char separator) {
  const std::string_view piece = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(piece.size() + 1, text.size()));
  return piece;
}

// Takes the first word from the front of the text, and the blanks on both sides of it. Empty where
// the text has no word.
constexpr std::string_view take_word(std::string_view& text, std::string_view blanks = kBlanks) {
  text = trim_begin(text, blanks);
  const std::string_view word = text.substr(0, text.find_first_of(blanks));
  text = trim_begin(text.substr(word.size()), blanks);
  return word;
}

}  // namespace platform

#include "inventory/text.h"

#include <algorithm>

namespace inventory {

namespace {

// Apart from <cctype>, which asks the host's locale.
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// The length of the UTF-8 sequence that begins the text; 0 when none does.
std::size_t sequence_length(std::string_view text) {
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
  };
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead < 0xc2 || lead > 0xf4) return 0;
  const std::size_t length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
  // Neither overlong forms, nor surrogates, nor anything past U+10FFFF.
  const unsigned low = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
  const unsigned high = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
  if (byte(1) < low || byte(1) > high) return 0;
  for (std::size_t i = 2; i < length; ++i)
    if ((byte(i) & 0xc0) != 0x80) return 0;
  return length;
}

bool is_control(std::string_view sequence) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(sequence[i]); };
  return byte(0) < 0x20 || byte(0) == 0x7f || (byte(0) == 0xc2 && byte(1) < 0xa0);
}

}  // namespace

std::string cleaned(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = sequence_length(text);
    const std::string_view sequence = text.substr(0, std::max<std::size_t>(length, 1));
    if (length == 0)
      result += "\ufffd";
    else if (is_control(sequence))
      result += ' ';
    else
      result += sequence;
    text.remove_prefix(sequence.size());
  }
  result.erase(result.find_last_not_of(' ') + 1);
  result.erase(0, result.find_first_not_of(' '));
  return result;
}

std::string cut(std::string text, std::size_t characters) {
  std::size_t end = 0;
  while (end < text.size() && characters-- > 0)
    end += std::max<std::size_t>(sequence_length(std::string_view(text).substr(end)), 1);
  text.resize(std::min(end, text.size()));
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

std::string joined(std::initializer_list<std::string_view> texts) {
  std::string result;
  for (const std::string_view text : texts) {
    if (text.empty()) continue;
    if (!result.empty()) result += ' ';
    result += text;
  }
  return result;
}

bool is_device_name(std::string_view name) {
  return !name.empty() && name.size() <= 64 && std::all_of(name.begin(), name.end(), [](char c) {
    return is_digit(c) || is_letter(c) ||
           std::string_view("/_.-").find(c) != std::string_view::npos;
  });
}

// Every run of digits, and every run of other characters but for its first two (the driver's
// prefix: sd, vd, nv), is put behind its length, so that the shorter sorts first.
std::string natural_key(std::string_view name) {
  std::string key;
  while (!name.empty()) {
    const bool digits = is_digit(name.front());
    const auto end =
        std::find_if(name.begin(), name.end(), [&](char c) { return is_digit(c) != digits; });
    std::string_view run = name.substr(0, static_cast<std::size_t>(end - name.begin()));
    name.remove_prefix(run.size());
    if (digits) {
      run.remove_prefix(std::min(run.find_first_not_of('0'), run.size()));
    } else {
      key += run.substr(0, 2);
      run.remove_prefix(std::min<std::size_t>(2, run.size()));
    }
    key += static_cast<char>(run.size());
    key += run;
  }
  return key;
}

}  // namespace inventory

#include "inventory/device_text.h"

#include <algorithm>

#include "platform/utf8.h"
#include "platform/words.h"

namespace inventory {

namespace {

// Apart from <cctype>, which asks the host's locale.
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool is_control(char32_t character) {
  return character < 0x20 || (character >= 0x7f && character < 0xa0);
}

}  // namespace

std::string cleaned(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const auto [character, length] = platform::first_utf8(text);
    if (character == platform::Utf8Sequence::kNone)
      for (std::size_t byte = 0; byte < length; ++byte) result += "\ufffd";
    else if (is_control(character))
      result += ' ';
    else
      result += text.substr(0, length);
    text.remove_prefix(length);
  }
  return std::string(platform::trim(result, " "));
}

std::string cut(std::string_view text, std::size_t characters) {
  std::size_t end = 0;
  while (end < text.size() && characters-- > 0)
    end += platform::first_utf8(text.substr(end)).length;
  return std::string(platform::trim_end(text.substr(0, end), " "));
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
      run = platform::trim_begin(run, "0");
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

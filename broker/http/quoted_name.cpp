#include "broker/http/quoted_name.h"

#include "platform/utf8.h"

namespace broker::http {
namespace {

constexpr std::size_t kMostOfAName = 255;

}  // namespace

// Escaped with %, since the log would escape its own backslashes once more.
std::string quoted_name(std::string_view name) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  name = name.substr(0, kMostOfAName);
  std::string text = "'";
  while (!name.empty()) {
    const auto [character, length] = platform::first_utf8(name);
    const bool escaped = character == '\'' || character == '%' || platform::misleads(character);
    for (const char byte : name.substr(0, length)) {
      if (escaped) {
        text += '%';
        text += kDigits[static_cast<unsigned char>(byte) >> 4];
        text += kDigits[static_cast<unsigned char>(byte) & 15];
      } else {
        text += byte;
      }
    }
    name.remove_prefix(length);
  }
  return text + "'";
}

}  // namespace broker::http

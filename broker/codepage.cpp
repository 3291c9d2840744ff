// Code pages of text (memory.h). The system's page is taken to be UTF-8.
#include "broker/error.h"
#include "broker/memory.h"
#include "platform/utf8.h"

namespace broker {
namespace {

[[noreturn]] void refuse_page() {
  throw Error(Status::InvalidParameter, "the code page is unknown");
}

void append_utf8(std::string& text, char32_t c) {
  if (c < 0x80) {
    text += static_cast<char>(c);
    return;
  }
  const int tail = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
  const unsigned lead[] = {0, 0xC0, 0xE0, 0xF0};
  text += static_cast<char>(lead[tail] | c >> (6 * tail));
  for (int shift = 6 * (tail - 1); shift >= 0; shift -= 6) {
    text += static_cast<char>(0x80 | (c >> shift & 0x3F));
  }
}

std::string from_utf16(const char16_t* units) {
  std::string text;
  for (; *units; ++units) {
    char32_t c = *units;
    if (c >= 0xD800 && c < 0xDC00 && units[1] >= 0xDC00 && units[1] < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (*++units - 0xDC00u);
    } else if (c >= 0xD800 && c < 0xE000) {
      throw Error(Status::InvalidParameter, "the text is no UTF-16");
    }
    append_utf8(text, c);
  }
  return text;
}

void append_unit(std::string& bytes, char32_t unit) {
  bytes += static_cast<char>(unit & 0xFF);
  bytes += static_cast<char>(unit >> 8);
}

std::string to_utf16(std::string_view text) {
  std::string bytes;
  while (!text.empty()) {
    const auto [c, length] = platform::first_utf8(text);
    if (c == platform::Utf8_Sequence::none)
      throw Error(Status::NotInCodepage, "the text is no UTF-8");
    if (c < 0x10000) {
      append_unit(bytes, c);
    } else {
      append_unit(bytes, 0xD800 + ((c - 0x10000) >> 10));
      append_unit(bytes, 0xDC00 + ((c - 0x10000) & 0x3FF));
    }
    text.remove_prefix(length);
  }
  return bytes;
}

bool is_ascii(const std::string& text) {
  for (char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  }
  return true;
}

}  // namespace

std::string from_codepage(const char* text, CMPICodepageID codepage) {
  switch (codepage) {
    case CMPI_CPID_SYSTEM:
      return text;
    case CMPI_CPID_USASCII:
      if (is_ascii(text)) return text;
      throw Error(Status::InvalidParameter, "the text is no US-ASCII");
    case CMPI_CPID_UTF16:
      return from_utf16(reinterpret_cast<const char16_t*>(text));
  }
  refuse_page();
}

std::string to_codepage(const std::string& text, CMPICodepageID codepage) {
  switch (codepage) {
    case CMPI_CPID_SYSTEM:
      return text;
    case CMPI_CPID_USASCII:
      if (is_ascii(text)) return text;
      throw Error(Status::NotInCodepage, "the text has characters outside US-ASCII");
    case CMPI_CPID_UTF16:
      return to_utf16(text);
  }
  refuse_page();
}

}  // namespace broker

#include "broker/cimxml/xml_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "platform/utf8.h"

namespace broker::cimxml {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

struct ClassTable {
  bool plain[256];
};

// Which bytes stand for themselves. Those above 0x7F do not: what follows them decides.
constexpr ClassTable class_table(std::string_view special) {
  ClassTable table{};
  for (unsigned i = 0x20; i < 0x80; ++i) table.plain[i] = true;
  for (const unsigned char c : {'\t', '\n'}) table.plain[c] = true;
  for (const char c : special) table.plain[static_cast<unsigned char>(c)] = false;
  return table;
}

// Readers change a carriage return, and in attributes all white space, unless it is escaped.
constexpr ClassTable kContent = class_table("&<>\r");
constexpr ClassTable kAttribute = class_table("&<>\"\r\n\t");

// Length of the character that begins here, if XML may hold it; 0 otherwise.
std::size_t character_length(std::string_view text) {
  const auto [character, length] = platform::first_utf8(text);
  const bool allowed = character <= 0x10FFFF && character != 0xFFFE && character != 0xFFFF;
  return allowed ? length : 0;
}

std::string_view escaped(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\r':
      return "&#13;";
    case '\n':
      return "&#10;";
    case '\t':
      return "&#9;";
    default:
      return kReplacement;
  }
}

}  // namespace

const Text::Classes& Text::content_classes = kContent.plain;
const Text::Classes& Text::attribute_classes = kAttribute.plain;

void Text::grow(std::size_t more) {
  const std::size_t capacity = std::max({size_ + more, capacity_ * 2, std::size_t{4096}});
  std::unique_ptr<char[]> data(new char[capacity]);  // not zero-filled
  if (size_ != 0) std::memcpy(data.get(), data_.get(), size_);
  data_ = std::move(data);
  capacity_ = capacity;
}

void Text::escape(std::string_view text, const Classes& plain) {
  const char* const end = text.data() + text.size();
  const char* run = text.data();
  const char* at = run;
  while (at < end) {
    const auto byte = static_cast<unsigned char>(*at);
    if (plain[byte]) {
      ++at;
      continue;
    }
    if (byte >= 0x80) {
      if (const std::size_t length = character_length({at, end})) {
        at += length;
        continue;
      }
    }
    *this << std::string_view(run, static_cast<std::size_t>(at - run)) << escaped(*at);
    ++at;
    run = at;
  }
  *this << std::string_view(run, static_cast<std::size_t>(end - run));
}

void Text::number(std::uint64_t number) {
  reserve(20);
  char* const at = data_.get() + size_;
  size_ += static_cast<std::size_t>(std::to_chars(at, at + 20, number).ptr - at);
}

void Text::number(std::int64_t number) {
  reserve(20);
  char* const at = data_.get() + size_;
  size_ += static_cast<std::size_t>(std::to_chars(at, at + 20, number).ptr - at);
}

void Text::real(double number, Type type) {
  if (std::isnan(number)) {
    *this << "NaN";
    return;
  }
  if (std::isinf(number)) {
    *this << (number < 0 ? "-INF" : "INF");
    return;
  }
  char digits[40];
  const char* const end =
      type == Type::Real32
          ? std::to_chars(digits, digits + sizeof digits, static_cast<float>(number)).ptr
          : std::to_chars(digits, digits + sizeof digits, number).ptr;
  const std::string_view text(digits, static_cast<std::size_t>(end - digits));
  const std::size_t exponent = std::min(text.find('e'), text.size());
  *this << text.substr(0, exponent);
  if (text.find('.') == std::string_view::npos) *this << ".0";
  *this << text.substr(exponent);
}

void Text::character(char16_t unit) {
  std::string text;
  platform::append_utf8(text, unit);
  content(text);
}

}  // namespace broker::cimxml

#include "broker/cimxml/text.h"

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>

namespace broker::cimxml {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

struct ClassTable {
  bool plain[256];
};

// Bytes above 0x7F need a look at what follows them.
constexpr ClassTable class_table(std::string_view special) {
  ClassTable table{};
  for (unsigned i = 0x20; i < 0x80; ++i) table.plain[i] = true;
  for (const unsigned char c : {'\t', '\n'}) table.plain[c] = true;
  for (const char c : special) table.plain[static_cast<unsigned char>(c)] = false;
  return table;
}

// A carriage return, and in attributes every white space, is changed by readers unless escaped.
constexpr ClassTable kContent = class_table("&<>\r");
constexpr ClassTable kAttribute = class_table("&<>\"\r\n\t");

// Length of the character that begins here, if XML may hold it; 0 otherwise.
std::size_t character_length(const unsigned char* at, std::size_t available) {
  const auto follows = [&](std::size_t i) { return i < available && (at[i] & 0xC0) == 0x80; };
  if (at[0] >= 0xC2 && at[0] <= 0xDF) return follows(1) ? 2 : 0;
  if ((at[0] & 0xF0) == 0xE0) {
    if (!follows(1) || !follows(2)) return 0;
    if (at[0] == 0xE0 && at[1] < 0xA0) return 0;                    // over-long
    if (at[0] == 0xED && at[1] >= 0xA0) return 0;                   // surrogates
    if (at[0] == 0xEF && at[1] == 0xBF && at[2] >= 0xBE) return 0;  // U+FFFE, U+FFFF
    return 3;
  }
  if (at[0] >= 0xF0 && at[0] <= 0xF4) {
    if (!follows(1) || !follows(2) || !follows(3)) return 0;
    if (at[0] == 0xF0 && at[1] < 0x90) return 0;
    if (at[0] == 0xF4 && at[1] >= 0x90) return 0;
    return 4;
  }
  return 0;
}

// The first byte that may need a look: control characters, those above 0x7F (negative here) and
// the special ones. May stop before the end where fewer than 16 bytes are left.
const char* skip_plain(const char* at, const char* end) {
  const auto all = [](char c) { return _mm_set1_epi8(c); };
  for (; end - at >= 16; at += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    const __m128i special = _mm_or_si128(
        _mm_or_si128(_mm_cmplt_epi8(bytes, all(0x20)), _mm_cmpeq_epi8(bytes, all('"'))),
        _mm_or_si128(
            _mm_cmpeq_epi8(bytes, all('&')),
            _mm_or_si128(_mm_cmpeq_epi8(bytes, all('<')), _mm_cmpeq_epi8(bytes, all('>')))));
    const auto found = static_cast<unsigned>(_mm_movemask_epi8(special));
    if (found != 0) return at + std::countr_zero(found);
  }
  return at;
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
  while ((at = skip_plain(at, end)) < end) {
    const auto byte = static_cast<unsigned char>(*at);
    if (plain[byte]) {
      ++at;
      continue;
    }
    if (byte >= 0x80) {
      if (const std::size_t length = character_length(reinterpret_cast<const unsigned char*>(at),
                                                      static_cast<std::size_t>(end - at))) {
        at += length;
        continue;
      }
    }
    *this << std::string_view(run, static_cast<std::size_t>(at - run)) << escaped(*at);
    run = ++at;
  }
  *this << std::string_view(run, static_cast<std::size_t>(at - run));
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
  const char bytes[] = {static_cast<char>(0xE0 | unit >> 12),
                        static_cast<char>(0x80 | (unit >> 6 & 0x3F)),
                        static_cast<char>(0x80 | (unit & 0x3F))};
  if (unit < 0x80) {
    const char ascii = static_cast<char>(unit);
    content({&ascii, 1});
  } else if (unit < 0x800) {
    const char two[] = {static_cast<char>(0xC0 | unit >> 6), bytes[2]};
    content({two, 2});
  } else {
    content({bytes, 3});
  }
}

}  // namespace broker::cimxml

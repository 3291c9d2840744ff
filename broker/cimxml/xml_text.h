// The text of a reply while it is put together: a buffer with the escapes of XML.
//
// Whatever bytes go in as content or attribute, what comes out is well-formed XML 1.0 in UTF-8:
// characters that XML cannot carry, and bytes that are no UTF-8, become U+FFFD.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "broker/value.h"

namespace broker::cimxml {

class Text {
 public:
  std::string_view view() const { return {data_.get(), size_}; }
  std::size_t size() const { return size_; }
  void cut(std::size_t size) { size_ = size; }  // at most the present size

  // Markup as it stands.
  Text& operator<<(std::string_view markup) {
    if (markup.empty()) return *this;  // its pointer may be null
    reserve(markup.size());
    std::memcpy(data_.get() + size_, markup.data(), markup.size());
    size_ += markup.size();
    return *this;
  }

  void content(std::string_view text) { escape(text, content_classes); }
  // Between double quotes.
  void attribute(std::string_view text) { escape(text, attribute_classes); }
  void number(std::uint64_t number);
  void number(std::int64_t number);
  // INF, -INF, NaN or a number with a decimal point, the shortest that reads back the same.
  void real(double number, Type type);
  void character(char16_t unit);  // as content; half a surrogate pair is no character

 private:
  using Classes = bool[256];  // whether the byte stands for itself
  static const Classes& content_classes;
  static const Classes& attribute_classes;

  void reserve(std::size_t more) {
    if (capacity_ - size_ < more) grow(more);
  }
  void grow(std::size_t more);
  void escape(std::string_view text, const Classes& plain);

  std::unique_ptr<char[]> data_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace broker::cimxml

// Names of classes, properties, keys, parameters, methods, roles and name spaces.
//
// CIM names compare without regard to case (ASCII) and keep the spelling they were written in. A
// name may be borrowed from the class data, which is never freed. Then copying an instance copies
// none of its many names.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/words.h"

namespace broker {

using platform::same_name;

// Equal for names that differ in case only.
std::size_t name_hash(std::string_view name);

// Order and equality of names as keys of a container.
struct NameHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view name) const { return name_hash(name); }
};
struct NameEqual {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const { return same_name(a, b); }
};

// A name as a value. Copies share their text, which never changes.
class Name {
 public:
  Name() = default;
  Name(std::string_view text);                                     // NOLINT: copies the text
  Name(const std::string& text) : Name(std::string_view(text)) {}  // NOLINT
  Name(const char* text) : Name(std::string_view(text)) {}         // NOLINT

  // text must live as long as every copy of the name, as class data and literals do.
  static Name borrowed(std::string_view text);

  std::string_view view() const { return text_; }
  operator std::string_view() const { return text_; }  // NOLINT
  std::string str() const { return std::string(text_); }
  bool empty() const { return text_.empty(); }

  friend bool operator==(const Name& a, std::string_view b) { return same_name(a.text_, b); }
  friend bool operator==(const Name& a, const Name& b) { return same_name(a.text_, b.text_); }
  friend bool operator==(const Name& a, const char* b) { return same_name(a.text_, b); }
  friend bool operator==(const Name& a, const std::string& b) { return same_name(a.text_, b); }

 private:
  std::string_view text_;
  std::shared_ptr<const std::string> owned_;
};

}  // namespace broker

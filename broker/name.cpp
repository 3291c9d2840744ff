#include "broker/name.h"

#include <cstdint>

namespace broker {
namespace {

// ASCII only: the letters of other scripts compare as they stand, whatever the locale.
unsigned char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A'))
                              : static_cast<unsigned char>(c);
}

}  // namespace

bool same_name(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  // Nearly all come in the spelling of the class.
  if (a.data() == b.data() || a == b) return true;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i] != b[i] && lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

std::size_t name_hash(std::string_view name) {
  std::uint64_t hash = 14695981039346656037u;  // FNV-1a
  for (char c : name) hash = (hash ^ lower(c)) * 1099511628211u;
  return hash;
}

Name::Name(std::string_view text) {
  if (text.empty()) return;
  owned_ = std::make_shared<const std::string>(text);
  text_ = *owned_;
}

Name Name::borrowed(std::string_view text) {
  Name name;
  name.text_ = text;
  return name;
}

}  // namespace broker

#include "broker/name.h"

#include <cstdint>

namespace broker {

std::size_t name_hash(std::string_view name) {
  std::uint64_t hash = 14695981039346656037u;  // FNV-1a
  for (const char letter : name)
    hash = (hash ^ static_cast<unsigned char>(platform::lower(letter))) * 1099511628211u;
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

#include "broker/instance_value.h"

#include <algorithm>
#include <utility>

namespace broker {

const Value* Instance::property(std::string_view name) const {
  for (const Property& property : properties) {
    if (property.name == name) return &property.value;
  }
  return nullptr;
}

std::string Instance::text(std::string_view name) const {
  const Value* value = property(name);
  return value ? to_text(*value) : std::string();
}

void Instance::set(Name name, Value value) {
  for (Property& property : properties) {
    if (property.name == name) {
      property.value = std::move(value);
      return;
    }
  }
  properties.push_back({std::move(name), std::move(value)});
}

bool operator==(const Instance& a, const Instance& b) {
  if (!(a.path == b.path) || a.properties.size() != b.properties.size()) return false;
  return std::all_of(a.properties.begin(), a.properties.end(), [&b](const Property& property) {
    const Value* other = b.property(property.name);
    return other && property.value == *other;
  });
}

}  // namespace broker

// Instances as plain values: what the object manager delivers and accepts.
#pragma once

#include <string_view>
#include <vector>

#include "broker/object_path.h"
#include "broker/value.h"

namespace broker {

struct Property {
  Name name;
  Value value;
};

class Instance {
 public:
  ObjectPath path;                   // name space, class, and keys where it has any
  std::vector<Property> properties;  // in the order they were set

  Instance() = default;
  explicit Instance(ObjectPath instance_path) : path(std::move(instance_path)) {}

  const Name& class_name() const { return path.class_name; }

  // Null when the instance has no such property. A property whose value is null has a Value.
  const Value* property(std::string_view name) const;
  // Text of a property as to_text gives it; empty when it is missing or null.
  std::string text(std::string_view name) const;
  void set(Name name, Value value);  // adds or replaces

  friend bool operator==(const Instance& a, const Instance& b);
};

}  // namespace broker

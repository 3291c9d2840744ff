// A property, parameter or return value: a value and a null flag.
#pragma once

#include <utility>

#include "platform/framework/types.h"

namespace ovk_cimple {

// New properties are null. Assigning a value is the only way to set a property, and always clears
// the flag. set_null() drops the value again. value() of a null property is T().
template <class T>
class Property {
 public:
  using Value = T;

  Property() = default;

  Property& operator=(T value) {
    value_ = std::move(value);
    null_ = false;
    return *this;
  }
  void set_null() {
    value_ = T();
    null_ = true;
  }

  const T& value() const { return value_; }
  bool null() const { return null_; }

 private:
  T value_{};
  bool null_ = true;
};

}  // namespace ovk_cimple

// Object paths: the names of instances and classes.
//
// Text form: [//host/][name/space:]Class[.Key=value[,Key=value]...], where a value is "text" with
// backslash before quote and backslash, an integer, TRUE or FALSE, or the quoted text of
// another path (DSP0004). A real has no text form as a key.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "broker/name.h"
#include "broker/value.h"

namespace broker {

inline constexpr std::string_view kServedNameSpace = "root/cimv2";

struct Key {
  Name name;
  Value value;  // never null, never an array
};

class ObjectPath {
 public:
  Name host;        // empty: this machine
  Name name_space;  // without a leading slash; empty: that of the request
  Name class_name;
  std::vector<Key> keys;  // none: the path of a class

  ObjectPath() = default;
  ObjectPath(Name name_space, Name class_name, std::vector<Key> keys = {});

  // Null when there is no such key.
  const Value* key(std::string_view name) const;
  void set_key(Name name, Value value);  // adds or replaces

  // Reads the text form. As the declared types are not known here, a number becomes uint64 (sint64
  // when negative) and a quoted text stays text, also where the class declares a reference. The
  // object manager gives keys their declared types when it gets the path. A missing name space
  // stays empty. Throws Error (InvalidParameter) that names the place.
  static ObjectPath parse(std::string_view text);

  std::string to_text() const;

  // The same class, the same keys in any order (same_key_value), and the same name space where both
  // have one. Hosts are not compared.
  friend bool operator==(const ObjectPath& a, const ObjectPath& b);
};

}  // namespace broker

// The CIM data types as C++ sees them.
//
// Values are plain: integers by their CIM name, String and Array as the standard library's,
// so that a provider writes ordinary C++. A boolean array is a std::vector<bool>.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#define OVK_CIMPLE_EXPORT __attribute__((visibility("default")))

namespace ovk_cimple {

using boolean = bool;
using uint8 = std::uint8_t;
using sint8 = std::int8_t;
using uint16 = std::uint16_t;
using sint16 = std::int16_t;
using uint32 = std::uint32_t;
using sint32 = std::int32_t;
using uint64 = std::uint64_t;
using sint64 = std::int64_t;
using real32 = float;
using real64 = double;
using char16 = char16_t;
using String = std::string;

template <class T>
using Array = std::vector<T>;

// The type of a property, parameter or array element. References are Ref<Instance>.
enum class Type : uint8 {
  boolean,
  uint8,
  sint8,
  uint16,
  sint16,
  uint32,
  sint32,
  uint64,
  sint64,
  real32,
  real64,
  char16,
  string,
  datetime,
  reference,
};

// CIM names (of classes, properties, methods, parameters, roles) compare without regard to
// the case of ASCII letters. A null name equals nothing but another null name.
OVK_CIMPLE_EXPORT bool same_name(const char* left, const char* right);

}  // namespace ovk_cimple

// Meta-classes: what the framework knows of a class at run time.
//
// The records are constant data of the generated class library and live as long as it does.
// They are compared by address: a class has one record in a process.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <type_traits>

#include "platform/framework/datetime.h"
#include "platform/framework/instance.h"

namespace ovk_cimple {

struct MetaRepository;

// One property of a class, or one parameter of a method.
struct MetaProperty {
  const char* name;
  Type type;
  bool array;
  bool key;
  bool in;                           // parameters only
  bool out;                          // parameters only
  std::size_t offset;                // of the Property in the instance
  const MetaClass* reference_class;  // type reference only: the declared class, else null
};

// One class, or one method: a method's record is an instance too, whose properties are the
// parameters in declaration order and, last, the return value (named "return_value").
struct MetaClass {
  const char* name;
  const MetaClass* superclass;                // null for a root class and for methods
  std::span<const MetaProperty> properties;   // inherited ones first; an overriding one keeps
                                              // the place of the one that it overrides
  std::span<const MetaClass* const> methods;  // the same order
  const MetaRepository* repository;
  bool association;
  bool abstract;
  Instance* (*construct)(const MetaClass& meta, bool defaults);
  Instance* (*copy)(const Instance& original);
  void (*destruct)(const Instance* instance);
};

// Every class of the class library.
struct OVK_CIMPLE_EXPORT MetaRepository {
  std::span<const MetaClass* const> classes;

  // Null when there is no class of that name, and for a null name.
  const MetaClass* find(const char* name) const;
};

// Whether a class is the ancestor itself or derives from it.
OVK_CIMPLE_EXPORT bool is_subclass(const MetaClass& ancestor, const MetaClass& descendant);

// Null when the class has none of that name.
OVK_CIMPLE_EXPORT const MetaProperty* find_property(const MetaClass& meta, const char* name);
OVK_CIMPLE_EXPORT const MetaClass* find_method(const MetaClass& meta, const char* name);

namespace detail {
template <class T, class Holder, class Function>
decltype(auto) visit_as(Holder* holder, const MetaProperty& property, Function& function) {
  constexpr bool kIsConst = std::is_const_v<Holder>;
  using Byte = std::conditional_t<kIsConst, const char, char>;
  using Single = std::conditional_t<kIsConst, const Property<T>, Property<T>>;
  using Several = std::conditional_t<kIsConst, const Property<Array<T>>, Property<Array<T>>>;
  Byte* const place = reinterpret_cast<Byte*>(holder) + property.offset;
  if (property.array) return function(*reinterpret_cast<Several*>(place));
  return function(*reinterpret_cast<Single*>(place));
}
}  // namespace detail

// Calls the function with the instance's property as a reference to the Property<T> or
// Property<Array<T>> that it is, and returns what the function returns (of one type for all).
// The instance must be of a class that has the property.
template <class Holder, class Function>
decltype(auto) visit(Holder* holder, const MetaProperty& property, Function&& function) {
  switch (property.type) {
    case Type::boolean:
      return detail::visit_as<boolean>(holder, property, function);
    case Type::uint8:
      return detail::visit_as<uint8>(holder, property, function);
    case Type::sint8:
      return detail::visit_as<sint8>(holder, property, function);
    case Type::uint16:
      return detail::visit_as<uint16>(holder, property, function);
    case Type::sint16:
      return detail::visit_as<sint16>(holder, property, function);
    case Type::uint32:
      return detail::visit_as<uint32>(holder, property, function);
    case Type::sint32:
      return detail::visit_as<sint32>(holder, property, function);
    case Type::uint64:
      return detail::visit_as<uint64>(holder, property, function);
    case Type::sint64:
      return detail::visit_as<sint64>(holder, property, function);
    case Type::real32:
      return detail::visit_as<real32>(holder, property, function);
    case Type::real64:
      return detail::visit_as<real64>(holder, property, function);
    case Type::char16:
      return detail::visit_as<char16>(holder, property, function);
    case Type::string:
      return detail::visit_as<String>(holder, property, function);
    case Type::datetime:
      return detail::visit_as<Datetime>(holder, property, function);
    case Type::reference:
      break;
  }
  return detail::visit_as<Ref<Instance>>(holder, property, function);
}

// What a meta-class needs to make, copy and end instances of its struct T.
template <class T>
Instance* construct_instance(const MetaClass& meta, bool defaults) {
  auto instance = std::make_unique<T>(meta);
  if constexpr (requires { instance->set_defaults(); })
    if (defaults) instance->set_defaults();
  return instance.release();
}
template <class T>
Instance* copy_instance(const Instance& original) {
  return new T(static_cast<const T&>(original));
}
template <class T>
void destruct_instance(const Instance* instance) {
  delete static_cast<const T*>(instance);
}

}  // namespace ovk_cimple

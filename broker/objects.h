// The CMPI objects of the object manager: what stands behind each handle.
//
// An object holds plain values (value.h). What a provider reads out of it as a further object,
// a property's string for instance, is a new object of the running operation with its own copy.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "broker/arena.h"
#include "broker/error.h"
#include "broker/instance_value.h"
#include "broker/object_manager.h"
#include "broker/schema.h"
#include "broker/value.h"

namespace broker {

class Delivery;

struct StringObject : Object<CMPIString, Kind::String> {
  static constexpr auto kTable = &Tables::string;
  std::string text;
};

struct ArrayObject : Object<CMPIArray, Kind::Array> {
  static constexpr auto kTable = &Tables::array;
  Type element;
  std::vector<Value> values;
  // Made with element type CMPI_chars: setElementAt takes that type, and reading gives strings.
  bool of_chars = false;
};

struct DateTimeObject : Object<CMPIDateTime, Kind::DateTime> {
  static constexpr auto kTable = &Tables::date_time;
  std::string text;
};

struct ObjectPathObject : Object<CMPIObjectPath, Kind::ObjectPath> {
  static constexpr auto kTable = &Tables::object_path;
  ObjectPath path;
  const ClassInfo* info;  // null for a path of a class that the schema does not have
};

struct InstanceObject : Object<CMPIInstance, Kind::Instance> {
  static constexpr auto kTable = &Tables::instance;
  Instance instance;
  const ClassInfo* info;
  bool filtered = false;       // whether setPropertyFilter has been called
  std::vector<Name> filter{};  // the properties that it keeps
  // The last, in the class's order, of the properties that the provider has set. What comes behind
  // it is new, so that neither the class nor the instance need be searched for it. Without this,
  // CIM-XML over HTTP would miss its goal (bench/table.py).
  const PropertyInfo* last{};
};

struct ArgsObject : Object<CMPIArgs, Kind::Args> {
  static constexpr auto kTable = &Tables::args;
  std::vector<Argument> arguments;
  const MethodInfo* out_of;  // set on the output parameters of a method call, else null
};

struct ContextObject : Object<CMPIContext, Kind::Context> {
  static constexpr auto kTable = &Tables::context;
  std::vector<std::pair<std::string, Value>> entries;
  bool prepared = false;  // made for a thread that is not attached yet

  const Value* find(std::string_view name) const {
    for (const auto& [entry, value] : entries) {
      if (entry == name) return &value;
    }
    return nullptr;
  }
};

struct ResultObject : Object<CMPIResult, Kind::Result> {
  static constexpr auto kTable = &Tables::result;
  Delivery* delivery;
};

struct EnumerationObject : Object<CMPIEnumeration, Kind::Enumeration> {
  static constexpr auto kTable = &Tables::enumeration;
  Type type;  // Instance or Reference
  std::vector<Value> items;
  std::size_t position = 0;
};

struct ErrorObject : Object<CMPIError, Kind::Error> {
  static constexpr auto kTable = &Tables::error;
  std::optional<std::string> owning_entity, message_id, message;
  CMPIErrorSeverity severity;
  CMPIErrorProbableCause probable_cause;
  CMPIrc status;
  CMPIErrorType type{};
  CMPIErrorSrcFormat source_format{};
  std::optional<std::string> other_type{}, cause_description{}, source{}, other_source_format{},
      status_description{};
  std::optional<std::vector<Value>> recommended_actions{}, message_arguments{};
};

struct PropertyListObject : Object<CMPIPropertyList, Kind::PropertyList> {
  static constexpr auto kTable = &Tables::property_list;
  std::vector<std::string> names;
  std::vector<const char*> pointers{};  // of names, null at the end

  void point() {
    pointers.clear();
    for (const std::string& name : names) pointers.push_back(name.c_str());
    pointers.push_back(nullptr);
  }
};

struct EnumerationFilterObject : Object<CMPIEnumerationFilter, Kind::EnumerationFilter> {
  static constexpr auto kTable = &Tables::enumeration_filter;
};

// The object behind a handle that a provider passed. Throws Error (InvalidHandle) for null, for
// a handle of foreign make and for one of another kind.
template <class T>
T& object(const typename T::Handle* handle) {
  if (!handle || handle->hdl != handle) {
    throw Error(Status::InvalidHandle, "the handle is null or not of this object manager");
  }
  auto* found = reinterpret_cast<T*>(const_cast<typename T::Handle*>(handle));
  if (found->header.kind != T::kKind) {
    throw Error(Status::InvalidHandle, "the handle is one of another kind of object");
  }
  return *found;
}

template <class T>
typename T::Handle* handle(T* object) {
  return &object->handle;
}

}  // namespace broker

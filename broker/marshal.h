// Translation between CMPI's values and ours, and the boundary that no exception crosses.
#pragma once

#include <cxxabi.h>

#include <string>

#include "broker/error.h"
#include "broker/objects.h"
#include "broker/operation.h"
#include "broker/value.h"
#include "platform/cmpi/cmpi.h"

namespace broker {

// Copies a value that a provider passed. A null pointer to the value, or inside it, makes a null of
// the type. Of a number only the bytes of its type are read, since providers also pass the address
// of a variable of that type. For CMPI_chars, value is the C string itself. Throws Error:
// InvalidDataType for a type code that is no CIM type, InvalidHandle for an object that is not
// ours, TypeMismatch for an array whose elements are of another type than announced.
Value from_cmpi(const CMPIValue* value, CMPIType type);

// The element type of a type code; chars is string. Throws Error (InvalidDataType).
Type element_type(CMPIType type);

// The value as a provider reads it. Strings, paths and the like become objects of the running
// operation.
CMPIData to_cmpi(const Value& value, CMPIValueState state = CMPI_goodValue);

// What a getter returns when there is no such item: null, with the state "not found".
CMPIData missing_data();

CMPIString* new_string(std::string_view text);
std::string text_of(const CMPIString* string);  // empty for null

InstanceObject* new_instance(Instance instance);  // of the running operation
// Of a class in the served name space.
ObjectPathObject* new_class_path(const ClassInfo& info, std::string_view spelling);
// Without properties; the path's class is that of info.
InstanceObject* new_empty_instance(const ObjectPath& path, const ClassInfo& info);
ObjectPathObject* new_path(ObjectPath path);

const char* required(const char* argument, const char* what);  // throws Error (InvalidParameter)
std::string optional(const char* argument);                    // empty for null

// The CMPI status for the exception that is being handled. Its message is a string of the running
// operation, if there is one.
CMPIStatus status_of_exception();

// Runs the body of a table function and turns an exception into a status.
template <class Body>
CMPIStatus answer(Body body) {
  try {
    body();
    return {CMPI_RC_OK, nullptr};
  } catch (const abi::__forced_unwind&) {
    throw;  // a cancelled thread unwinds through here
  } catch (...) {
    return status_of_exception();
  }
}

template <class Result, class Body>
Result answer(CMPIStatus* rc, Result on_failure, Body body) {
  Result result = on_failure;
  const CMPIStatus status = answer([&] { result = body(); });
  if (status.rc != CMPI_RC_OK) result = on_failure;
  if (rc) *rc = status;
  return result;
}

// The functions release and clone, which are the same for every kind of object.
template <class T>
CMPIStatus release(typename T::Handle* handle) {
  return answer([&] {
    T& released = object<T>(handle);
    if (!released.header.lent) Arena::free(released.header);
  });
}

template <class T>
typename T::Handle* clone(const typename T::Handle* source, CMPIStatus* rc) {
  using Handle = typename T::Handle;
  return answer(rc, static_cast<Handle*>(nullptr),
                [&] { return handle(Arena::clone(object<T>(source))); });
}

}  // namespace broker

// The functions that fill Tables. Each group of tables has a unit of its own.
#pragma once

#include "broker/tables.h"

namespace broker {

void fill_operation_table(Tables& tables);    // operation_table.cpp: up-calls
void fill_factory_table(Tables& tables);      // factory_table.cpp
void fill_system_table(Tables& tables);       // system_table.cpp
void fill_memory_table(Tables& tables);       // provider_memory.cpp
void fill_string_tables(Tables& tables);      // string_tables.cpp
void fill_collection_tables(Tables& tables);  // collection_tables.cpp
void fill_instance_table(Tables& tables);     // instance_table.cpp
void fill_object_path_table(Tables& tables);  // object_path_table.cpp
void fill_error_table(Tables& tables);        // error_table.cpp

// A function of the given type that answers NOT_SUPPORTED: as its result, or through its status
// parameter.
template <class Function>
struct Unsupported;

template <class Result, class... Arguments>
struct Unsupported<Result (*)(Arguments...)> {
  static Result function(Arguments... arguments) {
    (set(arguments), ...);
    return Result();
  }

 private:
  template <class Argument>
  static void set(Argument) {}
  static void set(CMPIStatus* rc) {
    if (rc) *rc = {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
  }
};

template <class... Arguments>
struct Unsupported<CMPIStatus (*)(Arguments...)> {
  static CMPIStatus function(Arguments...) { return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr}; }
};

// Stands in a table in the place of any function.
struct AnyUnsupported {
  template <class Function>
  operator Function() const {  // NOLINT: implicit, so that it can initialise any member
    return Unsupported<Function>::function;
  }
};
inline constexpr AnyUnsupported kUnsupported;

}  // namespace broker

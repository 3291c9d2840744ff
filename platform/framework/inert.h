// The fixed answers of providers that publish a class but do nothing: derive from the parts
// that apply. They read no argument, write no out parameter and log nothing.
#pragma once

#include "platform/framework/handler.h"
#include "platform/framework/status.h"

namespace ovk_cimple {

// Enumerates nothing, successfully, and supports no other instance operation.
template <class Class>
struct Inert_Instances {
  sint32 load() { return OK; }
  sint32 unload() { return OK; }
  sint32 get_instance(const Class*, Class*&) { return GET_INSTANCE_UNSUPPORTED; }
  sint32 enum_instances(const Class*, Enum_Handler<Class>*) { return OK; }
  sint32 create_instance(const Class*) { return CREATE_INSTANCE_UNSUPPORTED; }
  sint32 delete_instance(const Class*) { return DELETE_INSTANCE_UNSUPPORTED; }
  sint32 modify_instance(const Class*, const Class*) { return MODIFY_INSTANCE_UNSUPPORTED; }
};

// Supports neither associator names nor references.
template <class Class>
struct Inert_References {
  sint32 enum_associator_names(const Instance*, const char*, const char*, const char*,
                               Enum_Handler<>*) {
    return ENUM_ASSOCIATOR_NAMES_UNSUPPORTED;
  }
  sint32 enum_references(const Instance*, const Class*, const char*, Enum_Handler<Class>*) {
    return ENUM_REFERENCES_UNSUPPORTED;
  }
};

// Supports no associators.
struct Inert_Associators {
  sint32 enum_associators(const Instance*, const char*, const char*, const char*, Enum_Handler<>*) {
    return ENUM_ASSOCIATORS_UNSUPPORTED;
  }
};

template <class Class>
struct Inert_Association : Inert_Instances<Class>, Inert_References<Class>, Inert_Associators {};

// An extrinsic method that is not supported, whatever its parameters. A provider names it as a
// static member: "static constexpr Inert_Method Reset{};".
struct Inert_Method {
  template <class... Arguments>
  sint32 operator()(const Arguments&...) const {
    return METHOD_UNSUPPORTED;
  }
};

}  // namespace ovk_cimple

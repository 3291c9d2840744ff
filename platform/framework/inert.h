// The fixed answers of providers that publish a class but do nothing: derive from the parts
// that apply. They read no argument, write no out parameter and log nothing.
#pragma once

#include "platform/framework/handler.h"
#include "platform/framework/provider_status.h"

namespace ovk_cimple {

// Enumerates nothing, successfully, and supports no other instance operation.
template <class Class>
struct InertInstances {
  sint32 load() { return OK; }
  sint32 unload() { return OK; }
  sint32 get_instance(const Class*, Class*&) { return GetInstanceUnsupported; }
  sint32 enum_instances(const Class*, EnumHandler<Class>*) { return OK; }
  sint32 create_instance(const Class*) { return CreateInstanceUnsupported; }
  sint32 delete_instance(const Class*) { return DeleteInstanceUnsupported; }
  sint32 modify_instance(const Class*, const Class*) { return ModifyInstanceUnsupported; }
};

// Supports neither associator names nor references.
template <class Class>
struct InertReferences {
  sint32 enum_associator_names(const Instance*, const char*, const char*, const char*,
                               EnumHandler<>*) {
    return EnumAssociatorNamesUnsupported;
  }
  sint32 enum_references(const Instance*, const Class*, const char*, EnumHandler<Class>*) {
    return EnumReferencesUnsupported;
  }
};

// Supports no associators.
struct InertAssociators {
  sint32 enum_associators(const Instance*, const char*, const char*, const char*, EnumHandler<>*) {
    return EnumAssociatorsUnsupported;
  }
};

template <class Class>
struct InertAssociation : InertInstances<Class>, InertReferences<Class>, InertAssociators {};

// An extrinsic method that is not supported, whatever its parameters. A provider names it as a
// static member: "static constexpr InertMethod Reset{};".
struct InertMethod {
  template <class... Arguments>
  sint32 operator()(const Arguments&...) const {
    return MethodUnsupported;
  }
};

}  // namespace ovk_cimple

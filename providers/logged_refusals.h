// The fixed answers of providers with behaviour. They are the codes of platform/framework/inert.h,
// but each answer writes its entry and exit lines into the log under the provider's name.
#pragma once

#include <string>
#include <string_view>

#include "platform/framework/provider_status.h"
#include "providers/operation_log.h"

namespace ovk_cimple {

template <class Class>
sint32 log_answer_of(std::string_view operation, sint32 status) {
  return log_answer(std::string(Class::static_meta_class.name) + "_Provider", operation, status);
}

// Derive from it. It has no members, so that providers without state stay empty.
template <class Class>
struct LoggedRefusals {
  sint32 load() { return log_answer_of<Class>("load", OK); }
  sint32 unload() { return log_answer_of<Class>("unload", OK); }
  sint32 get_instance(const Class*, Class*&) {
    return log_answer_of<Class>("get_instance", GetInstanceUnsupported);
  }
  sint32 create_instance(const Class*) {
    return log_answer_of<Class>("create_instance", CreateInstanceUnsupported);
  }
  sint32 delete_instance(const Class*) {
    return log_answer_of<Class>("delete_instance", DeleteInstanceUnsupported);
  }
  sint32 modify_instance(const Class*, const Class*) {
    return log_answer_of<Class>("modify_instance", ModifyInstanceUnsupported);
  }
};

// An extrinsic method that is not supported, whatever its parameters. A provider names it as a
// static member: "static constexpr LoggedMethod<Class> KillJob{"KillJob"};".
template <class Class>
struct LoggedMethod {
  const char* name;

  template <class... Arguments>
  sint32 operator()(const Arguments&...) const {
    return log_answer_of<Class>(name, MethodUnsupported);
  }
};

}  // namespace ovk_cimple

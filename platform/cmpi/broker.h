// Calls into an object manager, tolerant of what it leaves out.
//
// The adapter uses only members that every version of CMPI has, since version 1.0, so it never
// looks at the version fields (some object managers leave them at 0 or 1). Any member may still
// be null: the call then answers as if the object manager did not support it.
#pragma once

#include <memory>
#include <string>
#include <type_traits>

#include "platform/cmpi/cmpi.h"

namespace ovk_cimple {

// The exception that ends an operation. At the boundary to the object manager it becomes a status.
struct Failure {
  CMPIrc code;
  std::string text;
};

namespace detail {
template <class Answer>
Answer missing() {
  if constexpr (std::is_same_v<Answer, CMPIStatus>)
    return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
  else if constexpr (std::is_same_v<Answer, CMPIData>)
    return {CMPI_null, CMPI_nullValue | CMPI_notFound, {}};
  else
    return Answer();
}
}  // namespace detail

// Calls a function of an object's table. object may be null.
template <class Object, class Table, class Answer, class... Parameters>
Answer invoke(std::type_identity_t<Object>* object,
              Answer (*Table::*member)(Object*, Parameters...),
              std::type_identity_t<Parameters>... arguments) {
  if (!object || !object->ft || !(object->ft->*member)) return detail::missing<Answer>();
  return (object->ft->*member)(object, arguments...);
}

// Reads a value of an object. A value that is missing, for whatever reason, is returned as null.
template <class Object, class Table>
CMPIData read_data(std::type_identity_t<Object>* object,
                   CMPIData (*Table::*member)(Object*, const char*, CMPIStatus*),
                   const char* name) {
  CMPIStatus status{};
  const CMPIData data = invoke(object, member, name, &status);
  return status.rc == CMPI_RC_OK ? data : detail::missing<CMPIData>();
}

// Object managers that leave the version at 0 or 1 keep pointers to returned paths when the caller
// is in the same process, so that such paths must not be released early.
inline bool copies_paths(const CMPIBroker* broker) {
  return broker->bft && broker->bft->brokerVersion >= CMPIVersion100;
}

// The characters of a string; null for a null string and for a string without text.
inline const char* text_of(const CMPIString* string) {
  CMPIStatus status{};
  return invoke(string, &CMPIStringFT::getCharPtr, &status);
}

// What an object manager gives as the reason of a failure; may be empty.
inline std::string reason(const CMPIStatus& status) {
  const char* const text = text_of(status.msg);
  return text ? text : "status " + std::to_string(status.rc);
}

// A failure of the object manager itself. Its "not supported" or "not found" must not reach the
// client as the provider's, since many clients take that for an empty answer.
inline Failure refusal(CMPIStatus status, const std::string& what) {
  const std::string text = what + ": " + reason(status);
  if (status.rc == CMPI_RC_OK || status.rc == CMPI_RC_ERR_NOT_SUPPORTED ||
      status.rc == CMPI_RC_ERR_NOT_FOUND)
    status.rc = CMPI_RC_ERR_FAILED;
  return {status.rc, text};
}

inline void require(const CMPIStatus& status, const char* what) {
  if (status.rc != CMPI_RC_OK) throw refusal(status, what);
}

struct Release {
  template <class Object>
  void operator()(Object* object) const {
    invoke(object, &std::remove_cvref_t<decltype(*object->ft)>::release);
  }
};

// An object that the object manager made for the adapter. It is released after it was handed over.
template <class Object>
using Made = std::unique_ptr<Object, Release>;

// Has the object manager make an object. Throws Failure when it does not.
template <class Object, class... Parameters, class... Arguments>
Made<Object> make(const CMPIBroker* broker, const char* what,
                  Object* (*CMPIBrokerEncFT::*member)(const CMPIBroker*, Parameters...),
                  Arguments... arguments) {
  CMPIStatus status{CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
  Object* object = nullptr;
  if (broker->eft && broker->eft->*member) {
    status = {};
    object = (broker->eft->*member)(broker, arguments..., &status);
  }
  if (status.rc == CMPI_RC_OK && object) return Made<Object>(object);
  throw refusal(status, std::string("the object manager makes no ") + what);
}

}  // namespace ovk_cimple

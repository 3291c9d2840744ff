// What the units of the test provider library share.
#pragma once

#include <string>

#include "platform/cmpi/cmpi.h"

namespace test_provider {

inline constexpr char kNameSpace[] = "root/cimv2";
inline constexpr CMPIStatus kOk{CMPI_RC_OK, nullptr};

struct State {
  const CMPIBroker* mb;
  std::string name;
};

inline const State& state(const void* hdl) { return *static_cast<const State*>(hdl); }

inline void note(const State& provider, const std::string& text) {
  provider.mb->eft->logMessage(provider.mb, CMPI_SEV_INFO, provider.name.c_str(), text.c_str(),
                               nullptr);
}

inline CMPIStatus fail(const CMPIBroker* mb, CMPIrc code, const char* text) {
  return {code, text ? mb->eft->newString(mb, text, nullptr) : nullptr};
}

inline const CMPIValue* chars(const char* text) { return reinterpret_cast<const CMPIValue*>(text); }

inline std::string text(const CMPIString* string) {
  const char* found = string ? string->ft->getCharPtr(string, nullptr) : nullptr;
  return found ? found : "";
}

inline std::string class_of(const CMPIObjectPath* path) {
  return text(path->ft->getClassName(path, nullptr));
}

inline std::string name_of(const CMPIObjectPath* path) {
  CMPIStatus rc = kOk;
  const CMPIData data = path->ft->getKey(path, "Name", &rc);
  return rc.rc == CMPI_RC_OK && data.type == CMPI_string ? text(data.value.string) : "";
}

inline CMPIObjectPath* named(const CMPIBroker* mb, const char* class_name, const char* name) {
  CMPIObjectPath* path = mb->eft->newObjectPath(mb, kNameSpace, class_name, nullptr);
  path->ft->addKey(path, "Name", chars(name), CMPI_chars);
  return path;
}

// An instance of TEST_Widget or a subclass with a value in every property.
CMPIInstance* thing(const CMPIBroker* mb, const char* class_name, const char* name);

// Of every provider's method interface (test_provider_methods.cpp).
CMPIStatus invoke_method(CMPIMethodMI* mi, const CMPIContext* context, const CMPIResult* result,
                         const CMPIObjectPath* path, const char* method, const CMPIArgs* in,
                         CMPIArgs* out);

}  // namespace test_provider

// What every module needs for its list of registrations and its CMPI entry points.
#pragma once

#include "platform/cmpi/adapter.h"

namespace ovk_cimple {

// The module defines these: the list that its cimple_module() returns, and the name in each record
// of the list.
extern Registration* _cimple_registration_head;
extern const char* _cimple_module_name;

// Fills a provider's record and puts it at the head of the module's list.
inline void add_provider(Registration& record, const char* provider_name, DispatchRoutine dispatch,
                         const MetaClass& meta_class) {
  record = {_cimple_module_name, provider_name, dispatch, &meta_class, _cimple_registration_head};
  _cimple_registration_head = &record;
}

// Null when the adapter could not create the interface. The adapter has logged the reason.
template <class Interface>
Interface* create_interface(CmpiStaticData& data, const Registration& registration,
                            const CMPIBroker* broker, const CMPIContext* context, char kind) {
  void* result = nullptr;
  ovk_cimple_cmpi_adapter(67, &data, &registration, broker, context, registration.provider_name,
                          kind, &result);
  return static_cast<Interface*>(result);
}

}  // namespace ovk_cimple

// Defines, inside extern "C", the entry point for one Kind of interface (Instance, Method,
// Association) of a provider, whose static data is in scope. Entry points take broker and context
// only. If an object manager passes a third argument for a status, it is ignored.
#define OVK_CIMPLE_ENTRY_POINT(Provider, Kind, registration)                                       \
  OVK_CIMPLE_EXPORT CMPI##Kind##MI* Provider##_Create_##Kind##MI(const CMPIBroker* broker,         \
                                                                 const CMPIContext* context) {     \
    return ovk_cimple::create_interface<CMPI##Kind##MI>(_cmpi_static_data##Provider, registration, \
                                                        broker, context, #Kind[0]);                \
  }

// The CMPI adapter: presents a provider of the framework to an object manager.
//
// It fills the management interface tables (instance, method, association) and translates both
// ways between the object manager's objects and the framework's instances.
#pragma once

#include "platform/cmpi/cmpi.h"
#include "platform/framework/registration.h"

// Storage for what the adapter keeps of one provider. The module has it zero-initialised and passes
// its address. It must live as long as the module stays loaded.
struct CmpiStaticData {
  void* adapter;
};

// Writes the management interface of a kind ('I' instance, 'M' method, 'A' association) of the
// registered provider to *result, or leaves it untouched when the provider could not be created
// or loaded. The provider object is shared by its interfaces and made with the first. caller is
// 67. Returns 0 or the failure's CMPI code. Any thread may call it, repeatedly.
extern "C" OVK_CIMPLE_EXPORT int ovk_cimple_cmpi_adapter(
    int caller, CmpiStaticData* static_data, const ovk_cimple::Registration* registration,
    const CMPIBroker* broker, const CMPIContext* context, const char* provider_name, char kind,
    void** result);

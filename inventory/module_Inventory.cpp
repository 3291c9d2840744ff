// The inventory's outer shell: the list of registrations that the framework walks, and the CMPI
// entry points by which an object manager obtains each provider's management interfaces.
#include "inventory/KAVRO_Inventory_ComputerSystem_Provider.h"
#include "inventory/KAVRO_Inventory_DiskDrive_Provider.h"
#include "inventory/KAVRO_Inventory_SysBusDevice_Provider.h"
#include "platform/cmpi/module.h"
#include "platform/framework/dispatch.h"
#include "platform/framework/module_unit.h"

namespace ovk_cimple {

Registration* _cimple_registration_head;
const char* _cimple_module_name = "KAVRO_Inventory_Module";

namespace {

template <class Provider>
sint32 dispatch_routine(const Registration*, sint32 operation, void* arg0, void* arg1, void* arg2,
                        void* arg3, void* arg4, void* arg5, void* arg6, void*) {
  return dispatch<Provider, typename Provider::Class, false>(operation, arg0, arg1, arg2, arg3,
                                                             arg4, arg5, arg6);
}

#define INSTANCE(Name) Registration registration_of_##Name;
#include "inventory/providers.def"

// Runs once when the library is loaded, before anybody can ask for the list; nothing changes
// it afterwards.
[[maybe_unused]] const bool kRegistered = [] {
#define INSTANCE(Name)                                                                        \
  add_provider(registration_of_##Name, #Name "_Provider", &dispatch_routine<Name##_Provider>, \
               Name##_Provider::Class::static_meta_class);
#include "inventory/providers.def"
  return true;
}();

}  // namespace
}  // namespace ovk_cimple

extern "C" {

OVK_CIMPLE_EXPORT const ovk_cimple::Registration* cimple_module() {
  return ovk_cimple::_cimple_registration_head;
}

#define INSTANCE(Name)                                                                  \
  CmpiStaticData _cmpi_static_data##Name##_Provider;                                    \
  OVK_CIMPLE_ENTRY_POINT(Name##_Provider, Instance, ovk_cimple::registration_of_##Name) \
  OVK_CIMPLE_ENTRY_POINT(Name##_Provider, Method, ovk_cimple::registration_of_##Name)
#include "inventory/providers.def"

}  // extern "C"

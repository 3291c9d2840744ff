// The module's outer shell: the list of registrations that the framework walks, and the CMPI
// entry points by which an object manager obtains each provider's management interfaces.
#include "model/classes.h"
#include "module/dispatch_routines.h"
#include "platform/cmpi/module.h"
#include "platform/framework/module_unit.h"

namespace ovk_cimple {

Registration* _cimple_registration_head;

// Kept on purpose: the module bears the name of the one provider that is not registered. The
// framework knows the module by this name.
const char* _cimple_module_name = "KAVRO_HDDTest_AffectedJobElement_Module";

namespace {

#define INSTANCE(Class) Registration registration_of_##Class;
#define ASSOCIATION(Class) INSTANCE(Class)
#include "module/providers.def"

// Runs once when the library is loaded, before anybody can ask for the list. The list does not
// change afterwards.
[[maybe_unused]] const bool kRegistered = [] {
#define INSTANCE(Class)                                                                        \
  add_provider(registration_of_##Class, #Class "_Provider", &__cimple_##Class##_Provider_proc, \
               Class::static_meta_class);
#define ASSOCIATION(Class) INSTANCE(Class)
#include "module/providers.def"
  return true;
}();

}  // namespace
}  // namespace ovk_cimple

extern "C" {

OVK_CIMPLE_EXPORT const ovk_cimple::Registration* cimple_module() {
  return ovk_cimple::_cimple_registration_head;
}

#define ENTRY_POINT(Class, Kind) \
  OVK_CIMPLE_ENTRY_POINT(Class##_Provider, Kind, ovk_cimple::registration_of_##Class)
#define INSTANCE(Class)                               \
  CmpiStaticData _cmpi_static_data##Class##_Provider; \
  ENTRY_POINT(Class, Instance)                        \
  ENTRY_POINT(Class, Method)
#define ASSOCIATION(Class) \
  INSTANCE(Class)          \
  ENTRY_POINT(Class, Association)
#include "module/providers.def"

}  // extern "C"

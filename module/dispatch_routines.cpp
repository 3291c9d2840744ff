// The dispatch routine of every registered provider.
#include "platform/framework/dispatch.h"

#include <type_traits>

#include "module/dispatch_routines.h"
#include "platform/framework/module_unit.h"
#include "providers/all.h"

namespace ovk_cimple {

// Providers keep their state in the engine. Only the discovery of drives has state of its own.
template <class Provider>
constexpr bool kIsEmptyButForDiscovery =
    std::is_empty_v<Provider> ||
    std::is_same_v<Provider, KAVRO_HDDTest_AvailableDiagnosticService_Provider>;

#define ROUTINE(Class, is_association)                                                          \
  static_assert(kIsEmptyButForDiscovery<Class##_Provider>);                                     \
  sint32 __cimple_##Class##_Provider_proc(const Registration*, sint32 operation, void* arg0,    \
                                          void* arg1, void* arg2, void* arg3, void* arg4,       \
                                          void* arg5, void* arg6, void*) {                      \
    return dispatch<Class##_Provider, Class, is_association>(operation, arg0, arg1, arg2, arg3, \
                                                             arg4, arg5, arg6);                 \
  }
#define INSTANCE(Class) ROUTINE(Class, false)
#define ASSOCIATION(Class) ROUTINE(Class, true)
#include "module/providers.def"

}  // namespace ovk_cimple

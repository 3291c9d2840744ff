// The dispatch routines: __cimple_<provider>_proc for every registered provider.
#pragma once

#include "platform/framework/registration.h"

namespace ovk_cimple {

#define INSTANCE(Class)                                                                       \
  sint32 __cimple_##Class##_Provider_proc(const Registration* registration, sint32 operation, \
                                          void* arg0, void* arg1, void* arg2, void* arg3,     \
                                          void* arg4, void* arg5, void* arg6, void* arg7);
#define ASSOCIATION(Class) INSTANCE(Class)
#include "module/providers.def"

}  // namespace ovk_cimple

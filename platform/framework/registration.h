// What a module tells of its providers: a linked list of records, found through the module's
// exported function cimple_module().
#pragma once

#include "platform/framework/meta.h"

namespace ovk_cimple {

struct Registration;

// Performs one operation of a provider. The meaning of the arguments follows from the
// operation's number; dispatch.h lists them. The registration argument is not used.
using DispatchRoutine = sint32 (*)(const Registration* registration, sint32 operation, void* arg0,
                                   void* arg1, void* arg2, void* arg3, void* arg4, void* arg5,
                                   void* arg6, void* arg7);

// One provider. The module owns the record, statically allocated; the layout is fixed.
struct Registration {
  const char* module_name;
  const char* provider_name;
  DispatchRoutine dispatch;
  const MetaClass* meta_class;  // of the class that the provider serves
  Registration* next;           // null at the end of the list
};

}  // namespace ovk_cimple

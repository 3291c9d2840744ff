// A library with the symbols of the module and nothing behind them: what loading costs anyway.
#include <string>

#define EXPORTED __attribute__((visibility("default")))

extern "C" {
EXPORTED void* cimple_module() { return nullptr; }
#define INSTANCE(Class)                                                   \
  EXPORTED void* Class##_Provider_Create_InstanceMI() { return nullptr; } \
  EXPORTED void* Class##_Provider_Create_MethodMI() { return nullptr; }
#define ASSOCIATION(Class) \
  INSTANCE(Class)          \
  EXPORTED void* Class##_Provider_Create_AssociationMI() { return nullptr; }
#include "module/providers.def"
}

EXPORTED void GetMachineType(std::string*) {}
EXPORTED void MultiStringTok(char*, unsigned long, char) {}

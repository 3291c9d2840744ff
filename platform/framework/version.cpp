#include "platform/framework/types.h"

// Its name is what a module binds to (see module_unit.h); the value says the same in digits.
extern "C" {
OVK_CIMPLE_EXPORT extern const ovk_cimple::uint32 __cimple_version_1_2_0;
const ovk_cimple::uint32 __cimple_version_1_2_0 = 0x010200;
}

#include "platform/framework/types.h"

// A module binds to the name (see module_unit.h). The value says the same in digits.
extern "C" {
OVK_CIMPLE_EXPORT extern const ovk_cimple::uint32 __cimple_version_1_2_0;
const ovk_cimple::uint32 __cimple_version_1_2_0 = 0x010200;
}

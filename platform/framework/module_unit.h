// Binds a source unit of a module to this version of the framework. Every unit of a module
// includes this file once.
#pragma once

#include "platform/framework/types.h"

extern "C" OVK_CIMPLE_EXPORT const ovk_cimple::uint32 __cimple_version_1_2_0;

// The copy is never read: the reference alone makes the dynamic loader refuse the module when
// the framework is of another version. Volatile and marked as used, or the optimiser drops it.
[[gnu::used]] static volatile ovk_cimple::uint32 __cimple_version_symbol = __cimple_version_1_2_0;

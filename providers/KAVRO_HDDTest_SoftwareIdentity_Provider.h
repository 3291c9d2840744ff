#pragma once

#include "model/KAVRO_HDDTest_SoftwareIdentity.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the class of the diagnostic software's identity; no instance is ever delivered.
struct KAVRO_HDDTest_SoftwareIdentity_Provider : InertInstances<KAVRO_HDDTest_SoftwareIdentity> {};

}  // namespace ovk_cimple

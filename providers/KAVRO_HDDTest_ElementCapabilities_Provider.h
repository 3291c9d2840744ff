#pragma once

#include "model/KAVRO_HDDTest_ElementCapabilities.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the association of elements and capabilities; no instance is ever delivered.
struct KAVRO_HDDTest_ElementCapabilities_Provider
    : InertAssociation<KAVRO_HDDTest_ElementCapabilities> {};

}  // namespace ovk_cimple

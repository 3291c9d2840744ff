#pragma once

#include "model/KAVRO_HDDTest_ElementSoftwareIdentity.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the association of elements and software; no instance is ever delivered.
struct KAVRO_HDDTest_ElementSoftwareIdentity_Provider
    : InertAssociation<KAVRO_HDDTest_ElementSoftwareIdentity> {};

}  // namespace ovk_cimple

#pragma once

#include "model/KAVRO_HDDTest_RecordAppliesToElement.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the association of records and elements; no instance is ever delivered.
struct KAVRO_HDDTest_RecordAppliesToElement_Provider
    : InertAssociation<KAVRO_HDDTest_RecordAppliesToElement> {};

}  // namespace ovk_cimple

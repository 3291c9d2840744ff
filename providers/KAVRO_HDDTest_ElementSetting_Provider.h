#pragma once

#include "model/KAVRO_HDDTest_ElementSetting.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the association of elements and settings; no instance is ever delivered.
struct KAVRO_HDDTest_ElementSetting_Provider : InertAssociation<KAVRO_HDDTest_ElementSetting> {};

}  // namespace ovk_cimple

#pragma once

#include "model/KAVRO_HDDTest_CorrespondingSettingsRecord.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the association of records and the settings used; no instance is ever delivered.
struct KAVRO_HDDTest_CorrespondingSettingsRecord_Provider
    : InertAssociation<KAVRO_HDDTest_CorrespondingSettingsRecord> {};

}  // namespace ovk_cimple

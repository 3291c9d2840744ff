#pragma once

#include "model/KAVRO_HDDTest_DiagnosticSettingRecord.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the class of setting records; no instance is ever delivered.
struct KAVRO_HDDTest_DiagnosticSettingRecord_Provider
    : InertInstances<KAVRO_HDDTest_DiagnosticSettingRecord> {};

}  // namespace ovk_cimple

#pragma once

#include "model/KAVRO_HDDTest_DiagnosticServiceRecord.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the class of service records; what a run leaves is a completion record.
struct KAVRO_HDDTest_DiagnosticServiceRecord_Provider
    : InertInstances<KAVRO_HDDTest_DiagnosticServiceRecord> {};

}  // namespace ovk_cimple

#pragma once

#include "model/KAVRO_HDDTest_DiagnosticServiceCapabilities.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the class of the service's capabilities; no instance is ever delivered.
struct KAVRO_HDDTest_DiagnosticServiceCapabilities_Provider
    : InertInstances<KAVRO_HDDTest_DiagnosticServiceCapabilities> {};

}  // namespace ovk_cimple

#pragma once

#include "model/KAVRO_HDDTest_DiagnosticsLog.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the diagnostics log class; no instance is ever delivered, no method supported.
struct KAVRO_HDDTest_DiagnosticsLog_Provider : InertInstances<KAVRO_HDDTest_DiagnosticsLog> {
  static constexpr InertMethod RequestStateChange{};
  static constexpr InertMethod ClearLog{};
};

}  // namespace ovk_cimple

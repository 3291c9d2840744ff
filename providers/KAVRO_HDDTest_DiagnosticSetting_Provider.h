#pragma once

#include "model/KAVRO_HDDTest_DiagnosticSetting.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the class of diagnostic settings, which a run accepts and ignores; no instance is
// ever delivered, no method supported.
struct KAVRO_HDDTest_DiagnosticSetting_Provider : InertInstances<KAVRO_HDDTest_DiagnosticSetting> {
  static constexpr InertMethod VerifyOKToApplyToMSE{};
  static constexpr InertMethod ApplyToMSE{};
  static constexpr InertMethod VerifyOKToApplyToCollection{};
  static constexpr InertMethod ApplyToCollection{};
  static constexpr InertMethod VerifyOKToApplyIncrementalChangeToMSE{};
  static constexpr InertMethod ApplyIncrementalChangeToMSE{};
  static constexpr InertMethod VerifyOKToApplyIncrementalChangeToCollection{};
  static constexpr InertMethod ApplyIncrementalChangeToCollection{};
};

}  // namespace ovk_cimple

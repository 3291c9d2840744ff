#pragma once

#include "model/KAVRO_HDDTest_DiagnosticSetting.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the class of diagnostic settings, which a run accepts and ignores; no instance is
// ever delivered, no method supported.
struct KAVRO_HDDTest_DiagnosticSetting_Provider : Inert_Instances<KAVRO_HDDTest_DiagnosticSetting> {
  static constexpr Inert_Method VerifyOKToApplyToMSE{};
  static constexpr Inert_Method ApplyToMSE{};
  static constexpr Inert_Method VerifyOKToApplyToCollection{};
  static constexpr Inert_Method ApplyToCollection{};
  static constexpr Inert_Method VerifyOKToApplyIncrementalChangeToMSE{};
  static constexpr Inert_Method ApplyIncrementalChangeToMSE{};
  static constexpr Inert_Method VerifyOKToApplyIncrementalChangeToCollection{};
  static constexpr Inert_Method ApplyIncrementalChangeToCollection{};
};

}  // namespace ovk_cimple

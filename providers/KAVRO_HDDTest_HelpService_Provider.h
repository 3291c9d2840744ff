#pragma once

#include "model/KAVRO_HDDTest_HelpService.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the help service class; no instance is ever delivered, no method supported.
struct KAVRO_HDDTest_HelpService_Provider : Inert_Instances<KAVRO_HDDTest_HelpService> {
  static constexpr Inert_Method RequestStateChange{};
  static constexpr Inert_Method StartService{};
  static constexpr Inert_Method StopService{};
  static constexpr Inert_Method GetHelp{};
};

}  // namespace ovk_cimple

#pragma once

#include "model/KAVRO_HDDTest_HelpService.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the help service class; no instance is ever delivered, no method supported.
struct KAVRO_HDDTest_HelpService_Provider : InertInstances<KAVRO_HDDTest_HelpService> {
  static constexpr InertMethod RequestStateChange{};
  static constexpr InertMethod StartService{};
  static constexpr InertMethod StopService{};
  static constexpr InertMethod GetHelp{};
};

}  // namespace ovk_cimple

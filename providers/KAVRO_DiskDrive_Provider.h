#pragma once

#include "model/KAVRO_DiskDrive.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Answers for the extrinsic methods of disk drives: none is supported. The drives themselves come
// from whichever provider an object manager has registered for the instances of this class.
struct KAVRO_DiskDrive_Provider : InertInstances<KAVRO_DiskDrive> {
  static constexpr InertMethod RequestStateChange{};
  static constexpr InertMethod SetPowerState{};
  static constexpr InertMethod Reset{};
  static constexpr InertMethod EnableDevice{};
  static constexpr InertMethod OnlineDevice{};
  static constexpr InertMethod QuiesceDevice{};
  static constexpr InertMethod SaveProperties{};
  static constexpr InertMethod RestoreProperties{};
  static constexpr InertMethod LockMedia{};
};

}  // namespace ovk_cimple

#pragma once

#include "model/KAVRO_DiskDrive.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Answers for the extrinsic methods of disk drives: none is supported. The drives themselves come
// from whichever provider an object manager has registered for the instances of this class.
struct KAVRO_DiskDrive_Provider : Inert_Instances<KAVRO_DiskDrive> {
  static constexpr Inert_Method RequestStateChange{};
  static constexpr Inert_Method SetPowerState{};
  static constexpr Inert_Method Reset{};
  static constexpr Inert_Method EnableDevice{};
  static constexpr Inert_Method OnlineDevice{};
  static constexpr Inert_Method QuiesceDevice{};
  static constexpr Inert_Method SaveProperties{};
  static constexpr Inert_Method RestoreProperties{};
  static constexpr Inert_Method LockMedia{};
};

}  // namespace ovk_cimple

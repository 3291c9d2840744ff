#pragma once

#include "inventory/inventory_provider.h"
#include "model/KAVRO_SysBusDevice.h"

namespace ovk_cimple {

// One instance per SCSI device, in numeric order of the addresses.
struct KAVRO_Inventory_SysBusDevice_Provider
    : InventoryProvider<KAVRO_Inventory_SysBusDevice_Provider, KAVRO_SysBusDevice> {
  static std::vector<Ref<KAVRO_SysBusDevice>> instances();
};

}  // namespace ovk_cimple

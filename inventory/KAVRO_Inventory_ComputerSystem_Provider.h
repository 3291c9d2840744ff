#pragma once

#include "inventory/inventory_provider.h"
#include "model/KAVRO_ComputerSystem.h"

namespace ovk_cimple {

// One instance: the machine that the object manager runs on.
struct KAVRO_Inventory_ComputerSystem_Provider
    : InventoryProvider<KAVRO_Inventory_ComputerSystem_Provider, KAVRO_ComputerSystem> {
  static std::vector<Ref<KAVRO_ComputerSystem>> instances();
};

}  // namespace ovk_cimple

#pragma once

#include "inventory/inventory_provider.h"
#include "model/KAVRO_DiskDrive.h"

namespace ovk_cimple {

// One instance per whole disk, in natural order of the names.
struct KAVRO_Inventory_DiskDrive_Provider
    : InventoryProvider<KAVRO_Inventory_DiskDrive_Provider, KAVRO_DiskDrive> {
  static std::vector<Ref<KAVRO_DiskDrive>> instances();
};

}  // namespace ovk_cimple

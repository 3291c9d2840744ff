#include "inventory/KAVRO_Inventory_DiskDrive_Provider.h"

#include "inventory/instances.h"
#include "platform/framework/module_unit.h"

namespace ovk_cimple {

std::vector<Ref<KAVRO_DiskDrive>> KAVRO_Inventory_DiskDrive_Provider::instances() {
  const String system_name = inventory::host_name();
  std::vector<Ref<KAVRO_DiskDrive>> result;
  for (const auto& one : inventory::read_disks(inventory::Sysfs()))
    result.push_back(disk_drive(one, system_name));
  return result;
}

}  // namespace ovk_cimple

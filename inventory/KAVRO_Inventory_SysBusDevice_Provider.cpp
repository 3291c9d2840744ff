#include "inventory/KAVRO_Inventory_SysBusDevice_Provider.h"

#include "inventory/instances.h"
#include "platform/framework/module_unit.h"

namespace ovk_cimple {

std::vector<Ref<KAVRO_SysBusDevice>> KAVRO_Inventory_SysBusDevice_Provider::instances() {
  const String system_name = inventory::host_name();
  std::vector<Ref<KAVRO_SysBusDevice>> result;
  for (const auto& one : inventory::read_bus_devices(inventory::Sysfs()))
    result.push_back(sys_bus_device(one, system_name));
  return result;
}

}  // namespace ovk_cimple

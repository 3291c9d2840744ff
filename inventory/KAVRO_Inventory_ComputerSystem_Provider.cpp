#include "inventory/KAVRO_Inventory_ComputerSystem_Provider.h"

#include "inventory/instances.h"
#include "platform/framework/module_unit.h"

namespace ovk_cimple {

std::vector<Ref<KAVRO_ComputerSystem>> KAVRO_Inventory_ComputerSystem_Provider::instances() {
  return {computer_system(inventory::read_machine(inventory::Sysfs()), inventory::host_name())};
}

}  // namespace ovk_cimple

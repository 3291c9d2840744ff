// What the providers of the inventory share.
#pragma once

#include "platform/framework/inert.h"
#include "platform/framework/meta.h"

namespace ovk_cimple {

// Whether two instances of one class whose keys are texts, as those of the inventory's classes
// all are, have the same keys. A null key equals nothing.
inline bool same_keys(const Instance& left, const Instance& right) {
  const auto text = [](const Instance& instance, const Meta_Property& key) {
    return visit(&instance, key, [](const auto& property) -> const String* {
      if constexpr (requires { property.value().c_str(); })
        if (!property.null()) return &property.value();
      return nullptr;
    });
  };
  for (const Meta_Property& key : left.meta_class->properties) {
    if (!key.key) continue;
    const String* const one = text(left, key);
    const String* const other = text(right, key);
    if (!one || !other || *one != *other) return false;
  }
  return true;
}

// Publishes the instances that Provider::instances() reads, afresh at every call, and refuses
// everything that would change them. The provider keeps nothing between calls, so that any
// number of them may run at a time.
template <class Provider, class Served>
struct Inventory_Provider : Inert_Instances<Served> {
  using Class = Served;

  sint32 get_instance(const Class* keys, Class*& instance) {
    if (!keys) return GET_INSTANCE_NOT_FOUND;
    for (Ref<Class>& candidate : Provider::instances()) {
      if (!same_keys(*keys, *candidate)) continue;
      instance = candidate.release();
      return OK;
    }
    return GET_INSTANCE_NOT_FOUND;
  }

  sint32 enum_instances(const Class*, Enum_Handler<Class>* handler) {
    for (Ref<Class>& instance : Provider::instances()) handler->handle(std::move(instance));
    return OK;
  }

  // The methods of the classes served, none of which the inventory supports.
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

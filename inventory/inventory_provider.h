// What the providers of the inventory share.
#pragma once

#include "platform/framework/inert.h"
#include "platform/framework/meta.h"

namespace ovk_cimple {

// Whether two instances of one class whose keys are texts, as those of the inventory's classes
// all are, have the same keys. A null key equals nothing.
inline bool same_keys(const Instance& left, const Instance& right) {
  const auto text = [](const Instance& instance, const MetaProperty& key) {
    return visit(&instance, key, [](const auto& property) -> const String* {
      if constexpr (requires { property.value().c_str(); })
        if (!property.null()) return &property.value();
      return nullptr;
    });
  };
  for (const MetaProperty& key : left.meta_class->properties) {
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
struct InventoryProvider : InertInstances<Served> {
  using Class = Served;

  sint32 get_instance(const Class* keys, Class*& instance) {
    if (!keys) return GetInstanceNotFound;
    for (Ref<Class>& candidate : Provider::instances()) {
      if (!same_keys(*keys, *candidate)) continue;
      instance = candidate.release();
      return OK;
    }
    return GetInstanceNotFound;
  }

  sint32 enum_instances(const Class*, EnumHandler<Class>* handler) {
    for (Ref<Class>& instance : Provider::instances()) handler->handle(std::move(instance));
    return OK;
  }

  // The methods of the classes served, none of which the inventory supports.
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

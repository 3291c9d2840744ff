#include "platform/framework/instance.h"

#include "platform/framework/meta.h"

namespace ovk_cimple {

Instance* create(const MetaClass& meta, bool defaults) { return meta.construct(meta, defaults); }

Instance* clone(const Instance* instance) {
  return instance ? instance->meta_class->copy(*instance) : nullptr;
}

void ref(const Instance* instance) {
  if (instance) instance->references_.fetch_add(1, std::memory_order_relaxed);
}

void unref(const Instance* instance) {
  if (!instance || instance->references_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  instance->meta_class->destruct(instance);
}

bool is_a(const Instance* instance, const MetaClass& meta) {
  return instance && is_subclass(meta, *instance->meta_class);
}

}  // namespace ovk_cimple

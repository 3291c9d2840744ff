#include "platform/framework/meta.h"

namespace ovk_cimple {

const MetaClass* MetaRepository::find(const char* name) const {
  if (!name) return nullptr;
  for (const MetaClass* meta : classes)
    if (same_name(meta->name, name)) return meta;
  return nullptr;
}

bool is_subclass(const MetaClass& ancestor, const MetaClass& descendant) {
  for (const MetaClass* meta = &descendant; meta; meta = meta->superclass)
    if (meta == &ancestor) return true;
  return false;
}

const MetaProperty* find_property(const MetaClass& meta, const char* name) {
  for (const MetaProperty& property : meta.properties)
    if (same_name(property.name, name)) return &property;
  return nullptr;
}

const MetaClass* find_method(const MetaClass& meta, const char* name) {
  for (const MetaClass* method : meta.methods)
    if (same_name(method->name, name)) return method;
  return nullptr;
}

}  // namespace ovk_cimple

#include "platform/framework/meta.h"

namespace ovk_cimple {

const Meta_Class* Meta_Repository::find(const char* name) const {
  if (!name) return nullptr;
  for (const Meta_Class* meta : classes)
    if (same_name(meta->name, name)) return meta;
  return nullptr;
}

bool is_subclass(const Meta_Class& ancestor, const Meta_Class& descendant) {
  for (const Meta_Class* meta = &descendant; meta; meta = meta->superclass)
    if (meta == &ancestor) return true;
  return false;
}

const Meta_Property* find_property(const Meta_Class& meta, const char* name) {
  for (const Meta_Property& property : meta.properties)
    if (same_name(property.name, name)) return &property;
  return nullptr;
}

const Meta_Class* find_method(const Meta_Class& meta, const char* name) {
  for (const Meta_Class* method : meta.methods)
    if (same_name(method->name, name)) return method;
  return nullptr;
}

}  // namespace ovk_cimple

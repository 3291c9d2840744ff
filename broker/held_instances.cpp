#include "broker/held_instances.h"

#include <algorithm>

namespace broker {
namespace {

// Calls each with every reference of the instance that is called so; an empty role means any.
template <class Each>
void for_each_reference(const Instance& instance, const std::string& role, Each each) {
  for (const Property& property : instance.properties) {
    if (property.value.type() != Type::Reference || property.value.is_null()) continue;
    if (role.empty() || property.name == role) each(property);
  }
}

}  // namespace

std::vector<const Instance*> HeldInstances::of_class(const ClassInfo& info) const {
  std::vector<const Instance*> result;
  for (const Instance& instance : instances_) {
    if (schema_.get(instance.class_name()).is_a(info)) result.push_back(&instance);
  }
  return result;
}

const Instance* HeldInstances::find(const ObjectPath& path) const {
  const auto found = std::find_if(instances_.begin(), instances_.end(),
                                  [&](const Instance& one) { return one.path == path; });
  return found == instances_.end() ? nullptr : &*found;
}

const ClassInfo* HeldInstances::filter_class(const std::string& name) const {
  if (name.empty()) return nullptr;
  if (const ClassInfo* info = schema_.find(name)) return info;
  throw Error(Status::InvalidParameter, "there is no class " + name + " to filter by");
}

std::vector<const Instance*> HeldInstances::referring(const ObjectPath& object,
                                                      const AssociationFilter& filter) const {
  const ClassInfo* const wanted = filter_class(filter.result_class);
  std::vector<const Instance*> result;
  for (const Instance& instance : instances_) {
    if (wanted && !schema_.get(instance.class_name()).is_a(*wanted)) continue;
    bool refers = false;
    for_each_reference(instance, filter.role, [&](const Property& property) {
      refers = refers || property.value.as_path() == object;
    });
    if (refers) result.push_back(&instance);
  }
  return result;
}

std::vector<ObjectPath> HeldInstances::associated(const ObjectPath& object,
                                                  const AssociationFilter& filter) const {
  const ClassInfo* const wanted = filter_class(filter.result_class);
  std::vector<ObjectPath> result;
  AssociationFilter near;
  near.result_class = filter.association_class;
  near.role = filter.role;
  for (const Instance* association : referring(object, near)) {
    for_each_reference(*association, filter.result_role, [&](const Property& far) {
      const ObjectPath& path = far.value.as_path();
      const ClassInfo* const info = schema_.find(path.class_name);
      if (path == object || (wanted && !(info && info->is_a(*wanted)))) return;
      if (std::find(result.begin(), result.end(), path) == result.end()) result.push_back(path);
    });
  }
  return result;
}

}  // namespace broker

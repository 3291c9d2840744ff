// Operations on instances that the object manager holds itself, where no provider serves them.
// They are few and only read: every question looks at each of them.
//
// Threads: immutable; any thread may ask.
#pragma once

#include <vector>

#include "broker/object_manager.h"

namespace broker {

class HeldInstances {
 public:
  // Each with its whole path, of a class that the schema has. References in association instances
  // have whole paths, too. The schema must outlive this.
  HeldInstances(const Schema& schema, std::vector<Instance> instances)
      : schema_(schema), instances_(std::move(instances)) {}

  // Those of the class and of its subclasses.
  std::vector<const Instance*> of_class(const ClassInfo& info) const;
  // Null when there is none.
  const Instance* find(const ObjectPath& path) const;

  // The associations that refer to the object, as the filter's result class and role have it.
  std::vector<const Instance*> referring(const ObjectPath& object,
                                         const AssociationFilter& filter) const;
  // What stands at the other ends of them, each once. Throws Error (InvalidParameter) for a class
  // of the filter that there is not; so does referring.
  std::vector<ObjectPath> associated(const ObjectPath& object,
                                     const AssociationFilter& filter) const;

 private:
  const ClassInfo* filter_class(const std::string& name) const;

  const Schema& schema_;
  const std::vector<Instance> instances_;
};

}  // namespace broker

#include "broker/object_manager.h"

#include <utility>

#include "broker/core.h"
#include "broker/idle_watch.h"

namespace broker {

ObjectManager::ObjectManager(const Schema& schema, Options options)
    : core_(std::make_shared<Core>(schema, std::move(options))) {
  if (const auto interval = core_->look_for_idle(); interval.count() > 0)
    idle_watch_ = std::make_unique<IdleWatch>(*core_, interval);
}

ObjectManager::~ObjectManager() {
  idle_watch_.reset();
  core_->end();
}

const Schema& ObjectManager::schema() const { return core_->schema(); }

void ObjectManager::enumerate_instances(const ObjectPath& class_path, const InstanceSink& sink,
                                        const Request& request) {
  core_->enumerate_instances(class_path, sink, request);
}

void ObjectManager::enumerate_instance_names(const ObjectPath& class_path, const PathSink& sink,
                                             const Request& request) {
  core_->enumerate_instance_names(class_path, sink, request);
}

Instance ObjectManager::get_instance(const ObjectPath& path, const Request& request) {
  return core_->get_instance(path, request);
}

ObjectPath ObjectManager::create_instance(const Instance& instance, const Request& request) {
  return core_->create_instance(instance, request);
}

void ObjectManager::modify_instance(const Instance& instance, const Request& request) {
  core_->modify_instance(instance, request);
}

void ObjectManager::delete_instance(const ObjectPath& path, const Request& request) {
  core_->delete_instance(path, request);
}

void ObjectManager::associators(const ObjectPath& path, const AssociationFilter& filter,
                                const InstanceSink& sink, const Request& request) {
  core_->associators(path, filter, sink, request);
}

void ObjectManager::associator_names(const ObjectPath& path, const AssociationFilter& filter,
                                     const PathSink& sink, const Request& request) {
  core_->associator_names(path, filter, sink, request);
}

void ObjectManager::references(const ObjectPath& path, const AssociationFilter& filter,
                               const InstanceSink& sink, const Request& request) {
  core_->references(path, filter, sink, request);
}

void ObjectManager::reference_names(const ObjectPath& path, const AssociationFilter& filter,
                                    const PathSink& sink, const Request& request) {
  core_->reference_names(path, filter, sink, request);
}

MethodResult ObjectManager::invoke_method(const ObjectPath& path, std::string_view method,
                                          const std::vector<Argument>& in, const Request& request) {
  return core_->invoke_method(path, method, in, request);
}

void ObjectManager::end_turns() { core_->end_turns(); }

std::size_t ObjectManager::end_idle() { return core_->end_idle(); }

// Classes.

const ClassInfo& ObjectManager::get_class(const ObjectPath& class_path) const {
  return core_->class_of(class_path);
}

std::vector<const ClassInfo*> ObjectManager::enumerate_classes(const ObjectPath& class_path,
                                                               bool deep) const {
  std::vector<const ClassInfo*> result;
  if (class_path.class_name.empty()) {
    core_->check_name_space(class_path);
    for (const ClassInfo& info : schema().classes()) {
      if (deep || !info.superclass()) result.push_back(&info);
    }
    return result;
  }
  const ClassInfo& info = core_->class_of(class_path);
  if (!deep) return {info.subclasses().begin(), info.subclasses().end()};
  result = info.with_subclasses();
  result.erase(result.begin());
  return result;
}

std::vector<Name> ObjectManager::enumerate_class_names(const ObjectPath& class_path,
                                                       bool deep) const {
  std::vector<Name> names;
  for (const ClassInfo* info : enumerate_classes(class_path, deep)) names.push_back(info->name());
  return names;
}

// Collected forms.

namespace {

template <class Item, class Ask>
std::vector<Item> collect(Ask ask) {
  std::vector<Item> items;
  ask([&items](const Item& item) { items.push_back(item); });
  return items;
}

}  // namespace

std::vector<Instance> ObjectManager::enumerate_instances(std::string_view class_name,
                                                         const Request& request) {
  return collect<Instance>([&](const InstanceSink& sink) {
    enumerate_instances(ObjectPath({}, class_name), sink, request);
  });
}

std::vector<ObjectPath> ObjectManager::enumerate_instance_names(std::string_view class_name,
                                                                const Request& request) {
  return collect<ObjectPath>([&](const PathSink& sink) {
    enumerate_instance_names(ObjectPath({}, class_name), sink, request);
  });
}

std::vector<Instance> ObjectManager::associators(const ObjectPath& path,
                                                 const AssociationFilter& filter,
                                                 const Request& request) {
  return collect<Instance>(
      [&](const InstanceSink& sink) { associators(path, filter, sink, request); });
}

std::vector<ObjectPath> ObjectManager::associator_names(const ObjectPath& path,
                                                        const AssociationFilter& filter,
                                                        const Request& request) {
  return collect<ObjectPath>(
      [&](const PathSink& sink) { associator_names(path, filter, sink, request); });
}

std::vector<Instance> ObjectManager::references(const ObjectPath& path,
                                                const AssociationFilter& filter,
                                                const Request& request) {
  return collect<Instance>(
      [&](const InstanceSink& sink) { references(path, filter, sink, request); });
}

std::vector<ObjectPath> ObjectManager::reference_names(const ObjectPath& path,
                                                       const AssociationFilter& filter,
                                                       const Request& request) {
  return collect<ObjectPath>(
      [&](const PathSink& sink) { reference_names(path, filter, sink, request); });
}

}  // namespace broker

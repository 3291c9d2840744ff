#include "broker/object_manager.h"

#include <utility>

#include "broker/core.h"
#include "broker/idle_watch.h"
#include "broker/interop_space.h"

namespace broker {

ObjectManager::ObjectManager(const Schema& schema, Options options)
    : core_(std::make_shared<Core>(schema, options)) {
  if (options.interop)
    interop_ = std::make_unique<InteropSpace>(*core_, std::move(*options.interop));
  if (const auto interval = core_->look_for_idle(); interval.count() > 0)
    idle_watch_ = std::make_unique<IdleWatch>(*core_, interval);
}

ObjectManager::~ObjectManager() {
  idle_watch_.reset();
  core_->end();
}

const Schema& ObjectManager::schema() const { return core_->schema(); }

// The name space that a path names, when that is "interop" and there is one.
const InteropSpace* ObjectManager::interop_of(const ObjectPath& path) const {
  return is_interop(path.name_space) ? interop_.get() : nullptr;
}

void ObjectManager::refuse_interop(const ObjectPath& path) const {
  if (interop_of(path))
    throw Error(Status::NotSupported,
                "name space " + std::string(kInteropNameSpace) + " can only be read");
}

void ObjectManager::check_name_space(std::string_view name_space) const {
  const ObjectPath path(name_space, "");
  if (!interop_of(path)) core_->check_name_space(path);
}

void ObjectManager::enumerate_instances(const ObjectPath& class_path, const InstanceSink& sink,
                                        const Request& request) {
  if (const InteropSpace* interop = interop_of(class_path))
    return interop->enumerate_instances(class_path, sink, request);
  core_->enumerate_instances(class_path, sink, request);
}

void ObjectManager::enumerate_instance_names(const ObjectPath& class_path, const PathSink& sink,
                                             const Request& request) {
  if (const InteropSpace* interop = interop_of(class_path))
    return interop->enumerate_instance_names(class_path, sink);
  core_->enumerate_instance_names(class_path, sink, request);
}

Instance ObjectManager::get_instance(const ObjectPath& path, const Request& request) {
  if (const InteropSpace* interop = interop_of(path)) return interop->get_instance(path, request);
  return core_->get_instance(path, request);
}

ObjectPath ObjectManager::create_instance(const Instance& instance, const Request& request) {
  refuse_interop(instance.path);
  return core_->create_instance(instance, request);
}

void ObjectManager::modify_instance(const Instance& instance, const Request& request) {
  refuse_interop(instance.path);
  core_->modify_instance(instance, request);
}

void ObjectManager::delete_instance(const ObjectPath& path, const Request& request) {
  refuse_interop(path);
  core_->delete_instance(path, request);
}

// An object of root/cimv2 may have associations in both.

void ObjectManager::associators(const ObjectPath& path, const AssociationFilter& filter,
                                const InstanceSink& sink, const Request& request) {
  if (!interop_of(path)) core_->associators(path, filter, sink, request);
  if (interop_) interop_->associators(path, filter, sink, request);
}

void ObjectManager::associator_names(const ObjectPath& path, const AssociationFilter& filter,
                                     const PathSink& sink, const Request& request) {
  if (!interop_of(path)) core_->associator_names(path, filter, sink, request);
  if (interop_) interop_->associator_names(path, filter, sink);
}

void ObjectManager::references(const ObjectPath& path, const AssociationFilter& filter,
                               const InstanceSink& sink, const Request& request) {
  if (!interop_of(path)) core_->references(path, filter, sink, request);
  if (interop_) interop_->references(path, filter, sink, request);
}

void ObjectManager::reference_names(const ObjectPath& path, const AssociationFilter& filter,
                                    const PathSink& sink, const Request& request) {
  if (!interop_of(path)) core_->reference_names(path, filter, sink, request);
  if (interop_) interop_->reference_names(path, filter, sink);
}

MethodResult ObjectManager::invoke_method(const ObjectPath& path, std::string_view method,
                                          const std::vector<Argument>& in, const Request& request) {
  refuse_interop(path);
  return core_->invoke_method(path, method, in, request);
}

void ObjectManager::end_turns() { core_->end_turns(); }

std::size_t ObjectManager::end_idle() { return core_->end_idle(); }

// Classes.

const ClassInfo& ObjectManager::get_class(const ObjectPath& class_path) const {
  const InteropSpace* const interop = interop_of(class_path);
  return interop ? interop->class_of(class_path) : core_->class_of(class_path);
}

std::vector<const ClassInfo*> ObjectManager::enumerate_classes(const ObjectPath& class_path,
                                                               bool deep) const {
  std::vector<const ClassInfo*> result;
  if (class_path.class_name.empty()) {
    check_name_space(class_path.name_space);
    for (const ClassInfo& info : schema().classes()) {
      if (deep || !info.superclass()) result.push_back(&info);
    }
  } else {
    const ClassInfo& info = get_class(class_path);
    result = info.with_subclasses();
    result.erase(result.begin());
    if (!deep) result.assign(info.subclasses().begin(), info.subclasses().end());
  }
  if (const InteropSpace* interop = interop_of(class_path))
    std::erase_if(result, [&](const ClassInfo* info) { return !interop->has(*info); });
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

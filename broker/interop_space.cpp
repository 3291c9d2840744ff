#include "broker/interop_space.h"

#include <algorithm>

#include "broker/core.h"
#include "broker/flight.h"

namespace broker {
namespace {

Instance chosen(const Instance& instance, const PropertyChoice& choice) {
  Instance result = instance;
  std::erase_if(result.properties,
                [&](const Property& property) { return !choice.wants(property.name); });
  return result;
}

// The instance with every property of its class; those that nobody set are null.
Instance whole(const Instance& instance, const ClassInfo& info) {
  Instance result(instance.path);
  for (const PropertyInfo& property : info.properties()) {
    const Value* const value = instance.property(property.name);
    result.set(property.name, value ? *value : Value::null(property.type, property.array));
  }
  return result;
}

// Both names of the name space become one, and what has none means it, also in references.
ObjectPath in_interop(const ObjectPath& path) {
  ObjectPath result = path;
  if (path.name_space.empty() || is_interop(path.name_space))
    result.name_space = Name::borrowed(kInteropNameSpace);
  for (Key& key : result.keys) {
    if (key.value.type() == Type::Reference) key.value = Value(in_interop(key.value.as_path()));
  }
  return result;
}

}  // namespace

InteropSpace::InteropSpace(Core& core, InteropFacts facts) : core_(core), facts_(std::move(facts)) {
  for (const std::string_view name : interop_classes()) add_class(core.schema().get(name));
}

// With its superclasses and those to which it refers, so that clients find every class that they
// read of.
void InteropSpace::add_class(const ClassInfo& info) {
  if (!classes_.insert(&info).second) return;
  if (info.superclass()) add_class(*info.superclass());
  const auto add_end = [this](const Feature& feature) {
    if (const ClassInfo* const end = core_.schema().find(feature.reference_class)) add_class(*end);
  };
  for (const PropertyInfo& property : info.properties()) add_end(*property.feature);
  for (const MethodInfo& method : info.methods())
    for (const ParameterInfo& parameter : method.parameters) add_end(*parameter.feature);
}

const ClassInfo& InteropSpace::class_of(const ObjectPath& path) const {
  const ClassInfo* const info = core_.schema().find(path.class_name);
  if (info && has(*info)) return *info;
  throw Error(Status::InvalidClass, "there is no class " + path.class_name.str() + " in " +
                                        std::string(kInteropNameSpace));
}

HeldInstances InteropSpace::held(Conformance conformance) const {
  std::vector<Conforming> conforming;
  for (const ProfileFacts& profile : facts_.profiles) {
    std::vector<ObjectPath> central;
    if (conformance == Conformance::Asked) {
      core_.enumerate_instance_names(ObjectPath({}, profile.central_class),
                                     [&](const ObjectPath& path) { central.push_back(path); }, {});
    }
    conforming.push_back({&profile, std::move(central)});
  }
  std::vector<Instance> instances = interop_instances(facts_, conforming);
  for (Instance& one : instances) one = whole(one, core_.schema().get(one.class_name()));
  return {core_.schema(), std::move(instances)};
}

HeldInstances InteropSpace::held_of(const ClassInfo& info) const {
  const bool asked = info.name() == "CIM_ElementConformsToProfile";
  return held(asked ? Conformance::Asked : Conformance::Unasked);
}

HeldInstances InteropSpace::held_around(const ObjectPath& object) const {
  const bool asked = !is_interop(object.name_space) || object.class_name == "CIM_RegisteredProfile";
  return held(asked ? Conformance::Asked : Conformance::Unasked);
}

// A reference may come as text, which shows its name space only when it has its type.
ObjectPath InteropSpace::typed_path(const ObjectPath& path, const ClassInfo& info) const {
  return in_interop(core_.instance_path(in_interop(path), info));
}

std::optional<ObjectPath> InteropSpace::source(const ObjectPath& path) const {
  const Schema& schema = core_.schema();
  const ClassInfo* const info = schema.find(path.class_name);
  if (!info) {
    throw Error(Status::InvalidParameter, "there is no class " + path.class_name.str());
  }
  if (is_interop(path.name_space)) {
    if (!has(*info)) {
      throw Error(Status::InvalidParameter, "there is no class " + path.class_name.str() + " in " +
                                                std::string(kInteropNameSpace));
    }
    return typed_path(path, *info);
  }
  const bool central =
      std::any_of(facts_.profiles.begin(), facts_.profiles.end(), [&](const ProfileFacts& profile) {
        const ClassInfo* const class_of_profile = schema.find(profile.central_class);
        return class_of_profile && info->is_a(*class_of_profile);
      });
  if (!central) return std::nullopt;
  return core_.instance_path(path, *info);
}

void InteropSpace::enumerate_instances(const ObjectPath& path, const InstanceSink& sink,
                                       const Request& request) const {
  const Core::Flight flight(core_);
  const ClassInfo& info = class_of(path);
  const PropertyChoice choice{&request, request.deep_inheritance ? nullptr : &info};
  const HeldInstances all = held_of(info);
  for (const Instance* instance : all.of_class(info)) sink(chosen(*instance, choice));
}

void InteropSpace::enumerate_instance_names(const ObjectPath& path, const PathSink& sink) const {
  const Core::Flight flight(core_);
  const ClassInfo& info = class_of(path);
  const HeldInstances all = held_of(info);
  for (const Instance* instance : all.of_class(info)) sink(instance->path);
}

Instance InteropSpace::get_instance(const ObjectPath& path, const Request& request) const {
  const Core::Flight flight(core_);
  const ClassInfo& info = class_of(path);
  const ObjectPath wanted = typed_path(path, info);
  const HeldInstances all = held_of(info);
  const Instance* const found = all.find(wanted);
  if (!found) throw Error(Status::NotFound, "there is no instance " + wanted.to_text());
  return chosen(*found, {&request, nullptr});
}

void InteropSpace::associators(const ObjectPath& path, const AssociationFilter& filter,
                               const InstanceSink& sink, const Request& request) const {
  const Core::Flight flight(core_);
  const auto object = source(path);
  if (!object) return;
  const HeldInstances all = held_around(*object);
  for (const ObjectPath& far : all.associated(*object, filter)) {
    if (const Instance* const here = all.find(far))
      sink(chosen(*here, {&request, nullptr}));
    else
      sink(core_.get_instance(far, request));
  }
}

void InteropSpace::associator_names(const ObjectPath& path, const AssociationFilter& filter,
                                    const PathSink& sink) const {
  const Core::Flight flight(core_);
  const auto object = source(path);
  if (!object) return;
  const HeldInstances all = held_around(*object);
  for (const ObjectPath& far : all.associated(*object, filter)) sink(far);
}

void InteropSpace::references(const ObjectPath& path, const AssociationFilter& filter,
                              const InstanceSink& sink, const Request& request) const {
  const Core::Flight flight(core_);
  const auto object = source(path);
  if (!object) return;
  const HeldInstances all = held_around(*object);
  for (const Instance* association : all.referring(*object, filter))
    sink(chosen(*association, {&request, nullptr}));
}

void InteropSpace::reference_names(const ObjectPath& path, const AssociationFilter& filter,
                                   const PathSink& sink) const {
  const Core::Flight flight(core_);
  const auto object = source(path);
  if (!object) return;
  const HeldInstances all = held_around(*object);
  for (const Instance* association : all.referring(*object, filter)) sink(association->path);
}

}  // namespace broker

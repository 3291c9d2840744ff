// Operations on instances.
#include "broker/flight.h"
#include "broker/invocation.h"

namespace broker {
namespace {

const Registered& serving(const Registered* registered, const ClassInfo& info, Status otherwise) {
  if (registered) return *registered;
  throw Error(otherwise, "no provider serves instances of class " + info.name().str());
}

}  // namespace

Error provider_error(const Provider& provider, const CMPIStatus& status, const Delivery& delivery) {
  const auto code = static_cast<Status>(status.rc);
  std::string text;
  try {
    text = text_of(status.msg);
  } catch (const Error&) {
    // The message is no string of ours: the code stands alone.
  }
  if (text.empty()) text = delivery.first_error();
  if (text.empty()) text = "provider " + provider.name() + " answered " + status_name(code);
  return Error(code, std::move(text));
}

std::vector<const Registered*> Core::below(const ClassInfo& info) const {
  std::vector<const Registered*> result;
  for (const ClassInfo* at : info.with_subclasses()) {
    if (const Registered* registered = find_instances(*at)) result.push_back(registered);
  }
  return result;
}

void Core::enumerate_instances(const ObjectPath& path, const InstanceSink& sink,
                               const Request& request) {
  const Flight flight(*this);
  const ClassInfo& info = class_of(path);
  NameList names(request.properties);
  const CMPIFlags flags = request.deep_inheritance ? CMPI_FLAG_DeepInheritance : 0;
  const PropertyChoice choice{&request, request.deep_inheritance ? nullptr : &info};
  ask_each(below(info), [&](const Registered& asked) -> std::optional<Error> {
    Delivery delivery(sink, asked.info, choice);
    return ask(*asked.provider, delivery, request, flags, &CMPIInstanceMIFT::enumerateInstances,
               class_path(*asked.info), *asked.info, names.get());
  });
}

void Core::enumerate_instance_names(const ObjectPath& path, const PathSink& sink,
                                    const Request& request) {
  const Flight flight(*this);
  ask_each(below(class_of(path)), [&](const Registered& asked) -> std::optional<Error> {
    Delivery delivery(sink, asked.info);
    return ask(*asked.provider, delivery, request, 0, &CMPIInstanceMIFT::enumerateInstanceNames,
               class_path(*asked.info), *asked.info);
  });
}

Instance Core::get_instance(const ObjectPath& path, const Request& request) {
  const Flight flight(*this);
  const ClassInfo& info = class_of(path);
  const ObjectPath target = instance_path(path, info);
  const Registered& asked = serving(find_instances(info), info, Status::NotFound);
  NameList names(request.properties);
  std::optional<Instance> found;
  const InstanceSink sink = [&found](const Instance& instance) { found = instance; };
  Delivery delivery(sink, &info, {&request, nullptr}, 1);
  const auto error = ask(*asked.provider, delivery, request, 0, &CMPIInstanceMIFT::getInstance,
                         target, info, names.get());
  if (error) throw *error;
  if (!found) throw Error(Status::NotFound, "there is no instance " + target.to_text());
  found->path.keys = target.keys;
  return std::move(*found);
}

ObjectPath Core::create_instance(const Instance& instance, const Request& request) {
  const Flight flight(*this);
  const ClassInfo& info = class_of(instance.path);
  const Instance created = typed_instance(instance, info, Status::InvalidParameter);
  const Registered& asked = serving(find_instances(info), info, Status::NotSupported);
  std::optional<ObjectPath> path;
  const PathSink sink = [&path](const ObjectPath& made) { path = made; };
  Delivery delivery(sink, &info, 1);
  const auto error = ask(*asked.provider, delivery, request, 0, &CMPIInstanceMIFT::createInstance,
                         class_path(info), info, Given{created, info});
  if (error) throw *error;
  if (!path) {
    throw Error(Status::Failed,
                "provider " + asked.provider->name() + " returned no path of the new instance");
  }
  return std::move(*path);
}

void Core::modify_instance(const Instance& instance, const Request& request) {
  const Flight flight(*this);
  const ClassInfo& info = class_of(instance.path);
  const ObjectPath target = instance_path(instance.path, info);
  Instance modified = typed_instance(instance, info, Status::NoSuchProperty);
  modified.path = target;
  const Registered& asked = serving(find_instances(info), info, Status::NotSupported);
  NameList names(request.properties);
  Delivery delivery;
  const auto error = ask(*asked.provider, delivery, request, 0, &CMPIInstanceMIFT::modifyInstance,
                         target, info, Given{modified, info}, names.get());
  if (error) throw *error;
}

void Core::delete_instance(const ObjectPath& path, const Request& request) {
  const Flight flight(*this);
  const ClassInfo& info = class_of(path);
  const ObjectPath target = instance_path(path, info);
  const Registered& asked = serving(find_instances(info), info, Status::NotSupported);
  Delivery delivery;
  const auto error =
      ask(*asked.provider, delivery, request, 0, &CMPIInstanceMIFT::deleteInstance, target, info);
  if (error) throw *error;
}

}  // namespace broker

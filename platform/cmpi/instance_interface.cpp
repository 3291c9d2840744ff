// The instance interface.

#include <algorithm>

#include "platform/cmpi/client_call.h"
#include "platform/cmpi/matching.h"

namespace ovk_cimple {

namespace {

// Of the path's class and the provider's class the one that derives from the other; null when
// neither does. A class that the repository does not know is not related to ours.
const MetaClass* served_class(ClientCall& call, const MetaClass* wanted) {
  const MetaClass& own = call.meta_class();
  if (!wanted) return nullptr;
  if (is_subclass(own, *wanted)) return wanted;
  return is_subclass(*wanted, own) ? &own : nullptr;
}

// Hands the instances of the path's class to the sink, void(Ref<Instance>), one by one.
template <class Sink>
void each_instance(ClientCall& call, const CMPIObjectPath* path, Sink sink) {
  const MetaClass* const wanted = call.class_of(path);
  const MetaClass* const served = served_class(call, wanted);
  if (!served) return;
  call.enumerate_all(*served, [&](Ref<Instance> instance) {
    if (is_a(instance.get(), *wanted)) sink(std::move(instance));
  });
}

// The instance that a path or instance stands for, of the provider's class or a subclass. Null when
// it cannot be of such a class.
Ref<Instance> target_of(ClientCall& call, const CMPIObjectPath* path) {
  const MetaClass* const served = served_class(call, call.class_of(path));
  if (!served) return {};
  auto target = Ref<Instance>::adopt(create(*served));
  target->name_space = name_space(path);
  read_keys(path, *target);
  return target;
}

Ref<Instance> find(ClientCall& call, const CMPIObjectPath* path) {
  const auto model = target_of(call, path);
  if (!model) return {};
  Instance* slot = nullptr;
  const sint32 status = call.dispatch(GetInstance, model.get(), static_cast<void*>(&slot));
  auto found = Ref<Instance>::adopt(slot);
  if (status != GetInstanceUnsupported) {
    call.require_ok(GetInstance, status);
    return found;
  }
  each_instance(call, path, [&](Ref<Instance> instance) {
    if (!found && same_keys(*model, *instance)) found = std::move(instance);
  });
  return found;
}

CMPIStatus cleanup(CMPIInstanceMI* mi, const CMPIContext*, CMPIBoolean terminating) {
  return clean_up(mi->hdl, terminating);
}

CMPIStatus enumerate_instance_names(CMPIInstanceMI* mi, const CMPIContext* context,
                                    const CMPIResult* result, const CMPIObjectPath* path) {
  return perform(mi->hdl, context, result, path, "enumerate instance names", [&](ClientCall& call) {
    each_instance(call, path, [&](const auto& instance) { call.deliver_path(*instance); });
  });
}

CMPIStatus enumerate_instances(CMPIInstanceMI* mi, const CMPIContext* context,
                               const CMPIResult* result, const CMPIObjectPath* path,
                               const char** properties) {
  return perform(mi->hdl, context, result, path, "enumerate instances", [&](ClientCall& call) {
    Selection selection(properties);
    each_instance(call, path, [&](const auto& instance) { call.deliver(*instance, selection); });
  });
}

CMPIStatus get_instance(CMPIInstanceMI* mi, const CMPIContext* context, const CMPIResult* result,
                        const CMPIObjectPath* path, const char** properties) {
  return perform(mi->hdl, context, result, path, "get instance", [&](ClientCall& call) {
    const auto instance = find(call, path);
    if (!instance) throw Failure{CMPI_RC_ERR_NOT_FOUND, "no such instance"};
    Selection selection(properties);
    call.deliver(*instance, selection);
  });
}

// Converts an instance of the object manager to one of the provider's class. Throws Failure.
Ref<Instance> given_instance(ClientCall& call, const CMPIObjectPath* path,
                             const CMPIInstance* instance) {
  auto result = read_instance(instance, call.meta_class(), name_space(path));
  if (!result || !is_a(result.get(), call.meta_class()))
    throw Failure{CMPI_RC_ERR_NOT_SUPPORTED, "not an instance of this provider's class"};
  return result;
}

CMPIStatus create_instance(CMPIInstanceMI* mi, const CMPIContext* context, const CMPIResult* result,
                           const CMPIObjectPath* path, const CMPIInstance* given) {
  return perform(mi->hdl, context, result, path, "create instance", [&](ClientCall& call) {
    const auto instance = given_instance(call, path, given);
    call.require_ok(CreateInstance, call.dispatch(CreateInstance, instance.get()));
    // Not released: some object managers read the path only after this function has returned.
    auto created = call.translator().path(*instance);
    require(invoke(result, &CMPIResultFT::returnObjectPath, created.release()), "result");
  });
}

CMPIStatus modify_instance(CMPIInstanceMI* mi, const CMPIContext* context, const CMPIResult* result,
                           const CMPIObjectPath* path, const CMPIInstance* given,
                           const char** properties) {
  return perform(mi->hdl, context, result, path, "modify instance", [&](ClientCall& call) {
    const auto model = target_of(call, path);
    if (!model) throw Failure{CMPI_RC_ERR_NOT_SUPPORTED, "not a class of this provider"};
    const auto instance = given_instance(call, path, given);
    // A property that is not to change is null for the provider. So is a listed property that has
    // no value.
    Selection selection(properties);
    const auto& selected = selection.of(*instance->meta_class);
    for (const MetaProperty& property : instance->meta_class->properties)
      if (std::ranges::find(selected, &property) == selected.end())
        visit(instance.get(), property, [](auto& value) { value.set_null(); });
    read_keys(path, *instance);
    call.require_ok(ModifyInstance, call.dispatch(ModifyInstance, model.get(), instance.get()));
  });
}

CMPIStatus delete_instance(CMPIInstanceMI* mi, const CMPIContext* context, const CMPIResult* result,
                           const CMPIObjectPath* path) {
  return perform(mi->hdl, context, result, path, "delete instance", [&](ClientCall& call) {
    const auto target = target_of(call, path);
    if (!target) throw Failure{CMPI_RC_ERR_NOT_SUPPORTED, "not a class of this provider"};
    call.require_ok(DeleteInstance, call.dispatch(DeleteInstance, target.get()));
  });
}

// An object manager that gets this answer enumerates and filters by itself.
CMPIStatus exec_query(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*, const CMPIObjectPath*,
                      const char*, const char*) {
  return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
}

CMPIStatus enumerate_instances_filtered(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*,
                                        const CMPIObjectPath*, const char**, const char*,
                                        const char*, CMPIStatus*) {
  return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
}

}  // namespace

const CMPIInstanceMIFT kInstanceFunctions = {
    .ftVersion = CMPIVersion210,
    .miVersion = 1,
    .miName = "ovk_cimple",
    .cleanup = cleanup,
    .enumerateInstanceNames = enumerate_instance_names,
    .enumerateInstances = enumerate_instances,
    .getInstance = get_instance,
    .createInstance = create_instance,
    .modifyInstance = modify_instance,
    .deleteInstance = delete_instance,
    .execQuery = exec_query,
    .enumerateInstancesFiltered = enumerate_instances_filtered,
};

}  // namespace ovk_cimple

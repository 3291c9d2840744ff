// Up-calls: what providers ask the object manager. They ask on the thread of their call and with
// its context, or on an attached thread.
#include "broker/core.h"
#include "broker/family.h"
#include "broker/marshal.h"

namespace broker {
namespace {

// What an up-call is made with: the core behind the broker, and a request made of the context.
struct UpCall {
  Core& core;
  Request request;

  UpCall(const CMPIBroker* broker, const CMPIContext* context, const char** properties = nullptr)
      : core(core_of(broker)), request(request_of(object<ContextObject>(context))) {
    check_thread(context);
    if (!properties) return;
    request.properties.emplace();
    for (; *properties; ++properties) request.properties->emplace_back(*properties);
  }

  // The context must be one that this thread was given, or a clone of one.
  static void check_thread(const CMPIContext* context) {
    for (const Operation* at = &Operation::get(); at; at = at->outer()) {
      if (at->context() == context) return;
    }
    const ContextObject& other = object<ContextObject>(context);
    if (!other.header.arena && !other.header.lent && !other.prepared) return;
    throw Error(Status::InvalidHandle, "the context is that of another thread");
  }

  static Core& core_of(const CMPIBroker* broker) {
    if (!broker || !broker->hdl) throw Error(Status::InvalidHandle, "the broker is null");
    return *static_cast<Core*>(const_cast<void*>(broker->hdl));
  }
};

const ObjectPath& path_of(const CMPIObjectPath* path) {
  return object<ObjectPathObject>(path).path;
}

template <class Ask>
CMPIEnumeration* collect_instances(CMPIStatus* rc, Ask ask) {
  return answer(rc, static_cast<CMPIEnumeration*>(nullptr), [&] {
    std::vector<Value> items;
    ask(InstanceSink([&items](const Instance& item) { items.emplace_back(item); }));
    return handle(make<EnumerationObject>(Type::Instance, std::move(items)));
  });
}

template <class Ask>
CMPIEnumeration* collect_paths(CMPIStatus* rc, Ask ask) {
  return answer(rc, static_cast<CMPIEnumeration*>(nullptr), [&] {
    std::vector<Value> items;
    ask(PathSink([&items](const ObjectPath& item) { items.emplace_back(item); }));
    return handle(make<EnumerationObject>(Type::Reference, std::move(items)));
  });
}

AssociationFilter filter_of(const char* association, const char* result, const char* role,
                            const char* result_role) {
  return {optional(association), optional(result), optional(role), optional(result_role)};
}

// Enumerations of instances come in pairs, without a query and with its language and text. As no
// query language is served, both are one but for the refusal of a query.
void refuse_query() {}

void refuse_query(const char* language, const char* query) {
  if (!language || !query) return;
  throw Error(Status::QueryLanguageNotSupported,
              "query language " + std::string(language) + " is not supported");
}

template <class... Query>
CMPIEnumeration* enumerate_instances(const CMPIBroker* broker, const CMPIContext* context,
                                     const CMPIObjectPath* path, const char** properties,
                                     Query... query, CMPIStatus* rc) {
  return collect_instances(rc, [&](const InstanceSink& sink) {
    const UpCall call(broker, context, properties);
    refuse_query(query...);
    call.core.enumerate_instances(path_of(path), sink, call.request);
  });
}

CMPIEnumeration* enumerate_instance_names(const CMPIBroker* broker, const CMPIContext* context,
                                          const CMPIObjectPath* path, CMPIStatus* rc) {
  return collect_paths(rc, [&](const PathSink& sink) {
    const UpCall call(broker, context);
    call.core.enumerate_instance_names(path_of(path), sink, call.request);
  });
}

CMPIInstance* get_instance(const CMPIBroker* broker, const CMPIContext* context,
                           const CMPIObjectPath* path, const char** properties, CMPIStatus* rc) {
  return answer(rc, static_cast<CMPIInstance*>(nullptr), [&] {
    const UpCall call(broker, context, properties);
    return handle(new_instance(call.core.get_instance(path_of(path), call.request)));
  });
}

CMPIObjectPath* create_instance(const CMPIBroker* broker, const CMPIContext* context,
                                const CMPIObjectPath* path, const CMPIInstance* instance,
                                CMPIStatus* rc) {
  return answer(rc, static_cast<CMPIObjectPath*>(nullptr), [&] {
    const UpCall call(broker, context);
    Instance created = object<InstanceObject>(instance).instance;
    created.path.name_space = path_of(path).name_space;
    created.path.class_name = path_of(path).class_name;
    return handle(new_path(call.core.create_instance(created, call.request)));
  });
}

CMPIStatus modify_instance(const CMPIBroker* broker, const CMPIContext* context,
                           const CMPIObjectPath* path, const CMPIInstance* instance,
                           const char** properties) {
  return answer([&] {
    const UpCall call(broker, context, properties);
    Instance modified = object<InstanceObject>(instance).instance;
    modified.path = path_of(path);
    call.core.modify_instance(modified, call.request);
  });
}

CMPIStatus delete_instance(const CMPIBroker* broker, const CMPIContext* context,
                           const CMPIObjectPath* path) {
  return answer([&] {
    const UpCall call(broker, context);
    call.core.delete_instance(path_of(path), call.request);
  });
}

template <class... Query>
CMPIEnumeration* associators(const CMPIBroker* broker, const CMPIContext* context,
                             const CMPIObjectPath* path, const char* association,
                             const char* result, const char* role, const char* result_role,
                             const char** properties, Query... query, CMPIStatus* rc) {
  return collect_instances(rc, [&](const InstanceSink& sink) {
    const UpCall call(broker, context, properties);
    refuse_query(query...);
    call.core.associators(path_of(path), filter_of(association, result, role, result_role), sink,
                          call.request);
  });
}

CMPIEnumeration* associator_names(const CMPIBroker* broker, const CMPIContext* context,
                                  const CMPIObjectPath* path, const char* association,
                                  const char* result, const char* role, const char* result_role,
                                  CMPIStatus* rc) {
  return collect_paths(rc, [&](const PathSink& sink) {
    const UpCall call(broker, context);
    call.core.associator_names(path_of(path), filter_of(association, result, role, result_role),
                               sink, call.request);
  });
}

template <class... Query>
CMPIEnumeration* references(const CMPIBroker* broker, const CMPIContext* context,
                            const CMPIObjectPath* path, const char* result, const char* role,
                            const char** properties, Query... query, CMPIStatus* rc) {
  return collect_instances(rc, [&](const InstanceSink& sink) {
    const UpCall call(broker, context, properties);
    refuse_query(query...);
    call.core.references(path_of(path), filter_of(nullptr, result, role, nullptr), sink,
                         call.request);
  });
}

CMPIEnumeration* reference_names(const CMPIBroker* broker, const CMPIContext* context,
                                 const CMPIObjectPath* path, const char* result, const char* role,
                                 CMPIStatus* rc) {
  return collect_paths(rc, [&](const PathSink& sink) {
    const UpCall call(broker, context);
    call.core.reference_names(path_of(path), filter_of(nullptr, result, role, nullptr), sink,
                              call.request);
  });
}

CMPIData invoke_method(const CMPIBroker* broker, const CMPIContext* context,
                       const CMPIObjectPath* path, const char* method, const CMPIArgs* in,
                       CMPIArgs* out, CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    const UpCall call(broker, context);
    std::vector<Argument> arguments;
    if (in) arguments = object<ArgsObject>(in).arguments;
    if (out) object<ArgsObject>(out);
    MethodResult result = call.core.invoke_method(
        path_of(path), required(method, "the method name"), arguments, call.request);
    if (out) object<ArgsObject>(out).arguments = std::move(result.out);
    return to_cmpi(result.return_value);
  });
}

CMPIStatus set_property(const CMPIBroker* broker, const CMPIContext* context,
                        const CMPIObjectPath* path, const char* name, const CMPIValue* value,
                        CMPIType type) {
  return answer([&] {
    UpCall call(broker, context);
    required(name, "the property name");
    Instance modified(path_of(path));
    modified.set(Name(name), from_cmpi(value, type));
    call.request.properties = {name};
    call.core.modify_instance(modified, call.request);
  });
}

CMPIData get_property(const CMPIBroker* broker, const CMPIContext* context,
                      const CMPIObjectPath* path, const char* name, CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    UpCall call(broker, context);
    required(name, "the property name");
    const PropertyInfo* property = call.core.class_of(path_of(path)).find_property(name);
    if (!property) {
      throw Error(Status::NoSuchProperty, std::string("there is no property ") + name);
    }
    call.request.properties = {name};
    const Instance instance = call.core.get_instance(path_of(path), call.request);
    const Value* value = instance.property(name);
    return to_cmpi(value ? *value : Value::null(property->type, property->array));
  });
}

// Threads of providers.

CMPIContext* prepare_attach_thread(const CMPIBroker* broker, const CMPIContext* context) {
  return answer(nullptr, static_cast<CMPIContext*>(nullptr), [&] {
    Core& core = UpCall::core_of(broker);
    const ContextObject& source = object<ContextObject>(context);
    UpCall::check_thread(context);
    ContextObject* prepared = Arena::clone(source);
    prepared->prepared = true;
    core.thread_attached(1);
    return handle(prepared);
  });
}

CMPIStatus attach_thread(const CMPIBroker* broker, const CMPIContext* context) {
  return answer([&] {
    Core& core = UpCall::core_of(broker);
    ContextObject& prepared = object<ContextObject>(context);
    if (!prepared.prepared) {
      throw Error(Status::InvalidHandle, "the context is not one prepared for a thread");
    }
    if (Operation::current()) throw Error(Status::Failed, "the thread is attached already");
    prepared.prepared = false;
    new Operation(core, &prepared);  // the thread's current one; detach_thread deletes it
  });
}

CMPIStatus detach_thread(const CMPIBroker* broker, const CMPIContext* context) {
  return answer([&] {
    Core& core = UpCall::core_of(broker);
    Operation* operation = Operation::current();
    if (!operation || !operation->attached() || operation->context() != context) {
      throw Error(Status::InvalidHandle, "the thread is not attached with this context");
    }
    const std::shared_ptr<Core> keeps = core.shared_from_this();
    delete operation;
    core.thread_attached(-1);
  });
}

// Nobody can subscribe to indications here.
CMPIStatus deliver_indication(const CMPIBroker*, const CMPIContext*, const char*,
                              const CMPIInstance*) {
  return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
}

}  // namespace

void fill_operation_table(Tables& tables) {
  tables.operations = {
      .brokerCapabilities = CMPI_MB_InstanceManipulation | CMPI_MB_AssociationTraversal |
                            CMPI_MB_BasicQualifierSupport | CMPI_MB_OSEncapsulationSupport |
                            CMPI_MB_Supports_MemEnhancements | CMPI_MB_Supports_Extended_Error |
                            CMPI_MB_Logging | CMPI_MB_Tracing | CMPI_MB_PropertyFiltering |
                            CMPI_MB_CodepageConversion,
      .brokerVersion = CMPIVersion210,
      .brokerName = "hddtest",
      .prepareAttachThread = prepare_attach_thread,
      .attachThread = attach_thread,
      .detachThread = detach_thread,
      .deliverIndication = deliver_indication,
      .enumerateInstanceNames = enumerate_instance_names,
      .getInstance = get_instance,
      .createInstance = create_instance,
      .modifyInstance = modify_instance,
      .deleteInstance = delete_instance,
      .execQuery = kUnsupported,
      .enumerateInstances = enumerate_instances<>,
      .associators = associators<>,
      .associatorNames = associator_names,
      .references = references<>,
      .referenceNames = reference_names,
      .invokeMethod = invoke_method,
      .setProperty = set_property,
      .getProperty = get_property,
      .enumerateInstancesFiltered = enumerate_instances<const char*, const char*>,
      .associatorsFiltered = associators<const char*, const char*>,
      .referencesFiltered = references<const char*, const char*>,
  };
}

}  // namespace broker

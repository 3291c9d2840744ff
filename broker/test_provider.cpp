// A provider library in plain CMPI, for the tests of the object manager's operations.
//
// TEST_Widget has the instances "one" and "two" and those that were created. Its methods do what
// their names say, and Do what its parameter What says. Factories, cleanups and the filters of
// association operations are written with logMessage, where the tests read them.
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "broker/test_provider.h"

namespace test_provider {
namespace {

template <class T>
void set(CMPIInstance* instance, const char* name, T number, CMPIType type) {
  instance->ft->setProperty(instance, name, reinterpret_cast<const CMPIValue*>(&number), type);
}

}  // namespace

CMPIInstance* thing(const CMPIBroker* mb, const char* class_name, const char* name) {
  CMPIInstance* made = mb->eft->newInstance(mb, named(mb, class_name, name), nullptr);
  made->ft->setProperty(made, "Name", chars(name), CMPI_chars);
  made->ft->setProperty(made, "Caption", chars("A caption"), CMPI_chars);
  set(made, "Flag", CMPIBoolean{1}, CMPI_boolean);
  set(made, "Letter", CMPIChar16{0x20AC}, CMPI_char16);
  set(made, "R32", CMPIReal32{0.5f}, CMPI_real32);
  set(made, "R64", CMPIReal64{-0.25}, CMPI_real64);
  set(made, "U8", CMPIUint8{255}, CMPI_uint8);
  set(made, "U16", CMPIUint16{65535}, CMPI_uint16);
  set(made, "U32", CMPIUint32{4294967295u}, CMPI_uint32);
  set(made, "U64", CMPIUint64{18446744073709551615ull}, CMPI_uint64);
  set(made, "S8", CMPISint8{-128}, CMPI_sint8);
  set(made, "S16", CMPISint16{-32768}, CMPI_sint16);
  set(made, "S32", CMPISint32{-2147483647}, CMPI_sint32);
  set(made, "S64", CMPISint64{-9223372036854775807ll}, CMPI_sint64);
  CMPIValue value{};
  value.dateTime = mb->eft->newDateTimeFromChars(mb, "20240131120000.000000+060", nullptr);
  made->ft->setProperty(made, "When", &value, CMPI_dateTime);
  value.array = mb->eft->newArray(mb, 3, CMPI_string, nullptr);
  CMPIValue element{};
  element.string = mb->eft->newString(mb, "a,b", nullptr);
  value.array->ft->setElementAt(value.array, 0, &element, CMPI_string);
  element.string = mb->eft->newString(mb, "", nullptr);
  value.array->ft->setElementAt(value.array, 2, &element, CMPI_string);
  made->ft->setProperty(made, "Texts", &value, CMPI_stringA);
  made->ft->setProperty(made, "Numbers", nullptr, CMPI_uint16A);
  value.inst = mb->eft->newInstance(mb, named(mb, "TEST_Widget", "inner"), nullptr);
  set(value.inst, "U8", CMPIUint8{1}, CMPI_uint8);
  made->ft->setProperty(made, "Inner", &value, CMPI_instance);
  value.ref = named(mb, "TEST_Widget", "friend");
  made->ft->setProperty(made, "Friend", &value, CMPI_ref);
  return made;
}

namespace {

std::mutex created_mutex;
// Never destroyed, so that the clones in it stay reachable and count as no leak.
auto& created = *new std::map<std::string, CMPIInstance*>;

// Instances.

template <class MI>
CMPIStatus cleanup(MI* mi, const CMPIContext*, CMPIBoolean terminating) {
  const State& provider = state(mi->hdl);
  note(provider, std::string("cleanup ") + mi->ft->miName + (terminating ? " at the end" : ""));
  if (!terminating && provider.name == "Keeper") return {CMPI_RC_DO_NOT_UNLOAD, nullptr};
  if (!terminating && provider.name == "Never") return {CMPI_RC_NEVER_UNLOAD, nullptr};
  if (terminating) {
    const std::lock_guard lock(created_mutex);
    for (auto& [name, instance] : created) instance->ft->release(instance);
    created.clear();
  }
  delete &provider;
  delete mi;
  return kOk;
}

CMPIStatus enumerate_instance_names(CMPIInstanceMI* mi, const CMPIContext*,
                                    const CMPIResult* result, const CMPIObjectPath* path) {
  const CMPIBroker* mb = state(mi->hdl).mb;
  for (const char* name : {"one", "two"}) {
    result->ft->returnObjectPath(result, named(mb, class_of(path).c_str(), name));
  }
  return result->ft->returnDone(result);
}

CMPIStatus enumerate_instances(CMPIInstanceMI* mi, const CMPIContext*, const CMPIResult* result,
                               const CMPIObjectPath* path, const char**) {
  const State& provider = state(mi->hdl);
  const std::string class_name = class_of(path);
  if (provider.name == "Unsupported") return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
  if (provider.name == "Nothing") return {CMPI_RC_ERR_NOT_FOUND, nullptr};
  for (const char* name : {"one", "two"}) {
    CMPIInstance* made = thing(provider.mb, class_name.c_str(), name);
    if (provider.name == "Gadget") {
      made->ft->setProperty(made, "Extra", chars("more"), CMPI_chars);
    }
    const CMPIStatus status = result->ft->returnInstance(result, made);
    if (status.rc != CMPI_RC_OK) note(provider, "returnInstance " + std::to_string(status.rc));
    made->ft->release(made);
    if (provider.name == "HalfWay") return fail(provider.mb, CMPI_RC_ERR_FAILED, "half way");
  }
  const std::lock_guard lock(created_mutex);
  for (auto& [name, instance] : created) {
    if (provider.name == "Widget") result->ft->returnInstance(result, instance);
  }
  return result->ft->returnDone(result);
}

CMPIStatus get_instance(CMPIInstanceMI* mi, const CMPIContext*, const CMPIResult* result,
                        const CMPIObjectPath* path, const char**) {
  const State& provider = state(mi->hdl);
  const CMPIBroker* mb = provider.mb;
  const std::string name = name_of(path);
  if (name == "silent") return result->ft->returnDone(result);
  if (name == "failing") return fail(mb, CMPI_RC_ERR_FAILED, "broken on purpose");
  if (name == "wordless") return {CMPI_RC_ERR_ACCESS_DENIED, nullptr};
  if (name == "strange") return fail(mb, static_cast<CMPIrc>(200), "two hundred");
  if (name == "explained") {
    CMPIError* error = mb->eft->newCMPIError(mb, "test", "id", "extended text", ErrorSevHigh,
                                             CMPIErrorProbableCause{}, CMPI_RC_ERR_FAILED, nullptr);
    result->ft->returnError(result, error);
    return {CMPI_RC_ERR_FAILED, nullptr};
  }
  if (name == "foreign" || name == "twice") {
    const char* class_name = name == "twice" ? "TEST_Widget" : "TEST_Plain";
    CMPIInstance* made = mb->eft->newInstance(mb, named(mb, class_name, name.c_str()), nullptr);
    note(provider, "first " + std::to_string(result->ft->returnInstance(result, made).rc));
    note(provider, "second " + std::to_string(result->ft->returnInstance(result, made).rc));
    return kOk;
  }
  if (name != "one" && name != "two") return {CMPI_RC_ERR_NOT_FOUND, nullptr};
  result->ft->returnInstance(result, thing(mb, class_of(path).c_str(), name.c_str()));
  return result->ft->returnDone(result);
}

CMPIStatus create_instance(CMPIInstanceMI* mi, const CMPIContext*, const CMPIResult* result,
                           const CMPIObjectPath*, const CMPIInstance* instance) {
  const CMPIBroker* mb = state(mi->hdl).mb;
  CMPIObjectPath* path = instance->ft->getObjectPath(instance, nullptr);
  const std::string name = name_of(path);
  if (name == "pathless") return result->ft->returnDone(result);
  const std::lock_guard lock(created_mutex);
  if (created.count(name) != 0) return fail(mb, CMPI_RC_ERR_ALREADY_EXISTS, "there already");
  created[name] = instance->ft->clone(instance, nullptr);
  result->ft->returnObjectPath(result, path);
  return result->ft->returnDone(result);
}

CMPIStatus modify_instance(CMPIInstanceMI*, const CMPIContext*, const CMPIResult* result,
                           const CMPIObjectPath* path, const CMPIInstance* instance,
                           const char** properties) {
  const std::lock_guard lock(created_mutex);
  const auto found = created.find(name_of(path));
  if (found == created.end()) return {CMPI_RC_ERR_NOT_FOUND, nullptr};
  for (; properties && *properties; ++properties) {
    const CMPIData data = instance->ft->getProperty(instance, *properties, nullptr);
    found->second->ft->setProperty(found->second, *properties, &data.value, data.type);
  }
  return result->ft->returnDone(result);
}

CMPIStatus delete_instance(CMPIInstanceMI*, const CMPIContext*, const CMPIResult* result,
                           const CMPIObjectPath* path) {
  const std::lock_guard lock(created_mutex);
  const auto found = created.find(name_of(path));
  if (found == created.end()) return {CMPI_RC_ERR_NOT_FOUND, nullptr};
  found->second->ft->release(found->second);
  created.erase(found);
  return result->ft->returnDone(result);
}

CMPIStatus exec_query(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*, const CMPIObjectPath*,
                      const char*, const char*) {
  return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
}

// A table of CMPI 2.0, which has no last member.
const CMPIInstanceMIFT kInstanceTable{
    .ftVersion = CMPIVersion200,
    .miVersion = 1,
    .miName = "instance",
    .cleanup = cleanup<CMPIInstanceMI>,
    .enumerateInstanceNames = enumerate_instance_names,
    .enumerateInstances = enumerate_instances,
    .getInstance = get_instance,
    .createInstance = create_instance,
    .modifyInstance = modify_instance,
    .deleteInstance = delete_instance,
    .execQuery = exec_query,
    .enumerateInstancesFiltered = nullptr,
};

// Associations: each widget "one" is linked to the widget "two".

CMPIObjectPath* link_path(const CMPIBroker* mb) {
  CMPIObjectPath* path = mb->eft->newObjectPath(mb, kNameSpace, "TEST_Link", nullptr);
  CMPIValue value{};
  value.ref = named(mb, "TEST_Widget", "one");
  path->ft->addKey(path, "First", &value, CMPI_ref);
  value.ref = named(mb, "TEST_Widget", "two");
  path->ft->addKey(path, "Second", &value, CMPI_ref);
  return path;
}

void note_filters(const State& provider, const char* operation,
                  const std::vector<const char*>& filters) {
  std::string line = operation;
  for (const char* filter : filters) line += std::string(" ") + (filter ? filter : "-");
  note(provider, line);
}

CMPIStatus associators(CMPIAssociationMI* mi, const CMPIContext*, const CMPIResult* result,
                       const CMPIObjectPath*, const char* association, const char* result_class,
                       const char* role, const char* result_role, const char**) {
  const State& provider = state(mi->hdl);
  note_filters(provider, "associators", {association, result_class, role, result_role});
  CMPIInstance* made = thing(provider.mb, "TEST_Widget", "two");
  const CMPIStatus status = result->ft->returnInstance(result, made);
  if (status.rc != CMPI_RC_OK) note(provider, "returnInstance " + std::to_string(status.rc));
  return kOk;
}

CMPIStatus associator_names(CMPIAssociationMI* mi, const CMPIContext*, const CMPIResult* result,
                            const CMPIObjectPath*, const char* association,
                            const char* result_class, const char* role, const char* result_role) {
  const State& provider = state(mi->hdl);
  note_filters(provider, "associatorNames", {association, result_class, role, result_role});
  result->ft->returnObjectPath(result, named(provider.mb, "TEST_Widget", "two"));
  return result->ft->returnDone(result);
}

CMPIStatus references(CMPIAssociationMI* mi, const CMPIContext*, const CMPIResult* result,
                      const CMPIObjectPath*, const char* result_class, const char* role,
                      const char**) {
  const State& provider = state(mi->hdl);
  note_filters(provider, "references", {result_class, role});
  CMPIInstance* made = provider.mb->eft->newInstance(provider.mb, link_path(provider.mb), nullptr);
  result->ft->returnInstance(result, made);
  return result->ft->returnDone(result);
}

CMPIStatus reference_names(CMPIAssociationMI* mi, const CMPIContext*, const CMPIResult* result,
                           const CMPIObjectPath*, const char* result_class, const char* role) {
  const State& provider = state(mi->hdl);
  note_filters(provider, "referenceNames", {result_class, role});
  result->ft->returnObjectPath(result, link_path(provider.mb));
  return result->ft->returnDone(result);
}

const CMPIAssociationMIFT kAssociationTable{
    .ftVersion = CMPIVersion200,
    .miVersion = 1,
    .miName = "association",
    .cleanup = cleanup<CMPIAssociationMI>,
    .associators = associators,
    .associatorNames = associator_names,
    .references = references,
    .referenceNames = reference_names,
    .associatorsFiltered = nullptr,
    .referencesFiltered = nullptr,
};

const CMPIMethodMIFT kMethodTable{
    .ftVersion = CMPIVersion200,
    .miVersion = 1,
    .miName = "method",
    .cleanup = cleanup<CMPIMethodMI>,
    .invokeMethod = invoke_method,
};

template <class MI, class Table>
MI* make(const CMPIBroker* mb, const char* name, const Table& table) {
  auto* provider = new State{mb, name};
  note(*provider, std::string("make ") + table.miName);
  return new MI{provider, &table};
}

}  // namespace

#define EXPORT extern "C" __attribute__((visibility("default")))
// These factories leave the status as the object manager has set it.
#define PROVIDER(NAME)                                                                            \
  EXPORT CMPIInstanceMI* NAME##_Create_InstanceMI(const CMPIBroker* mb, const CMPIContext*,       \
                                                  CMPIStatus*) {                                  \
    return make<CMPIInstanceMI>(mb, #NAME, kInstanceTable);                                       \
  }                                                                                               \
  EXPORT CMPIAssociationMI* NAME##_Create_AssociationMI(const CMPIBroker* mb, const CMPIContext*, \
                                                        CMPIStatus*) {                            \
    return make<CMPIAssociationMI>(mb, #NAME, kAssociationTable);                                 \
  }                                                                                               \
  EXPORT CMPIMethodMI* NAME##_Create_MethodMI(const CMPIBroker* mb, const CMPIContext*,           \
                                              CMPIStatus*) {                                      \
    return make<CMPIMethodMI>(mb, #NAME, kMethodTable);                                           \
  }

PROVIDER(Widget)
PROVIDER(Gadget)
PROVIDER(Link)
PROVIDER(OtherLink)
PROVIDER(Keeper)
PROVIDER(Never)
PROVIDER(Unsupported)
PROVIDER(Nothing)
PROVIDER(HalfWay)

EXPORT CMPIInstanceMI* Null_Create_InstanceMI(const CMPIBroker* mb, const CMPIContext*,
                                              CMPIStatus* rc) {
  *rc = fail(mb, CMPI_RC_ERR_FAILED, "no hardware");
  return nullptr;
}

EXPORT CMPIInstanceMI* Refusing_Create_InstanceMI(const CMPIBroker* mb, const CMPIContext*,
                                                  CMPIStatus* rc) {
  static const State provider{nullptr, "Refusing"};
  static CMPIInstanceMI mi{&provider, &kInstanceTable};
  *rc = fail(mb, CMPI_RC_ERR_NOT_SUPPORTED, "not this kind");
  return &mi;
}

// The table of this provider has no function but cleanup.
EXPORT CMPIInstanceMI* Hollow_Create_InstanceMI(const CMPIBroker* mb, const CMPIContext*,
                                                CMPIStatus*) {
  static const CMPIInstanceMIFT table{
      .ftVersion = CMPIVersion100,
      .miVersion = 1,
      .miName = "instance",
      .cleanup = cleanup<CMPIInstanceMI>,
      .enumerateInstanceNames = nullptr,
      .enumerateInstances = nullptr,
      .getInstance = nullptr,
      .createInstance = nullptr,
      .modifyInstance = nullptr,
      .deleteInstance = nullptr,
      .execQuery = nullptr,
      .enumerateInstancesFiltered = nullptr,
  };
  return make<CMPIInstanceMI>(mb, "Hollow", table);
}

// Its factory and its cleanup throw at the first call and at every second one after it.
CMPIStatus throwing_cleanup(CMPIInstanceMI* mi, const CMPIContext* context,
                            CMPIBoolean terminating) {
  static bool throws = false;
  throws = !throws;
  if (throws) throw std::runtime_error("no end");
  return cleanup(mi, context, terminating);
}

EXPORT CMPIInstanceMI* Throwing_Create_InstanceMI(const CMPIBroker* mb, const CMPIContext*,
                                                  CMPIStatus*) {
  static bool throws = false;
  throws = !throws;
  if (throws) throw std::runtime_error("no beginning");
  static const CMPIInstanceMIFT& table = *[] {
    auto* const changed = new CMPIInstanceMIFT(kInstanceTable);
    changed->cleanup = throwing_cleanup;
    return changed;
  }();
  return make<CMPIInstanceMI>(mb, "Throwing", table);
}

// Throws a number, not an exception, when it is to end for the first time.
CMPIStatus odd_cleanup(CMPIInstanceMI* mi, const CMPIContext* context, CMPIBoolean terminating) {
  static bool thrown = false;
  if (!std::exchange(thrown, true)) throw 42;
  return cleanup(mi, context, terminating);
}

EXPORT CMPIInstanceMI* Odd_Create_InstanceMI(const CMPIBroker* mb, const CMPIContext*,
                                             CMPIStatus*) {
  static const CMPIInstanceMIFT& table = *[] {
    auto* const changed = new CMPIInstanceMIFT(kInstanceTable);
    changed->cleanup = odd_cleanup;
    return changed;
  }();
  return make<CMPIInstanceMI>(mb, "Odd", table);
}

// Its factory asks for an instance of its own class.
EXPORT CMPIInstanceMI* Circular_Create_InstanceMI(const CMPIBroker* mb, const CMPIContext* context,
                                                  CMPIStatus* rc) {
  CMPIObjectPath* path = mb->eft->newObjectPath(mb, kNameSpace, "TEST_Widget", nullptr);
  mb->bft->enumerateInstances(mb, context, path, nullptr, rc);
  return nullptr;
}

}  // namespace test_provider

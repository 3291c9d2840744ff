#include "tests/adapter/test_module.h"

#include "platform/cmpi/module.h"
#include "platform/framework/dispatch.h"
#include "platform/framework/module_unit.h"

namespace ovk_cimple {

Registration* _cimple_registration_head;
const char* _cimple_module_name = "TEST_Module";

template <class Class>
Hooks<Class>& hooks() {
  static auto& all = *new Hooks<Class>;
  return all;
}
template OVK_CIMPLE_EXPORT Hooks<TEST_Device>& hooks<TEST_Device>();
template OVK_CIMPLE_EXPORT Hooks<TEST_Owner>& hooks<TEST_Owner>();
template OVK_CIMPLE_EXPORT Hooks<TEST_Link>& hooks<TEST_Link>();

MethodHooks& method_hooks() {
  static auto& all = *new MethodHooks;
  return all;
}

void clear_hooks() {
  hooks<TEST_Device>().clear();
  hooks<TEST_Owner>().clear();
  hooks<TEST_Link>().clear();
  method_hooks() = {};
}

namespace {

template <class Function, class... Arguments>
sint32 run(const Function& function, sint32 otherwise, Arguments&&... arguments) {
  return function ? function(std::forward<Arguments>(arguments)...) : otherwise;
}

template <class Class>
class HookedProvider {
 public:
  HookedProvider() {
    if (hooks<Class>().construct) hooks<Class>().construct();
    ++hooks<Class>().alive;
  }
  ~HookedProvider() { --hooks<Class>().alive; }

  sint32 load() {
    const sint32 status = run(hooks<Class>().load, OK);
    hooks<Class>().loaded += status == OK;
    return status;
  }
  sint32 unload() {
    --hooks<Class>().loaded;
    return run(hooks<Class>().unload, OK);
  }
  sint32 get_instance(const Class* model, Class*& instance) {
    return run(hooks<Class>().get_instance, GetInstanceUnsupported, model, instance);
  }
  sint32 enum_instances(const Class* model, EnumHandler<Class>* handler) {
    ++hooks<Class>().enumerations;
    return run(hooks<Class>().enum_instances, OK, model, handler);
  }
  sint32 create_instance(const Class* instance) {
    return run(hooks<Class>().create_instance, CreateInstanceUnsupported, instance);
  }
  sint32 delete_instance(const Class* instance) {
    return run(hooks<Class>().delete_instance, DeleteInstanceUnsupported, instance);
  }
  sint32 modify_instance(const Class* model, const Class* instance) {
    return run(hooks<Class>().modify_instance, ModifyInstanceUnsupported, model, instance);
  }
  sint32 enum_associator_names(const Instance* source, const char* result_class, const char* role,
                               const char* result_role, EnumHandler<>* handler) {
    return run(hooks<Class>().enum_associator_names, EnumAssociatorNamesUnsupported, source,
               result_class, role, result_role, handler);
  }
  sint32 enum_references(const Instance* source, const Class* model, const char* role,
                         EnumHandler<Class>* handler) {
    return run(hooks<Class>().enum_references, EnumReferencesUnsupported, source, model, role,
               handler);
  }
  sint32 enum_associators(const Instance* source, const char* result_class, const char* role,
                          const char* result_role, EnumHandler<>* handler) {
    return run(hooks<Class>().enum_associators, EnumAssociatorsUnsupported, source, result_class,
               role, result_role, handler);
  }

  sint32 Probe(const TEST_Device* self, Property<boolean>& hard, Property<uint8>& small,
               Property<String>& text, Property<Datetime>& when, Property<Array<String>>& texts,
               Property<Ref<Instance>>& target, Property<uint16>& both, Property<String>& note,
               Property<Ref<Instance>>& job, Property<Array<Ref<Instance>>>& jobs,
               Property<uint32>& return_value) {
    const auto record = make<TEST_Device_Probe_method>();
    record->Hard = hard;
    record->Small = small;
    record->Text = text;
    record->When = when;
    record->Texts = texts;
    record->Target = target;
    record->Both = both;
    const sint32 status = run(method_hooks().probe, MethodUnsupported, self, *record);
    both = record->Both;
    note = record->Note;
    job = record->Job;
    jobs = record->Jobs;
    return_value = record->return_value;
    return status;
  }
  sint32 Describe(const TEST_Device* self, Property<String>& return_value) {
    return run(method_hooks().describe, MethodUnsupported, self, return_value);
  }
  sint32 Check(const TEST_Device* self, Property<boolean>& return_value) {
    return run(method_hooks().check, MethodUnsupported, self, return_value);
  }
};

template <class Class, bool Is_Association>
sint32 proc(const Registration*, sint32 operation, void* arg0, void* arg1, void* arg2, void* arg3,
            void* arg4, void* arg5, void* arg6, void*) {
  return dispatch<HookedProvider<Class>, Class, Is_Association>(operation, arg0, arg1, arg2, arg3,
                                                                arg4, arg5, arg6);
}

Registration device_record, owner_record, link_record;

[[maybe_unused]] const bool kRegistered = [] {
  add_provider(device_record, "TEST_Device_Provider", proc<TEST_Device, false>,
               TEST_Device::static_meta_class);
  add_provider(owner_record, "TEST_Owner_Provider", proc<TEST_Owner, false>,
               TEST_Owner::static_meta_class);
  add_provider(link_record, "TEST_Link_Provider", proc<TEST_Link, true>,
               TEST_Link::static_meta_class);
  return true;
}();

}  // namespace

const Registration& device_registration() { return device_record; }
const Registration& link_registration() { return link_record; }

}  // namespace ovk_cimple

extern "C" {

CmpiStaticData _cmpi_static_dataTEST_Device_Provider;
CmpiStaticData _cmpi_static_dataTEST_Owner_Provider;
CmpiStaticData _cmpi_static_dataTEST_Link_Provider;

OVK_CIMPLE_ENTRY_POINT(TEST_Device_Provider, Instance, ovk_cimple::device_record)
OVK_CIMPLE_ENTRY_POINT(TEST_Device_Provider, Method, ovk_cimple::device_record)
OVK_CIMPLE_ENTRY_POINT(TEST_Owner_Provider, Instance, ovk_cimple::owner_record)
OVK_CIMPLE_ENTRY_POINT(TEST_Link_Provider, Instance, ovk_cimple::link_record)
OVK_CIMPLE_ENTRY_POINT(TEST_Link_Provider, Association, ovk_cimple::link_record)

}  // extern "C"

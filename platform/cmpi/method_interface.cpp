// The method interface.
#include "platform/cmpi/client_call.h"

namespace ovk_cimple {

namespace {

// The instance that the method is called on. It is of the provider's class, even if the path names
// a subclass that the repository does not know.
Ref<Instance> target_of(ClientCall& call, const CMPIObjectPath* path) {
  const MetaClass& own = call.meta_class();
  const MetaClass* const named = call.class_of(path);
  if (named && !is_subclass(*named, own) && !is_subclass(own, *named))
    throw Failure{CMPI_RC_ERR_NOT_SUPPORTED, "not a class of this provider"};
  auto target = Ref<Instance>::adopt(create(named && is_subclass(own, *named) ? *named : own));
  target->name_space = name_space(path);
  read_keys(path, *target);
  return target;
}

// Parameters that the method does not have are ignored; missing ones arrive as null.
void read_parameters(const CMPIArgs* in, Instance& record) {
  for (const MetaProperty& parameter : record.meta_class->properties) {
    if (!parameter.in) continue;
    const CMPIData data = read_data(in, &CMPIArgsFT::getArg, parameter.name);
    if (read(data, record, parameter) == Reading::UNFIT)
      throw Failure{CMPI_RC_ERR_INVALID_PARAMETER,
                    std::string("parameter ") + parameter.name + " has no value of its type"};
  }
}

bool is_integer(Type type) { return type >= Type::uint8 && type <= Type::sint64; }

// Delivers a null integer as zero, because a common client fails on a reply with output parameters
// and without a return value. Null values of other types cannot be delivered.
void deliver_return_value(const ClientCall& call, Instance& record, const MetaProperty& property) {
  OutgoingValue value = call.translator().value(record, property);
  if (!value.value() && is_integer(property.type) && !property.array)
    value.set(&CMPIValue::uint64, CMPIUint64{0});
  if (!value.value()) return;
  require(invoke(call.result(), &CMPIResultFT::returnData, value.value(), value.type()),
          "return value");
  value.keep();  // some object managers use the object itself until the call has ended
}

// Leaves out null parameters, because a common client crashes on a parameter without a value.
void deliver_parameter(const ClientCall& call, const Instance& record,
                       const MetaProperty& parameter, CMPIArgs* out) {
  const OutgoingValue value = call.translator().value(record, parameter);
  if (out && value.value())
    require(invoke(out, &CMPIArgsFT::addArg, parameter.name, value.value(), value.type()),
            parameter.name);
}

CMPIStatus cleanup(CMPIMethodMI* mi, const CMPIContext*, CMPIBoolean terminating) {
  return clean_up(mi->hdl, terminating);
}

CMPIStatus invoke_method(CMPIMethodMI* mi, const CMPIContext* context, const CMPIResult* result,
                         const CMPIObjectPath* path, const char* method, const CMPIArgs* in,
                         CMPIArgs* out) {
  return perform(mi->hdl, context, result, path, "invoke method", [&](ClientCall& call) {
    const auto target = target_of(call, path);
    const MetaClass* const meta = method ? find_method(*target->meta_class, method) : nullptr;
    if (!meta) throw Failure{CMPI_RC_ERR_METHOD_NOT_FOUND, "no such method"};
    const auto record = Ref<Instance>::adopt(create(*meta));
    read_parameters(in, *record);
    call.require_ok(InvokeMethod, call.dispatch(InvokeMethod, target.get(), record.get()));
    const MetaProperty& returned = meta->properties.back();
    for (const MetaProperty& parameter : meta->properties)
      if (parameter.out && &parameter != &returned)
        deliver_parameter(call, *record, parameter, out);
    deliver_return_value(call, *record, returned);
  });
}

}  // namespace

const CMPIMethodMIFT kMethodFunctions = {
    .ftVersion = CMPIVersion210,
    .miVersion = 1,
    .miName = "ovk_cimple",
    .cleanup = cleanup,
    .invokeMethod = invoke_method,
};

}  // namespace ovk_cimple

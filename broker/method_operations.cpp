// Method calls.
#include "broker/flight.h"
#include "broker/invocation.h"

namespace broker {

Turns::Turn Core::turn_of(const ObjectPath& target, const Name& method,
                          const std::vector<Argument>& in, const Request& request) {
  if (Operation::current()) return {};  // an up-call: the call it is part of may have the turn
  for (Turns& turns : turns_) {
    const OneAtATime& settings = turns.settings();
    if (!(target.class_name == settings.class_name && method == settings.method)) continue;
    const Value* named = nullptr;
    for (const Argument& argument : in) {
      if (argument.name == settings.argument && !argument.value.is_null()) named = &argument.value;
    }
    const std::string subject = settings.subject(target, named);
    if (!subject.empty()) return turns.take(subject, request.client_has_gone);
  }
  return {};
}

MethodResult Core::invoke_method(const ObjectPath& path, std::string_view name,
                                 const std::vector<Argument>& in, const Request& request) {
  const Flight flight(*this);
  const ClassInfo& info = class_of(path);
  const ObjectPath target = typed_path(path, info);
  const MethodInfo* method = info.find_method(name);
  if (!method) {
    throw Error(Status::MethodNotFound,
                "class " + info.name().str() + " has no method " + std::string(name));
  }
  std::vector<Argument> arguments;
  for (const Argument& argument : in) {
    const ParameterInfo* parameter = info.find_parameter(name, argument.name);
    if (!parameter || !parameter->feature->in) {
      throw Error(Status::InvalidParameter, "method " + method->name.str() +
                                                " has no input parameter " + argument.name.str());
    }
    for (const Argument& earlier : arguments) {
      if (earlier.name == parameter->name) {
        throw Error(Status::InvalidParameter,
                    "parameter " + parameter->name.str() + " is given twice");
      }
    }
    arguments.push_back({parameter->name, typed(argument.value, parameter->type, parameter->array,
                                                "parameter " + parameter->name.str())});
  }
  const Registered* asked = find_methods(info);
  if (!asked) {
    throw Error(Status::MethodNotAvailable,
                "no provider serves methods of class " + info.name().str());
  }
  const Turns::Turn turn = turn_of(target, method->name, arguments, request);
  const std::string spelled = method->name.str();
  MethodResult result;
  Delivery delivery(*method);
  const auto error = run<CMPIMethodMI>(
      *asked->provider, delivery, request, 0,
      [&](Operation& operation, CMPIMethodMI* mi, const CMPIResult* container) {
        ArgsObject* given = operation.lend<ArgsObject>(std::move(arguments), nullptr);
        ArgsObject* out = operation.lend<ArgsObject>(std::vector<Argument>{}, method);
        const CMPIStatus status = invoke_if_present(mi->ft->invokeMethod, mi, operation.context(),
                                                    container, lend_path(operation, target, info),
                                                    spelled.c_str(), handle(given), handle(out));
        result.out = std::move(out->arguments);
        return status;
      });
  if (error) throw *error;
  result.return_value = delivery.return_value();
  return result;
}

const Value* MethodResult::find(std::string_view name) const {
  for (const Argument& argument : out) {
    if (argument.name == name) return &argument.value;
  }
  return nullptr;
}

}  // namespace broker

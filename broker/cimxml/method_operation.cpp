// Calls of the methods that classes declare.

#include "broker/cimxml/decode.h"
#include "broker/cimxml/task.h"
#include "broker/cimxml/writer.h"

namespace broker::cimxml {
namespace {

// A client need not say that its text is an instance, since the declaration does.
Value declared_value(const Decoder& decoder, const Parameter& given,
                     const ParameterInfo* declared) {
  const bool text = given.form == Form::Text && given.value.type() == Type::String;
  if (text && declared && declared->type == Type::Instance) {
    return Value(decoder.embedded_instance(given.value.as_text()));
  }
  return given.value;
}

// A parameter that is a reference must come as one, and lead to an object of the declared class. A
// reference to an unknown class is taken only with a host: another object manager may know it.
void check_references(const Schema& schema, const Parameter& given, const ParameterInfo& declared) {
  const auto refuse = [&](const std::string& reason) {
    throw Error(Status::InvalidParameter, "parameter " + given.name + ": " + reason);
  };
  if (given.form == Form::Null) return;
  const bool text = given.form == Form::Text || given.form == Form::Texts;
  if (text || given.value.type() != Type::Reference) refuse("a reference is wanted");
  const ClassInfo* wanted = schema.find(declared.feature->reference_class);
  const auto check = [&](const Value& value) {
    if (value.is_null()) return;
    const ObjectPath& path = value.as_path();
    const ClassInfo* info = schema.find(path.class_name);
    if (!info && path.host.empty()) refuse("there is no class " + path.class_name.str());
    if (info && wanted && !info->is_a(*wanted)) {
      refuse("class " + info->name().str() + " is no " + wanted->name().str());
    }
  };
  if (!given.value.is_array()) {
    check(given.value);
    return;
  }
  for (const Value& value : given.value.elements()) check(value);
}

std::vector<Argument> arguments_of(const Task& task, const ClassInfo& info,
                                   std::string_view method) {
  const Schema& schema = task.manager.schema();
  const Decoder decoder(schema, task.allowance);
  std::vector<Argument> arguments;
  for (const Parameter& given : task.asked.parameters) {
    if (given.form == Form::NotSupported) {
      throw Error(Status::InvalidParameter, "parameter " + given.name + " holds a class");
    }
    const ParameterInfo* declared = info.find_parameter(method, given.name);
    if (declared && declared->type == Type::Reference) check_references(schema, given, *declared);
    arguments.push_back({given.name, declared_value(decoder, given, declared)});
  }
  return arguments;
}

void write_typed(Writer& writer, const Value& value, const Qualifier* embedded) {
  Text& text = writer.text();
  text << " PARAMTYPE=\"" << wire_type(value.type()) << "\"";
  if (value.type() == Type::Instance) text << " EmbeddedObject=\"" << embedding(embedded) << "\"";
  text << ">";
  writer.value(value);
}

}  // namespace

void call_method(const Task& task) {
  const SimpleRequest& asked = task.asked;
  const ClassInfo* info = nullptr;
  try {
    info = &task.manager.get_class(asked.target);
  } catch (const Error& error) {
    if (error.status() != Status::InvalidClass) throw;
    throw Error(Status::NotFound, error.description());  // the target of the call is missing
  }
  const MethodInfo* method = info->find_method(asked.name);
  if (!method) {
    throw Error(Status::MethodNotFound,
                "class " + info->name().str() + " has no method " + asked.name);
  }
  const MethodResult result = task.manager.invoke_method(
      asked.target, asked.name, arguments_of(task, *info, asked.name), task.caller);
  Writer writer(task.output.text(), task.manager.schema());
  if (!result.return_value.is_null()) {
    writer.text() << "<RETURNVALUE";
    write_typed(writer, result.return_value,
                info->find_method_qualifier(method->name, "EmbeddedInstance"));
    writer.text() << "</RETURNVALUE>";
  }
  for (const Argument& out : result.out) {
    // A missing parameter means null. Written without a value, it makes some clients fail.
    if (out.value.is_null()) continue;
    writer.text() << "<PARAMVALUE NAME=\"";
    writer.text().attribute(out.name);
    writer.text() << "\"";
    write_typed(writer, out.value,
                info->find_parameter_qualifier(method->name, out.name, "EmbeddedInstance"));
    writer.text() << "</PARAMVALUE>";
  }
}

}  // namespace broker::cimxml

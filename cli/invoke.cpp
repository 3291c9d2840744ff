// hddtest invoke: calls a method of an instance or, where it is static, of a class.
#include <memory>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/json.h"
#include "cli/manager.h"
#include "cli/output.h"
#include "cli/text.h"

namespace cli {
namespace {

struct InvokeOptions {
  std::string path;
  std::string method;
  std::vector<std::string> arguments;
};

const broker::MethodInfo& find_method(const broker::Schema& schema, const broker::ObjectPath& path,
                                      const std::string& name) {
  const broker::ClassInfo& info = schema.get(path.class_name);
  if (const broker::MethodInfo* const method = info.find_method(name)) return *method;
  std::string names;
  for (const broker::MethodInfo& method : info.methods())
    names += (names.empty() ? "" : ", ") + method.name.str();
  throw Failure("class " + info.name().str() + " has no method '" + name + "'; it has " +
                (names.empty() ? "none" : names));
}

int invoke(const InvokeOptions& options, const Invocation& invocation) {
  const broker::ObjectPath path = broker::ObjectPath::parse(options.path);
  const auto manager = make_manager(find_places(invocation.data));
  const broker::MethodInfo& method = find_method(manager->schema(), path, options.method);
  const broker::MethodResult result =
      manager->invoke_method(path, method.name, parse_arguments(method, options.arguments));
  Output& output = standard_output();
  if (invocation.json) {
    Json out = Json::object();
    for (const broker::Argument& argument : result.out)
      out[argument.name.str()] = to_json(argument.value);
    output.write(dump({{"return", to_json(result.return_value)}, {"out", out}}));
    return status_ok;
  }
  std::string text;
  if (!result.return_value.is_null())
    text += labelled("Return value: ", broker::to_text(result.return_value), output.columns());
  for (const broker::Argument& argument : result.out) {
    if (argument.value.is_null()) continue;
    text += labelled(argument.name.str() + ": ", broker::to_text(argument.value), output.columns());
  }
  output.write(text.empty() ? "The method returned nothing.\n" : text);
  return status_ok;
}

}  // namespace

Command invoke_command(const Invocation& invocation) {
  auto options = std::make_shared<InvokeOptions>();
  return {"invoke",
          "Calls a method.",
          "Exit status: 0 when the method was called, whatever it returned, else 3. JSON: an\n"
          "object with the return value as \"return\" and output parameters by name in \"out\".",
          {{"PATH", &options->path, "The instance, as 'enumerate' prints it, or a class"},
           {"METHOD", &options->method, "The method"},
           {"ARGUMENT", &options->arguments, "Arguments as NAME=VALUE; arrays as NAME=1,2,3"}},
          [&invocation, options] { return invoke(*options, invocation); }};
}

}  // namespace cli

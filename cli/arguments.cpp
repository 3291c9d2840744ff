#include "cli/arguments.h"

#include "cli/failure.h"

namespace cli {
namespace {

std::string parameter_names(const broker::MethodInfo& method) {
  std::string names;
  for (const broker::ParameterInfo& parameter : method.parameters)
    names += (names.empty() ? "" : ", ") + parameter.name.str();
  return names.empty() ? "none" : names;
}

broker::Argument parse_argument(const broker::ClassInfo& info, const broker::MethodInfo& method,
                                const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos)
    throw CommandFailure("'" + text + "' is no argument of the form NAME=VALUE");
  const std::string name = text.substr(0, equals);
  const broker::ParameterInfo* const parameter = info.find_parameter(method.name, name);
  if (!parameter) {
    throw CommandFailure("method " + method.name.str() + " has no parameter '" + name +
                         "'; it has " + parameter_names(method));
  }
  try {
    return {parameter->name, broker::parse_value(parameter->type, parameter->array,
                                                 std::string_view(text).substr(equals + 1))};
  } catch (const broker::Error& error) {
    throw CommandFailure("parameter " + parameter->name.str() + ": " + error.description());
  }
}

}  // namespace

std::vector<broker::Argument> parse_arguments(const broker::ClassInfo& info,
                                              const broker::MethodInfo& method,
                                              const std::vector<std::string>& texts) {
  std::vector<broker::Argument> arguments;
  for (const std::string& text : texts) {
    broker::Argument argument = parse_argument(info, method, text);
    for (const broker::Argument& earlier : arguments)
      if (earlier.name == argument.name)
        throw CommandFailure("parameter " + argument.name.str() + " is given twice");
    arguments.push_back(std::move(argument));
  }
  return arguments;
}

}  // namespace cli

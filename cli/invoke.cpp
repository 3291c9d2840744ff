// hddtest invoke: calls a method of an instance or, where it is static, of a class.
#include <fmt/format.h>

#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/json.h"
#include "cli/kept_run.h"
#include "cli/log_listener.h"
#include "cli/log_texts.h"
#include "cli/manager.h"
#include "cli/near_match.h"
#include "cli/output.h"
#include "cli/terminal_text.h"

namespace cli {
namespace {

struct InvokeOptions {
  std::string path;
  std::string method;
  std::vector<std::string> arguments;
};

const broker::MethodInfo& find_method(const broker::ClassInfo& info, const std::string& name) {
  if (const broker::MethodInfo* const method = info.find_method(name)) return *method;
  std::vector<std::string> names;
  for (const broker::MethodInfo& method : info.methods()) names.push_back(method.name.str());
  throw CommandFailure(
      fmt::format("class {} has no method '{}'; it has {}{}", info.name().str(), name,
                  names.empty() ? "none" : fmt::format("{}", fmt::join(names, ", ")),
                  near_match_question(name, names)));
}

// The module answers a call that tested nothing like one that tested a drive; only its log tells
// the difference. So the log's line is shown here too.
broker::MethodResult invoke_heard(broker::ObjectManager& manager, const broker::ObjectPath& path,
                                  const broker::MethodInfo& method,
                                  const std::vector<broker::Argument>& arguments) {
  std::mutex lock;
  std::string not_run;
  broker::MethodResult result;
  {
    const LogListener listener([&](int, const std::string& text) {
      const std::lock_guard guard(lock);
      if (text.starts_with(kNotRunText)) not_run = text;
    });
    result = manager.invoke_method(path, method.name, arguments);
  }
  if (!not_run.empty()) complain(not_run);
  return result;
}

int invoke(const InvokeOptions& options, const Invocation& invocation) {
  const broker::ObjectPath path = broker::ObjectPath::parse(options.path);
  const auto manager = make_manager(find_places(invocation.data), {}, std::nullopt, keep_run);
  const broker::ClassInfo& info = find_class(manager->schema(), path.class_name.str());
  const broker::MethodInfo& method = find_method(info, options.method);
  const std::vector<broker::Argument> arguments = parse_arguments(info, method, options.arguments);
  const broker::MethodResult result = invoke_heard(*manager, path, method, arguments);
  Output& output = standard_output();
  if (invocation.json) {
    Json out = Json::object();
    for (const broker::Argument& argument : result.out)
      out[argument.name.str()] = to_json(argument.value);
    output.write(dump({{"return", to_json(result.return_value)}, {"out", out}}));
    return kStatusOk;
  }
  std::string text;
  if (!result.return_value.is_null())
    text += labelled("Return value: ", broker::to_text(result.return_value), output.columns());
  for (const broker::Argument& argument : result.out) {
    if (argument.value.is_null()) continue;
    text += labelled(argument.name.str() + ": ", broker::to_text(argument.value), output.columns());
  }
  output.write(text.empty() ? "The method returned nothing.\n" : text);
  return kStatusOk;
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

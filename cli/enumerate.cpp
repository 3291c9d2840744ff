// hddtest enumerate: the instances of a class.
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/json.h"
#include "cli/manager.h"
#include "cli/output.h"
#include "cli/readable.h"
#include "cli/terminal_text.h"

namespace cli {
namespace {

// Mostly people whose test has failed ask for jobs and records.
constexpr const char* kKeptElsewhere =
    "Jobs and records stay with the process that ran the test: 'hddtest run --json' shows them "
    "whole, and a server tells its clients of its own tests.\n";

bool is_of_a_run(const broker::Schema& schema, const broker::ClassInfo& asked) {
  for (const char* const kept :
       {"KAVRO_HDDTest_ConcreteJob", "KAVRO_HDDTest_DiagnosticCompletionRecord"})
    if (const broker::ClassInfo* const info = schema.find(kept); info && info->is_a(asked))
      return true;
  return false;
}

int enumerate(const std::string& class_name, const Invocation& invocation) {
  const auto manager = make_manager(find_places(invocation.data));
  const broker::ClassInfo& asked = find_class(manager->schema(), class_name);
  const std::vector<broker::Instance> instances = manager->enumerate_instances(asked.name().view());
  Output& output = standard_output();
  if (invocation.json) {
    Json array = Json::array();
    for (const broker::Instance& instance : instances) {
      Json object = {{"path", instance.path.to_text()}};
      object.update(to_json(instance));
      array.push_back(std::move(object));
    }
    output.write(dump(array));
    return kStatusOk;
  }
  if (instances.empty()) {
    output.write("There is no instance of " + escape(class_name) + ".\n");
    if (is_of_a_run(manager->schema(), asked))
      output.write(labelled("", kKeptElsewhere, output.columns()));
  }
  std::string separator;
  for (const broker::Instance& instance : instances) {
    output.write(separator + readable(instance, output.columns()));
    separator = "\n";
  }
  return kStatusOk;
}

}  // namespace

Command enumerate_command(const Invocation& invocation) {
  auto class_name = std::make_shared<std::string>();
  return {"enumerate",
          "Lists the instances of a class.",
          "Instances of subclasses are listed too. Properties that are null are left out, and\n"
          "are null in JSON, where the path stands first. Exit status: 0, or 3 if the class cannot "
          "be asked.",
          {{"CLASS", class_name.get(), "A class, such as KAVRO_HDDTest_DiagnosticService"}},
          [&invocation, class_name] { return enumerate(*class_name, invocation); }};
}

}  // namespace cli

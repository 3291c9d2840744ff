// The registration of classes to providers.
#include "fuzz/target.h"

#include <vector>

#include "broker/error.h"
#include "broker/registration_file.h"

namespace {

using broker::RegistrationEntry;

std::string written(const std::vector<RegistrationEntry>& entries) {
  std::string text;
  for (const RegistrationEntry& entry : entries) {
    text += "[" + entry.class_name + "]\nprovider: " + entry.provider +
            "\nlocation: " + entry.location + "\ntype:";
    if (entry.instance) text += " instance";
    if (entry.association) text += " association";
    if (entry.method) text += " method";
    text += "\nnamespace:";
    for (const std::string& name : entry.name_spaces) text += " " + name;
    if (!entry.group.empty()) text += "\ngroup: " + entry.group;
    if (entry.unload_never) text += "\nunload: never";
    text += "\n";
  }
  return text;
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  std::string text;
  try {
    text = written(broker::parse_registration(input, "file"));
  } catch (const broker::Error& error) {
    const std::string& reason = error.description();
    require(error.status() == broker::Status::Failed, "it is no client's fault");
    require(
        reason.starts_with("file:") && reason.size() > 7 && reason[5] >= '1' && reason[5] <= '9',
        "a refusal names the line");
    require(reason.find('\n') == std::string::npos, "and is one line itself");
    return;
  }
  // What was accepted is accepted again when it is written out, and means the same.
  require(written(broker::parse_registration(text, "file")) == text,
          "what is written reads the same");
}

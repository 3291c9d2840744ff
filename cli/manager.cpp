#include "cli/manager.h"

#include <string_view>
#include <utility>

#include "cli/diagnostic_call.h"
#include "cli/failure.h"
#include "cli/near_match.h"
#include "platform/support/logger.h"

namespace cli {
namespace {

void note(int severity, const std::string& text) {
  using NKVRHVX20::ILogger;
  NKVRHVX20::TRootObject::GetCoreLogger()->Log(static_cast<ILogger::EHVXLogSeverity>(severity),
                                               text);
}

// What helps against an error whose description holds a text (empty: any).
struct Advice {
  broker::Status status;
  std::string_view holds;
  std::string_view text;
};

constexpr Advice kAdvices[] = {
    {broker::Status::Failed, "registration", "reinstall hddtest, or name its data with --data"},
    {broker::Status::Failed, "provider", "'hddtest check' tells what is missing"},
    {broker::Status::InvalidNamespace, "", "the name space is root/cimv2"},
    {broker::Status::NotFound, "", "'hddtest enumerate CLASS' lists the paths of its instances"},
};

}  // namespace

std::unique_ptr<broker::ObjectManager> make_manager(
    const Places& places, std::chrono::milliseconds look_for_idle,
    std::optional<broker::InteropFacts> interop,
    std::function<std::shared_ptr<void>(const std::string&)> accompany) {
  enter_data_folder(places);
  broker::Options options;
  options.registration = broker::read_registration(places.registration);
  options.library_folders = places.libraries;
  options.log = note;
  options.one_at_a_time = {one_test_at_a_time()};
  options.one_at_a_time.front().accompany = std::move(accompany);
  options.look_for_idle = look_for_idle;
  options.interop = std::move(interop);
  return std::make_unique<broker::ObjectManager>(broker::generated_schema(), std::move(options));
}

const broker::ClassInfo& find_class(const broker::Schema& schema, const std::string& name) {
  if (const broker::ClassInfo* const info = schema.find(name)) return *info;
  std::vector<std::string> names;
  for (const broker::ClassInfo& info : schema.classes()) names.push_back(info.name().str());
  throw CommandFailure("there is no class " + name + near_match_question(name, names));
}

std::string error_text(const broker::Error& error) {
  std::string text = error.description();
  if (const std::string name = broker::status_name(error.status()); text != name)
    text += " (" + name + ")";
  for (const Advice& advice : kAdvices) {
    if (error.status() != advice.status ||
        error.description().find(advice.holds) == std::string::npos)
      continue;
    text += "; ";
    text += advice.text;
    break;
  }
  return text;
}

}  // namespace cli

#include "cli/diagnostic_call.h"

namespace cli {
namespace {

using broker::ClassInfo;
using broker::Name;
using broker::ObjectPath;
using broker::Value;

constexpr std::string_view service_class = "KAVRO_HDDTest_DiagnosticService";
constexpr std::string_view service_name = "Hard Drive: Self Test";
constexpr std::string_view drive_class = "KAVRO_DiskDrive";

constexpr std::size_t longest_device = 4096;

bool is_drive(const Value& element) {
  const broker::Schema& schema = broker::generated_schema();
  const ClassInfo* const info = schema.find(element.as_path().class_name);
  return info && info->is_a(schema.get(drive_class));
}

}  // namespace

ObjectPath service_path() {
  return {Name(broker::served_name_space),
          service_class,
          {{"SystemCreationClassName", "KAVRO_ComputerSystem"},
           {"SystemName", ""},
           {"CreationClassName", service_class},
           {"Name", service_name}}};
}

ObjectPath drive_path(const std::string& device) {
  return {Name(broker::served_name_space),
          drive_class,
          {{"SystemCreationClassName", "KAVRO_ComputerSystem"},
           {"SystemName", ""},
           {"CreationClassName", drive_class},
           {"DeviceID", device}}};
}

std::string drive_to_test(const ObjectPath& service, const Value* drive) {
  const Value* const name = service.key("Name");
  if (!name || name->as_text() != service_name || !drive || !is_drive(*drive)) return {};
  const Value* const device = drive->as_path().key("DeviceID");
  if (!device || device->as_text().size() > longest_device || device->as_text().starts_with('-'))
    return {};
  return device->as_text();
}

broker::OneAtATime one_test_at_a_time() {
  broker::OneAtATime settings;
  settings.class_name = service_class;
  settings.method = run_method;
  settings.argument = run_argument;
  settings.subject = drive_to_test;
  return settings;
}

}  // namespace cli

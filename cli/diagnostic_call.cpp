#include "cli/diagnostic_call.h"

namespace cli {
namespace {

using broker::ClassInfo;
using broker::Name;
using broker::ObjectPath;
using broker::Value;

constexpr std::string_view kServiceClass = "KAVRO_HDDTest_DiagnosticService";
constexpr std::string_view kServiceName = "Hard Drive: Self Test";
constexpr std::string_view kDriveClass = "KAVRO_DiskDrive";

constexpr std::size_t kLongestDevice = 4096;

bool is_drive(const Value& element) {
  const broker::Schema& schema = broker::generated_schema();
  const ClassInfo* const info = schema.find(element.as_path().class_name);
  return info && info->is_a(schema.get(kDriveClass));
}

}  // namespace

ObjectPath service_path() {
  return {Name(broker::kServedNameSpace),
          kServiceClass,
          {{"SystemCreationClassName", "KAVRO_ComputerSystem"},
           {"SystemName", ""},
           {"CreationClassName", kServiceClass},
           {"Name", kServiceName}}};
}

ObjectPath drive_path(const std::string& device) {
  return {Name(broker::kServedNameSpace),
          kDriveClass,
          {{"SystemCreationClassName", "KAVRO_ComputerSystem"},
           {"SystemName", ""},
           {"CreationClassName", kDriveClass},
           {"DeviceID", device}}};
}

std::string drive_to_test(const ObjectPath& service, const Value* drive) {
  const Value* const name = service.key("Name");
  if (!name || name->as_text() != kServiceName || !drive || !is_drive(*drive)) return {};
  const Value* const device = drive->as_path().key("DeviceID");
  if (!device || device->as_text().size() > kLongestDevice || device->as_text().starts_with('-'))
    return {};
  return device->as_text();
}

broker::OneAtATime one_test_at_a_time() {
  broker::OneAtATime settings;
  settings.class_name = kServiceClass;
  settings.method = kRunMethod;
  settings.argument = kRunArgument;
  settings.subject = drive_to_test;
  return settings;
}

}  // namespace cli

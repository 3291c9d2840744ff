#include "cli/diagnostic_call.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

using broker::ObjectPath;
using broker::Value;

ObjectPath with(ObjectPath path, const char* key, const std::string& value) {
  path.set_key(key, value);
  return path;
}

TEST(DiagnosticCall, OfAUsableDriveTestsIt) {
  for (const std::string& device : {std::string("/dev/sda"), std::string("sda -t long"),
                                    std::string(1, ' '), std::string(4096, 'x')}) {
    const Value drive(drive_path(device));
    EXPECT_EQ(drive_to_test(service_path(), &drive), device);
  }
}

TEST(DiagnosticCall, WithoutAUsableDriveTestsNone) {
  for (const std::string& device :
       {std::string(), std::string("-"), std::string("-t"), std::string(4097, 'x')}) {
    const Value drive(drive_path(device));
    EXPECT_EQ(drive_to_test(service_path(), &drive), "") << device.size();
  }
  EXPECT_EQ(drive_to_test(service_path(), nullptr), "");
  const Value unnamed(ObjectPath("root/cimv2", "KAVRO_DiskDrive", {{"SystemName", ""}}));
  EXPECT_EQ(drive_to_test(service_path(), &unnamed), "");
}

TEST(DiagnosticCall, WithSomethingElseThanADriveTestsNone) {
  for (const char* class_name : {"KAVRO_SysBusDevice", "CIM_DiskDrive", "Other_DiskDrive"}) {
    ObjectPath element = drive_path("/dev/sda");
    element.class_name = class_name;
    const Value value(element);
    EXPECT_EQ(drive_to_test(service_path(), &value), "") << class_name;
  }
}

TEST(DiagnosticCall, OfAnotherServiceTestsNone) {
  const Value drive(drive_path("/dev/sda"));
  for (const char* name : {"", "hard drive: self test", "Hard Drive: Self Test "})
    EXPECT_EQ(drive_to_test(with(service_path(), "Name", name), &drive), "") << name;
  const ObjectPath unnamed("root/cimv2", "KAVRO_HDDTest_DiagnosticService", {{"SystemName", ""}});
  EXPECT_EQ(drive_to_test(unnamed, &drive), "");
}

}  // namespace
}  // namespace cli

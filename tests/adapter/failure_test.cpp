#include <functional>
#include <stdexcept>
#include <utility>

#include "tests/adapter/adapter_test.h"

namespace ovk_cimple {
namespace {

using broker::Status;

class Failures : public AdapterTest {};
INSTANTIATE_TEST_SUITE_P(Habits, Failures, testing::ValuesIn(all_habits()),
                         [](const auto& info) { return info.param.name; });

TEST_P(Failures, UnsupportedOperationsSaySo) {
  broker::Instance instance(device_path("sda", 1));
  instance.set("Name", "sda");
  instance.set("Number", std::uint16_t{1});
  const auto failed = failure_of([&] { manager().create_instance(instance); });
  EXPECT_EQ(failed.status, Status::NotSupported);
  EXPECT_TRUE(failed.text.ends_with(": creating instances of this class is not supported"))
      << failed.text;
  EXPECT_EQ(failure_of([&] { manager().modify_instance(instance); }).status, Status::NotSupported);
  EXPECT_EQ(failure_of([&] { manager().delete_instance(device_path("sda", 1)); }).status,
            Status::NotSupported);
}

TEST_P(Failures, AnExceptionNamesProviderOperationAndCause) {
  hooks<TEST_Device>().enum_instances = [](const TEST_Device*,
                                           EnumHandler<TEST_Device>* handler) -> sint32 {
    handler->handle(device("sda", 1));
    throw std::out_of_range("no \x01 such place");
  };
  std::size_t delivered = 0;
  const auto failed = failure_of([&] {
    manager().enumerate_instances(broker::ObjectPath("root/cimv2", "TEST_Device"),
                                  [&](const broker::Instance&) { ++delivered; });
  });
  EXPECT_EQ(failed.status, Status::Failed);
  EXPECT_EQ(delivered, 1u);
  EXPECT_NE(
      failed.text.find("TEST_Device_Provider: enumerate instances: no \xEF\xBF\xBD such place"),
      std::string::npos)
      << failed.text;
}

TEST_P(Failures, EveryOperationIsNamed) {
  constexpr auto kRefuse = [](auto&&...) -> sint32 { throw std::runtime_error("cause"); };
  auto& devices = hooks<TEST_Device>();
  devices.get_instance = kRefuse;
  devices.enum_instances = kRefuse;
  devices.create_instance = kRefuse;
  devices.delete_instance = kRefuse;
  devices.modify_instance = kRefuse;
  method_hooks().check = kRefuse;
  auto& links = hooks<TEST_Link>();
  links.enum_associators = kRefuse;
  links.enum_associator_names = kRefuse;
  links.enum_references = kRefuse;

  const auto path = device_path("sda", 1);
  broker::Instance instance(path);
  instance.set("Name", "sda");
  instance.set("Number", std::uint16_t{1});
  const std::pair<const char*, std::function<void()>> operations[] = {
      {"Device_Provider: enumerate instance names",
       [&] { manager().enumerate_instance_names("TEST_Device"); }},
      {"Device_Provider: enumerate instances",
       [&] { manager().enumerate_instances("TEST_Device"); }},
      {"Device_Provider: get instance", [&] { manager().get_instance(path); }},
      {"Device_Provider: create instance", [&] { manager().create_instance(instance); }},
      {"Device_Provider: modify instance", [&] { manager().modify_instance(instance); }},
      {"Device_Provider: delete instance", [&] { manager().delete_instance(path); }},
      {"Device_Provider: invoke method", [&] { manager().invoke_method(path, "Check"); }},
      {"Link_Provider: associators", [&] { manager().associators(path); }},
      {"Link_Provider: associator names", [&] { manager().associator_names(path); }},
      {"Link_Provider: references", [&] { manager().references(path); }},
      {"Link_Provider: reference names", [&] { manager().reference_names(path); }}};
  for (const auto& [name, operation] : operations) {
    const auto failed = failure_of(operation);
    EXPECT_EQ(failed.status, Status::Failed) << name;
    EXPECT_NE(failed.text.find(std::string(name) + ": cause"), std::string::npos) << failed.text;
  }
}

TEST_P(Failures, AnExceptionOfNoKnownKindIsContainedToo) {
  method_hooks().check = [](const TEST_Device*, Property<boolean>&) -> sint32 { throw 42; };
  const auto failed = failure_of([&] { manager().invoke_method(device_path("sda", 1), "Check"); });
  EXPECT_EQ(failed.status, Status::Failed);
  EXPECT_NE(failed.text.find("TEST_Device_Provider: invoke method"), std::string::npos);
  // The provider still answers.
  method_hooks().check = [](const TEST_Device*, Property<boolean>& value) {
    value = false;
    return OK;
  };
  EXPECT_EQ(manager().invoke_method(device_path("sda", 1), "Check").return_value,
            broker::Value(false));
}

// Instances are handed over as they come. Object managers drop them when a failure follows.
TEST_P(Failures, AFailedEnumerationEndsWithItsStatus) {
  hooks<TEST_Device>().enum_instances = [](const TEST_Device*, EnumHandler<TEST_Device>* handler) {
    handler->handle(device("sda", 1));
    return sint32{5};
  };
  std::size_t delivered = 0;
  const auto failed = failure_of([&] {
    manager().enumerate_instances(broker::ObjectPath("root/cimv2", "TEST_Device"),
                                  [&](const broker::Instance&) { ++delivered; });
  });
  EXPECT_EQ(failed.status, Status::Failed);
  EXPECT_EQ(delivered, 1u);
  EXPECT_NE(failed.text.find('5'), std::string::npos);
}

TEST_P(Failures, AProviderThatCannotStartGivesNoInterface) {
  const int alive = hooks<TEST_Device>().alive;
  hooks<TEST_Device>().construct = [] { throw std::runtime_error("no"); };
  EXPECT_NE(failure_of([&] { manager().enumerate_instances("TEST_Device"); }).status, Status::Ok);
  hooks<TEST_Device>().construct = {};
  hooks<TEST_Device>().load = [] { return sint32{1}; };
  EXPECT_NE(failure_of([&] { manager().enumerate_instances("TEST_Device"); }).status, Status::Ok);
  EXPECT_EQ(hooks<TEST_Device>().alive, alive);
  // The next request tries it again.
  hooks<TEST_Device>().load = {};
  EXPECT_TRUE(manager().enumerate_instances("TEST_Device").empty());
}

}  // namespace
}  // namespace ovk_cimple

#include "tests/adapter/adapter_test.h"

namespace ovk_cimple {

namespace {

broker::RegistrationEntry entry(const char* class_name, const char* provider, bool association,
                                bool method) {
  broker::RegistrationEntry result;
  result.class_name = class_name;
  result.provider = provider;
  result.location = "adapter_test_module";
  result.instance = true;
  result.association = association;
  result.method = method;
  result.name_spaces = {"root/cimv2"};
  return result;
}

std::unique_ptr<broker::ObjectManager> start(const Habit& habit) {
  broker::Options options;
  options.registration = {
      entry("TEST_Device", "TEST_Device_Provider", false, true),
      entry("TEST_Special", "TEST_Device_Provider", false, true),
      entry("TEST_Owner", "TEST_Owner_Provider", false, false),
      entry("TEST_Link", "TEST_Link_Provider", true, false),
  };
  options.library_folders = {std::filesystem::read_symlink("/proc/self/exe").parent_path()};
  options.adjust_tables = habit.adjust;
  return std::make_unique<broker::ObjectManager>(broker::generated_schema(), std::move(options));
}

}  // namespace

AdapterTest::AdapterTest() : alive_before_(hooks<TEST_Device>().alive) {
  clear_hooks();
  restart(GetParam());
}

AdapterTest::~AdapterTest() {
  manager_.reset();
  EXPECT_EQ(hooks<TEST_Device>().alive, alive_before_);
  clear_hooks();
}

void AdapterTest::restart(const Habit& habit) {
  manager_.reset();
  manager_ = start(habit);
}

broker::ObjectPath AdapterTest::device_path(const char* name, int number, const char* class_name) {
  broker::ObjectPath path("root/cimv2", class_name);
  path.set_key("Name", name);
  path.set_key("Number", static_cast<std::uint16_t>(number));
  return path;
}

broker::ObjectPath AdapterTest::owner_path(const char* name) {
  broker::ObjectPath path("root/cimv2", "TEST_Owner");
  path.set_key("Name", name);
  path.set_key("Number", std::uint16_t{0});
  return path;
}

void AdapterTest::publish(std::vector<Ref<TEST_Device>> devices) {
  hooks<TEST_Device>().enum_instances = [devices](const TEST_Device*,
                                                  EnumHandler<TEST_Device>* handler) {
    for (const auto& device : devices) handler->handle(device);
    return OK;
  };
}

Ref<TEST_Device> AdapterTest::device(const char* name, int number) {
  auto result = make<TEST_Device>();
  result->Name = name;
  result->Number = static_cast<uint16>(number);
  return result;
}

Ref<TEST_Owner> AdapterTest::owner(const char* name) {
  auto result = make<TEST_Owner>();
  result->Name = name;
  result->Number = 0;
  return result;
}

Ref<TEST_Link> AdapterTest::link(Ref<TEST_Device> device, Ref<TEST_Owner> owner) {
  auto result = make<TEST_Link>();
  result->Device = device;
  result->Owner = owner;
  return result;
}

}  // namespace ovk_cimple

#include <gmock/gmock.h>

#include <limits>
#include <set>

#include "platform/framework/cimom.h"

#include "tests/adapter/adapter_test.h"

namespace ovk_cimple {
namespace {

using broker::Status;
using broker::Value;

class Instances : public AdapterTest {};
INSTANTIATE_TEST_SUITE_P(Habits, Instances, testing::ValuesIn(all_habits()),
                         [](const auto& info) { return info.param.name; });

// For tests that look at every property of an answer.
class ExactInstances : public AdapterTest {};
INSTANTIATE_TEST_SUITE_P(Habits, ExactInstances, testing::Values(standard(), old_versions()),
                         [](const auto& info) { return info.param.name; });

Ref<TEST_Device> full_device() {
  auto device = make<TEST_Device>();
  device->Name = "sda";
  device->Number = 65535;
  device->Flag = true;
  device->Letter = u'x';
  device->R32 = 0.5f;
  device->R64 = -0.25;
  device->U8 = 255;
  device->U32 = 4294967295u;
  device->U64 = std::numeric_limits<uint64>::max();
  device->S8 = -128;
  device->S16 = -32768;
  device->S32 = std::numeric_limits<sint32>::min();
  device->S64 = std::numeric_limits<sint64>::min();
  device->Since = *Datetime::parse("20240131120000.000000+060");
  device->Text = "caf\xC3\xA9";
  device->Count = 8;
  device->Flags = Array<boolean>{true, false};
  device->Numbers = Array<uint16>{1, 65535};
  device->Texts = Array<String>{"a", ""};
  device->Times = Array<Datetime>{Datetime(0), Datetime(1)};
  device->Reals = Array<real64>{};
  return device;
}

TEST_P(Instances, EveryTypeReachesTheClient) {
  publish({full_device()});
  const auto instances = manager().enumerate_instances("TEST_Device");
  ASSERT_EQ(instances.size(), 1u);
  const broker::Instance& instance = instances[0];
  EXPECT_EQ(instance.path, device_path("sda", 65535));
  const std::pair<const char*, Value> expected[] = {
      {"Name", "sda"},
      {"Number", std::uint16_t{65535}},
      {"Flag", true},
      {"Letter", u'x'},
      {"R32", 0.5f},
      {"R64", -0.25},
      {"U8", std::uint8_t{255}},
      {"U32", std::uint32_t{4294967295u}},
      {"U64", std::numeric_limits<std::uint64_t>::max()},
      {"S8", std::int8_t{-128}},
      {"S16", std::int16_t{-32768}},
      {"S32", std::numeric_limits<std::int32_t>::min()},
      {"S64", std::numeric_limits<std::int64_t>::min()},
      {"Since", Value::datetime("20240131120000.000000+060")},
      {"Text", "caf\xC3\xA9"},
      {"Count", std::uint32_t{8}},
      {"Flags", Value::array(broker::Type::Boolean, {true, false})},
      {"Numbers", Value::array(broker::Type::Uint16, {std::uint16_t{1}, std::uint16_t{65535}})},
      {"Texts", Value::array(broker::Type::String, {"a", ""})},
      {"Times",
       Value::array(broker::Type::Datetime, {Value::datetime("00000000000000.000000:000"),
                                             Value::datetime("00000000000000.000001:000")})},
      {"Reals", Value::array(broker::Type::Real64, {})},
  };
  for (const auto& [name, value] : expected) {
    ASSERT_TRUE(instance.property(name)) << name;
    EXPECT_EQ(*instance.property(name), value) << name;
  }
}

TEST_P(Instances, NullPropertiesAreSetAsNull) {
  publish({device("sda", 1)});
  const auto instances = manager().enumerate_instances("TEST_Device");
  ASSERT_EQ(instances.size(), 1u);
  for (const char* name : {"Count", "U32", "Text", "Numbers", "Texts", "Since", "Flag"}) {
    ASSERT_TRUE(instances[0].property(name)) << name;
    EXPECT_TRUE(instances[0].property(name)->is_null()) << name;
  }
}

TEST_P(ExactInstances, ThePropertyListAndTheKeysAreAllThatLeaves) {
  auto published = device("sda", 1);
  published->Text = "text";
  published->U8 = 1;
  publish({published});
  broker::Request request;
  request.properties = {"text", "Since", "Unknown"};
  // The instance as it leaves the adapter. The object manager applies the list once more.
  static std::set<std::string> delivered;
  Habit habit = GetParam();
  habit.adjust = [adjust = habit.adjust](broker::Tables& tables) {
    if (adjust) adjust(tables);
    static decltype(tables.result.returnInstance) return_instance;
    return_instance = tables.result.returnInstance;
    tables.result.returnInstance = [](const CMPIResult* result, const CMPIInstance* instance) {
      delivered.clear();
      CMPIStatus status{};
      const CMPICount count = instance->ft->getPropertyCount(instance, &status);
      for (CMPICount index = 0; index < count; ++index) {
        CMPIString* name = nullptr;
        instance->ft->getPropertyAt(instance, index, &name, &status);
        delivered.insert(name->ft->getCharPtr(name, &status));
      }
      return return_instance(result, instance);
    };
  };
  restart(habit);
  const auto path = device_path("sda", 1);
  const auto instance = manager().get_instance(path, request);
  EXPECT_EQ(instance.path, path);
  EXPECT_EQ(instance.text("Text"), "text");
  EXPECT_THAT(delivered, testing::UnorderedElementsAre("Name", "Number", "Text", "Since"));
}

TEST_P(Instances, AnObjectManagerMayKnowAnOlderClass) {
  Habit habit = GetParam();
  habit.adjust = [adjust = habit.adjust](broker::Tables& tables) {
    if (adjust) adjust(tables);
    static const auto set_property = tables.instance.setProperty;
    tables.instance.setProperty = [](const CMPIInstance* instance, const char* name,
                                     const CMPIValue* value, CMPIType type) {
      if (same_name(name, "U8")) return CMPIStatus{CMPI_RC_ERR_NO_SUCH_PROPERTY, nullptr};
      return set_property(instance, name, value, type);
    };
  };
  restart(habit);
  auto published = device("sda", 1);
  published->U8 = 1;
  published->Text = "text";
  publish({published});
  EXPECT_EQ(manager().get_instance(device_path("sda", 1)).text("Text"), "text");
}

TEST_P(Instances, NamesComeFromTheEnumeration) {
  publish({device("sda", 1), device("sdb", 2)});
  const auto names = manager().enumerate_instance_names("TEST_Device");
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(names[0], device_path("sda", 1));
  EXPECT_EQ(names[1], device_path("sdb", 2));
}

TEST_P(Instances, SubclassesAreToldApart) {
  auto special = make<TEST_Special>();
  special->Name = "special";
  special->Number = 3;
  special->Extra = "extra";
  hooks<TEST_Device>().enum_instances = [&](const TEST_Device*, EnumHandler<TEST_Device>* handler) {
    handler->handle(device("sda", 1));
    handler->handle(Ref<TEST_Device>(special));
    return OK;
  };
  const auto specials = manager().enumerate_instances("TEST_Special");
  ASSERT_EQ(specials.size(), 1u);
  EXPECT_EQ(specials[0].text("Extra"), "extra");
  EXPECT_EQ(specials[0].class_name(), "TEST_Special");
}

TEST_P(Instances, GetComparesTheKeysOfTheEnumeration) {
  publish({device("sda", 1), device("sdb", 2), full_device()});
  EXPECT_EQ(manager().get_instance(device_path("sdb", 2)).path, device_path("sdb", 2));
  EXPECT_EQ(manager().get_instance(device_path("sda", 65535)).text("Text"), "caf\xC3\xA9");
  EXPECT_EQ(failure_of([&] { manager().get_instance(device_path("sdb", 1)); }).status,
            Status::NotFound);
}

// This holds even if the object manager hands over the empty string as null.
TEST_P(Instances, AKeyThatIsEmptyIsPresent) {
  publish({device("", 1), device("sdb", 2)});
  const auto names = manager().enumerate_instance_names("TEST_Device");
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(names[0], device_path("", 1));
  EXPECT_EQ(manager().get_instance(names[0]).path, names[0]);
  EXPECT_EQ(failure_of([&] { manager().get_instance(device_path("", 2)); }).status,
            Status::NotFound);
}

TEST_P(Instances, AKeyThatIsMissingIsNotEmpty) {
  restart(combined(GetParam(), [](broker::Tables& tables) {
    tables.object_path.getKey = [](const CMPIObjectPath*, const char* name, CMPIStatus* rc) {
      CMPIData data{CMPI_string, CMPI_nullValue, {}};
      *rc = {same_name(name, "Name") ? CMPI_RC_ERR_NOT_FOUND : CMPI_RC_OK, nullptr};
      if (same_name(name, "Number")) data = {CMPI_uint16, CMPI_goodValue, {.uint16 = 1}};
      return data;
    };
  }));
  publish({device("", 1)});
  EXPECT_EQ(failure_of([&] { manager().get_instance(device_path("", 1)); }).status,
            Status::NotFound);
}

TEST_P(Instances, ACleanedKeyStillFindsItsInstance) {
  publish({device("bad\xFF\x01", 1)});
  const auto names = manager().enumerate_instance_names("TEST_Device");
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(names[0].key("Name")->as_text(), "bad\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(manager().get_instance(names[0]).path, names[0]);
}

TEST_P(Instances, GetGivesTheProviderItsKeys) {
  hooks<TEST_Device>().get_instance = [](const TEST_Device* model, TEST_Device*& instance) {
    if (model->Number.value() != 5) return GetInstanceNotFound;
    EXPECT_EQ(model->Name.value(), "sda");
    EXPECT_TRUE(model->Text.null());
    auto found = device(model->Name.value().c_str(), model->Number.value());
    found->Text = "found";
    instance = found.release();
    return OK;
  };
  EXPECT_EQ(manager().get_instance(device_path("sda", 5)).text("Text"), "found");
  EXPECT_EQ(failure_of([&] { manager().get_instance(device_path("sda", 6)); }).status,
            Status::NotFound);
  EXPECT_EQ(hooks<TEST_Device>().enumerations, 0);
}

TEST_P(Instances, GetWithSuccessButWithoutInstanceIsNotFound) {
  hooks<TEST_Device>().get_instance = [](const TEST_Device*, TEST_Device*&) { return OK; };
  EXPECT_EQ(failure_of([&] { manager().get_instance(device_path("sda", 5)); }).status,
            Status::NotFound);
}

TEST_P(Instances, HostileTextLeavesClean) {
  auto published = device("sda", 1);
  published->Text = String("a\0b\x1B[31m\x80\xED\xA0\x80", 12);
  published->Texts = Array<String>{"\xFF", "ok"};
  published->Letter = 0xD800;
  publish({published});
  const auto instances = manager().enumerate_instances("TEST_Device");
  ASSERT_EQ(instances.size(), 1u);
  const std::string bad = "\xEF\xBF\xBD";
  EXPECT_EQ(instances[0].text("Text"), "a" + bad + "b" + bad + "[31m" + bad + bad + bad + bad);
  EXPECT_EQ(instances[0].property("Texts")->elements()[0].as_text(), bad);
  EXPECT_EQ(*instances[0].property("Letter"), Value(u'\xFFFD'));
}

TEST_P(Instances, AKeyThatIsNullIsLeftOutOfThePath) {
  auto published = make<TEST_Device>();
  published->Name = "no number";
  publish({published});
  const auto failed = failure_of([&] { manager().enumerate_instances("TEST_Device"); });
  // The object manager may take such an instance or refuse it. Nothing worse happens.
  EXPECT_TRUE(failed.status == Status::Ok || failed.status == Status::Failed) << failed.text;
}

TEST_P(Instances, AReferenceKeepsTheNameSpaceOfItsInstance) {
  hooks<TEST_Link>().enum_instances = [](const TEST_Link*, EnumHandler<TEST_Link>* handler) {
    auto elsewhere = owner("me");
    elsewhere->name_space = "root/elsewhere";
    handler->handle(link(device("sda", 1), elsewhere));
    return OK;
  };
  // This object manager serves one name space, so the test looks at the name space it is asked for.
  static std::vector<std::string> asked;
  asked.clear();
  Habit habit = GetParam();
  habit.adjust = [adjust = habit.adjust](broker::Tables& tables) {
    static decltype(tables.factories.newObjectPath) make_path;
    make_path = tables.factories.newObjectPath;
    tables.factories.newObjectPath = [](const CMPIBroker* mb, const char* name_space,
                                        const char* class_name, CMPIStatus* rc) {
      asked.push_back(std::string(name_space) + ":" + class_name);
      return make_path(mb, "root/cimv2", class_name, rc);
    };
    if (adjust) adjust(tables);
  };
  restart(habit);
  const auto links = manager().enumerate_instances("TEST_Link");
  ASSERT_EQ(links.size(), 1u);
  EXPECT_THAT(asked, testing::Contains("root/elsewhere:TEST_Owner"));
  EXPECT_THAT(asked, testing::Contains("root/cimv2:TEST_Device"));
  EXPECT_EQ(links[0].property("Device")->as_path(), device_path("sda", 1));
}

TEST_P(Instances, CreateModifyAndDeletePassThrough) {
  std::string seen;
  hooks<TEST_Device>().create_instance = [&](const TEST_Device* instance) {
    seen += "create " + instance->Name.value() + " " + instance->Text.value();
    return OK;
  };
  hooks<TEST_Device>().modify_instance = [&](const TEST_Device* model,
                                             const TEST_Device* instance) {
    seen += " modify " + model->Name.value() + " " + instance->Text.value();
    EXPECT_TRUE(instance->U8.null());
    return OK;
  };
  hooks<TEST_Device>().delete_instance = [&](const TEST_Device* instance) {
    seen += " delete " + std::to_string(instance->Number.value());
    return OK;
  };
  broker::Instance instance(device_path("sda", 1));
  instance.set("Name", "sda");
  instance.set("Number", std::uint16_t{1});
  instance.set("Text", "new");
  instance.set("U8", std::uint8_t{8});
  EXPECT_EQ(manager().create_instance(instance), device_path("sda", 1));
  broker::Request request;
  request.properties = {"Text"};
  manager().modify_instance(instance, request);
  manager().delete_instance(device_path("sda", 1));
  EXPECT_EQ(seen, "create sda new modify sda new delete 1");
}

TEST_P(Instances, WhatAClientDidNotSendArrivesAsNull) {
  int asked = 0;
  hooks<TEST_Device>().create_instance = [&](const TEST_Device* instance) {
    ++asked;
    EXPECT_EQ(instance->Text.value(), "new");
    EXPECT_TRUE(instance->Flag.null() && instance->U64.null() && instance->Since.null());
    EXPECT_TRUE(instance->Texts.null() && instance->Reals.null());
    return OK;
  };
  broker::Instance instance(device_path("sda", 1));
  instance.set("Text", "new");
  manager().create_instance(instance);
  EXPECT_EQ(asked, 1);
}

TEST_P(Instances, UpCallsReachOtherProviders) {
  hooks<TEST_Owner>().enum_instances = [](const TEST_Owner*, EnumHandler<TEST_Owner>* handler) {
    for (const char* name : {"one", "two"}) {
      auto instance = owner(name);
      instance->Title = String("title of ") + name;
      handler->handle(instance);
    }
    return OK;
  };
  std::string seen;
  hooks<TEST_Device>().enum_instances = [&](const TEST_Device*, EnumHandler<TEST_Device>*) {
    seen.clear();
    Instance_Enumerator enumerator;
    EXPECT_EQ(cimom::enum_instances("root/cimv2", *make<TEST_Owner>(), enumerator), 0);
    while (auto instance = enumerator.next()) {
      EXPECT_EQ(instance->name_space, "root/cimv2");
      seen += cast<TEST_Owner>(instance.get())->Title.value() + ";";
    }
    return OK;
  };
  manager().enumerate_instances("TEST_Device");
  EXPECT_EQ(seen, "title of one;title of two;");
  Instance_Enumerator outside;
  EXPECT_EQ(cimom::enum_instances("root/cimv2", *make<TEST_Owner>(), outside), -1);
}

TEST_P(Instances, AFailingUpCallIsAStatusOfTheProvider) {
  hooks<TEST_Owner>().enum_instances = [](const TEST_Owner*, EnumHandler<TEST_Owner>*) {
    return sint32{5};
  };
  sint32 status = 0;
  hooks<TEST_Device>().enum_instances = [&](const TEST_Device*, EnumHandler<TEST_Device>*) {
    Instance_Enumerator enumerator;
    status = cimom::enum_instances("root/cimv2", *make<TEST_Owner>(), enumerator);
    return OK;
  };
  EXPECT_TRUE(manager().enumerate_instances("TEST_Device").empty());
  EXPECT_EQ(status, CMPI_RC_ERR_FAILED);
}

}  // namespace
}  // namespace ovk_cimple

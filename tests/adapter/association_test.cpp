#include "tests/adapter/adapter_test.h"

namespace ovk_cimple {
namespace {

using broker::Status;

class Associations : public AdapterTest {
 protected:
  // sda - me (strong, with a title), sda - you, sdb - me, sdb - you
  static void publish_links() {
    hooks<TEST_Link>().enum_instances = [](const TEST_Link*, EnumHandler<TEST_Link>* handler) {
      auto me = owner("me");
      me->Title = "Boss";
      auto strong = make<TEST_StrongLink>();
      strong->Device = device("sda", 1);
      strong->Owner = me;
      strong->Weight = 3;
      handler->handle(Ref<TEST_Link>(strong));
      handler->handle(link(device("sda", 1), owner("you")));
      handler->handle(link(device("sdb", 2), owner("me")));
      handler->handle(link(device("sdb", 2), owner("you")));
      return OK;
    };
  }
  // Owners by get-instance; "you" has a title.
  static void publish_owners() {
    hooks<TEST_Owner>().get_instance = [](const TEST_Owner* model, TEST_Owner*& instance) {
      if (model->Name.value() != "you") return GetInstanceNotFound;
      auto found = owner("you");
      found->Title = "by up-call";
      instance = found.release();
      return OK;
    };
  }
};
INSTANTIATE_TEST_SUITE_P(Habits, Associations, testing::ValuesIn(all_habits()),
                         [](const auto& info) { return info.param.name; });

TEST_P(Associations, TheEnumerationAnswersUnsupportedQueries) {
  publish_links();
  publish_owners();
  EXPECT_EQ(manager().reference_names(device_path("sda", 1)).size(), 2u);
  const auto references = manager().references(device_path("sda", 1));
  ASSERT_EQ(references.size(), 2u);
  EXPECT_EQ(references[0].class_name(), "TEST_StrongLink");
  EXPECT_EQ(references[0].property("Owner")->as_path(), owner_path("me"));
  EXPECT_EQ(references[0].property("Device")->as_path(), device_path("sda", 1));
  EXPECT_EQ(references[0].text("Weight"), "3");

  const auto names = manager().associator_names(device_path("sda", 1));
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(names[0], owner_path("me"));
  EXPECT_EQ(names[1], owner_path("you"));
  EXPECT_EQ(manager().associator_names(owner_path("me")).size(), 2u);
  EXPECT_TRUE(manager().associator_names(device_path("sdc", 1)).empty());
}

TEST_P(Associations, WhatAnUnsupportedQueryHasDeliveredIsDropped) {
  publish_links();
  hooks<TEST_Link>().enum_references = [](const Instance*, const TEST_Link*, const char*,
                                          EnumHandler<TEST_Link>* handler) -> sint32 {
    handler->handle(link(device("sda", 1), owner("nobody")));
    return EnumReferencesUnsupported;
  };
  EXPECT_EQ(manager().references(device_path("sda", 1)).size(), 2u);
}

TEST_P(Associations, TheOtherEndComesFromTheReferenceOrByUpCall) {
  publish_links();
  publish_owners();
  const auto owners = manager().associators(device_path("sda", 1));
  ASSERT_EQ(owners.size(), 2u);
  EXPECT_EQ(owners[0].text("Title"), "Boss");
  EXPECT_EQ(owners[1].text("Title"), "by up-call");
  // One owner of sdb is known by name only: the reference leads to no instance.
  EXPECT_EQ(manager().associators(device_path("sdb", 2)).size(), 1u);
}

TEST_P(Associations, EndsWithEmptyKeysAreFollowed) {
  hooks<TEST_Link>().enum_instances = [](const TEST_Link*, EnumHandler<TEST_Link>* handler) {
    handler->handle(link(device("", 1), owner("")));
    return OK;
  };
  hooks<TEST_Owner>().get_instance = [](const TEST_Owner* model, TEST_Owner*& instance) {
    EXPECT_FALSE(model->Name.null());
    auto found = owner(model->Name.value().c_str());
    found->Title = "nameless";
    instance = found.release();
    return OK;
  };
  const auto path = device_path("", 1);
  EXPECT_EQ(manager().references(path).size(), 1u);
  EXPECT_EQ(manager().reference_names(path).size(), 1u);
  EXPECT_EQ(manager().associator_names(path), std::vector{owner_path("")});
  const auto owners = manager().associators(path);
  ASSERT_EQ(owners.size(), 1u);
  EXPECT_EQ(owners[0].text("Title"), "nameless");
}

TEST_P(Associations, FiltersAreHonoured) {
  publish_links();
  publish_owners();
  const auto path = device_path("sda", 1);
  const auto count = [&](broker::AssociationFilter filter) {
    return manager().associator_names(path, filter).size();
  };
  EXPECT_EQ(count({"TEST_Link", "", "", ""}), 2u);
  EXPECT_EQ(count({"", "TEST_Element", "", ""}), 2u);
  EXPECT_EQ(count({"", "TEST_Owner", "device", "OWNER"}), 2u);
  EXPECT_EQ(count({"", "TEST_Device", "", ""}), 0u);
  EXPECT_EQ(count({"", "", "Owner", ""}), 0u);
  EXPECT_EQ(count({"", "", "", "Device"}), 0u);
  EXPECT_EQ(manager().reference_names(path, {"", "test_link", "", ""}).size(), 2u);
  EXPECT_EQ(manager().reference_names(path, {"", "", "Owner", ""}).size(), 0u);
}

TEST_P(Associations, WhatCannotMatchIsNotEnumerated) {
  publish_links();
  const auto path = device_path("sda", 1);
  manager().associator_names(path, {"", "", "Device", "Device"});
  manager().associator_names(path, {"", "", "", "Nothing"});
  manager().associator_names(owner_path("me"), {"", "", "Device", ""});
  manager().reference_names(path, {"", "", "Nothing", ""});
  EXPECT_EQ(hooks<TEST_Link>().enumerations, 0);
  manager().associator_names(path);
  EXPECT_EQ(hooks<TEST_Link>().enumerations, 1);
}

// Some object managers ask every association provider about every object.
TEST_P(Associations, ASourceThatCanBeNoEndIsNotEnumerated) {
  publish_links();
  static const char* source_class;
  Habit habit = GetParam();
  habit.adjust = [adjust = habit.adjust](broker::Tables& tables) {
    if (adjust) adjust(tables);
    static const CMPIBroker* broker;
    static const auto make_string = tables.factories.newString;
    broker = &tables.broker;
    tables.object_path.getClassName = [](const CMPIObjectPath*, CMPIStatus* rc) {
      return make_string(broker, source_class, rc);
    };
  };
  restart(habit);
  for (const char* name : {"TEST_Link", "Unknown"}) {
    source_class = name;
    EXPECT_TRUE(manager().associator_names(device_path("sda", 1)).empty());
    EXPECT_TRUE(manager().references(device_path("sda", 1)).empty());
  }
  EXPECT_EQ(hooks<TEST_Link>().enumerations, 0);
  source_class = "test_device";
  EXPECT_EQ(manager().associator_names(device_path("sda", 1)).size(), 2u);
}

TEST_P(Associations, AProviderThatAnswersItselfIsAskedAndChecked) {
  hooks<TEST_Link>().enum_associator_names = [](const Instance* source, const char* result_class,
                                                const char* role, const char* result_role,
                                                EnumHandler<>* handler) {
    EXPECT_EQ(cast<TEST_Device>(source)->Number.value(), 1);
    EXPECT_STREQ(role, "Device");
    EXPECT_EQ(result_role, nullptr);
    EXPECT_STREQ(result_class, "TEST_Owner");
    handler->handle(owner("me"));
    handler->handle(device("no owner", 1));
    return OK;
  };
  hooks<TEST_Link>().enum_references = [](const Instance* source, const TEST_Link* model,
                                          const char* role, EnumHandler<TEST_Link>* handler) {
    EXPECT_TRUE(source && model);
    EXPECT_EQ(role, nullptr);
    handler->handle(link(device("sda", 1), owner("me")));
    return OK;
  };
  const auto names =
      manager().associator_names(device_path("sda", 1), {"", "TEST_Owner", "Device", ""});
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(names[0], owner_path("me"));
  EXPECT_EQ(manager().reference_names(device_path("sda", 1)).size(), 1u);
  EXPECT_TRUE(
      manager().reference_names(device_path("sda", 1), {"", "TEST_StrongLink", "", ""}).empty());
  EXPECT_EQ(hooks<TEST_Link>().enumerations, 0);
}

TEST_P(Associations, AFailingUpCallFailsTheQuery) {
  publish_links();
  hooks<TEST_Owner>().get_instance = [](const TEST_Owner*, TEST_Owner*&) { return sint32{5}; };
  const auto failed = failure_of([&] { manager().associators(device_path("sda", 1)); });
  EXPECT_EQ(failed.status, Status::Failed);
  EXPECT_NE(failed.text.find("TEST_Link_Provider: associators"), std::string::npos) << failed.text;
}

}  // namespace
}  // namespace ovk_cimple

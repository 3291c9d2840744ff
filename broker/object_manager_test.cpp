// Operations against the provider library test_provider.
#include "broker/object_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>
#include <stdexcept>

#include "broker/test_classes.h"

namespace broker {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class ObjectManagerTest : public testing::Test {
 protected:
  ObjectManagerTest() : manager_(test_schema(), options()) {}

  Options options() {
    Options result = test_options();
    result.log = [this](int, const std::string& text) {
      const std::lock_guard lock(mutex_);
      lines_.push_back(text);
    };
    return result;
  }

  static ObjectPath widget(const char* name) {
    return ObjectPath({}, "TEST_Widget", {{"Name", Value(name)}});
  }

  template <class Call>
  static void expect_error(Status status, const char* text, Call call) {
    try {
      call();
      ADD_FAILURE() << "no error, wanted " << text;
    } catch (const Error& error) {
      EXPECT_EQ(error.status(), status) << error.what();
      EXPECT_THAT(error.description(), HasSubstr(text));
    }
  }

  std::string do_it(const char* what, const Request& request = {}) {
    const MethodResult result =
        manager_.invoke_method(widget("one"), "Do", {{"What", Value(what)}}, request);
    return result.find("Report")->as_text();
  }

  std::mutex mutex_;
  std::vector<std::string> lines_;
  ObjectManager manager_;
};

TEST_F(ObjectManagerTest, EnumerationAsksTheProvidersOfSubclassesToo) {
  const std::vector<Instance> found = manager_.enumerate_instances("test_base");
  ASSERT_EQ(found.size(), 4u);
  EXPECT_EQ(found[0].path.to_text(), "root/cimv2:TEST_Widget.Name=\"one\"");
  EXPECT_EQ(found[3].class_name(), "TEST_Gadget");
  EXPECT_EQ(found[3].text("Extra"), "more");
  EXPECT_EQ(manager_.enumerate_instance_names("TEST_Base").size(), 4u);
  EXPECT_EQ(manager_.enumerate_instances("TEST_Gadget").size(), 2u);
}

TEST_F(ObjectManagerTest, ValuesOfEveryTypeArrive) {
  const Instance one = manager_.get_instance(widget("one"));
  EXPECT_EQ(*one.property("Flag"), Value(true));
  EXPECT_EQ(*one.property("Letter"), Value(u'\u20AC'));
  EXPECT_EQ(*one.property("R32"), Value(0.5f));
  EXPECT_EQ(*one.property("R64"), Value(-0.25));
  EXPECT_EQ(*one.property("U8"), Value(std::uint8_t{255}));
  EXPECT_EQ(*one.property("U16"), Value(std::uint16_t{65535}));
  EXPECT_EQ(*one.property("U32"), Value(4294967295u));
  EXPECT_EQ(*one.property("U64"), Value(~std::uint64_t{0}));
  EXPECT_EQ(*one.property("S8"), Value(std::int8_t{-128}));
  EXPECT_EQ(*one.property("S16"), Value(std::int16_t{-32768}));
  EXPECT_EQ(*one.property("S32"), Value(std::int32_t{-2147483647}));
  EXPECT_EQ(*one.property("S64"), Value(std::int64_t{-9223372036854775807}));
  EXPECT_EQ(*one.property("When"), Value::datetime("20240131120000.000000+060"));
  EXPECT_EQ(*one.property("Texts"),
            Value::array(Type::String, {Value("a,b"), Value::null(Type::String), Value("")}));
  EXPECT_EQ(*one.property("Numbers"), Value::null(Type::Uint16, true));
  EXPECT_EQ(one.property("Inner")->as_instance().path, widget("inner"));
  EXPECT_EQ(*one.property("Inner")->as_instance().property("U8"), Value(std::uint8_t{1}));
  EXPECT_EQ(one.property("Friend")->as_path(), widget("friend"));
}

TEST_F(ObjectManagerTest, PropertyListsAndShallowInheritanceLeavePropertiesOut) {
  Request request;
  request.properties = {"u8", "None", "EXTRA"};
  std::vector<Instance> found = manager_.enumerate_instances("TEST_Gadget", request);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].properties.size(), 2u);
  EXPECT_EQ(found[0].path.keys.size(), 1u);
  request.properties->clear();
  EXPECT_TRUE(manager_.enumerate_instances("TEST_Gadget", request)[0].properties.empty());
  request.properties.reset();
  request.deep_inheritance = false;
  found = manager_.enumerate_instances("TEST_Widget", request);
  ASSERT_EQ(found.size(), 4u);
  EXPECT_EQ(found[3].class_name(), "TEST_Gadget");
  EXPECT_EQ(found[3].property("Extra"), nullptr);
  EXPECT_NE(found[3].property("U8"), nullptr);
}

TEST_F(ObjectManagerTest, WrongNameSpacesClassesAndKeysAreRefused) {
  expect_error(Status::InvalidNamespace, "root/other", [&] {
    manager_.get_instance(ObjectPath("root/other", "TEST_Widget", {{"Name", Value("one")}}));
  });
  expect_error(Status::InvalidClass, "TEST_None",
               [&] { manager_.enumerate_instances("TEST_None"); });
  expect_error(Status::InvalidParameter, "no keys",
               [&] { manager_.get_instance(ObjectPath({}, "TEST_Widget")); });
  expect_error(Status::InvalidParameter, "no key Caption", [&] {
    manager_.get_instance(ObjectPath({}, "TEST_Widget", {{"Caption", Value("one")}}));
  });
  expect_error(Status::InvalidParameter, "key Name", [&] {
    manager_.get_instance(ObjectPath({}, "TEST_Widget", {{"Name", Value(std::uint64_t{1})}}));
  });
}

TEST_F(ObjectManagerTest, AClassWithoutProviderHasNoInstancesAndSupportsNothing) {
  EXPECT_TRUE(manager_.enumerate_instances("TEST_Plain").empty());
  const ObjectPath plain({}, "TEST_Plain", {{"Name", Value("x")}});
  expect_error(Status::NotFound, "TEST_Plain", [&] { manager_.get_instance(plain); });
  expect_error(Status::NotSupported, "TEST_Plain", [&] { manager_.delete_instance(plain); });
  expect_error(Status::NotSupported, "TEST_Plain",
               [&] { manager_.create_instance(Instance(plain)); });
  expect_error(Status::NotSupported, "TEST_Plain",
               [&] { manager_.modify_instance(Instance(plain)); });
}

TEST_F(ObjectManagerTest, ErrorsOfProvidersKeepCodeAndText) {
  expect_error(Status::Failed, "broken on purpose",
               [&] { manager_.get_instance(widget("failing")); });
  expect_error(Status::AccessDenied, "provider Widget answered CIM_ERR_ACCESS_DENIED",
               [&] { manager_.get_instance(widget("wordless")); });
  expect_error(static_cast<Status>(200), "two hundred",
               [&] { manager_.get_instance(widget("strange")); });
  expect_error(Status::Failed, "extended text",
               [&] { manager_.get_instance(widget("explained")); });
  expect_error(Status::NotFound, "Widget", [&] { manager_.get_instance(widget("none")); });
}

TEST_F(ObjectManagerTest, GetInstanceThatDeliversNothingIsNotFound) {
  expect_error(Status::NotFound, "silent", [&] { manager_.get_instance(widget("silent")); });
}

TEST_F(ObjectManagerTest, AnInstanceOfAnotherClassOrASecondOneIsRefused) {
  expect_error(Status::NotFound, "foreign", [&] { manager_.get_instance(widget("foreign")); });
  EXPECT_THAT(lines_, Contains("Widget: first 61"));
  lines_.clear();
  manager_.get_instance(widget("twice"));
  EXPECT_THAT(lines_, Contains("Widget: first 0"));
  EXPECT_THAT(lines_, Contains("Widget: second 61"));
}

TEST_F(ObjectManagerTest, AnInstanceIsCreatedModifiedAndDeleted) {
  Instance made(widget("made"));
  made.set("u8", Value("12"));
  const ObjectPath path = manager_.create_instance(made);
  EXPECT_EQ(path, widget("made"));
  EXPECT_EQ(manager_.enumerate_instances("TEST_Widget").size(), 5u);
  expect_error(Status::AlreadyExists, "there already", [&] { manager_.create_instance(made); });
  Instance change(path);
  change.set("U16", Value(std::uint64_t{3}));
  Request request;
  request.properties = {"U16"};
  manager_.modify_instance(change, request);
  for (const Instance& instance : manager_.enumerate_instances("TEST_Widget")) {
    if (instance.text("Name") != "made") continue;
    EXPECT_EQ(*instance.property("U8"), Value(std::uint8_t{12}));
    EXPECT_EQ(*instance.property("U16"), Value(std::uint16_t{3}));
  }
  manager_.delete_instance(path);
  expect_error(Status::NotFound, "Widget", [&] { manager_.delete_instance(path); });
}

TEST_F(ObjectManagerTest, InstancesFromOutsideAreCheckedAgainstTheClass) {
  Instance made(widget("bad"));
  made.set("None", Value(true));
  expect_error(Status::InvalidParameter, "None", [&] { manager_.create_instance(made); });
  expect_error(Status::NoSuchProperty, "None", [&] { manager_.modify_instance(made); });
  Instance wide(widget("bad"));
  wide.set("U8", Value(std::uint64_t{256}));
  expect_error(Status::InvalidParameter, "U8", [&] { manager_.create_instance(wide); });
  expect_error(Status::Failed, "no path",
               [&] { manager_.create_instance(Instance(widget("pathless"))); });
}

TEST_F(ObjectManagerTest, MethodsGetTypedArgumentsAndReturnValues) {
  const MethodResult result = manager_.invoke_method(
      widget("one"), "add", {{"a", Value("2")}, {"B", Value(std::uint64_t{40})}});
  EXPECT_EQ(result.return_value, Value(std::uint32_t{0}));
  ASSERT_EQ(result.out.size(), 1u);
  EXPECT_EQ(result.out[0].name.view(), "Sum");
  EXPECT_EQ(result.out[0].value, Value(std::int64_t{42}));
  EXPECT_EQ(*manager_.invoke_method(widget("one"), "Add", {{"A", Value("2")}}).find("Sum"),
            Value(std::int64_t{2}));
}

TEST_F(ObjectManagerTest, ArgumentsOfAllKindsGoInAndComeOut) {
  Instance inner(widget("inner"));
  inner.set("U8", Value("7"));
  const MethodResult result =
      manager_.invoke_method(widget("one"), "Echo",
                             {{"What", Value()},
                              {"List", parse_value(Type::Uint64, true, "1,2")},
                              {"Target", Value("TEST_Gadget.Name=\"g\"")},
                              {"Inner", Value(inner)}});
  EXPECT_EQ(result.return_value, Value(std::uint32_t{4}));
  EXPECT_EQ(*result.find("What"), Value::null(Type::String));
  EXPECT_EQ(*result.find("List"),
            Value::array(Type::Uint16, {Value(std::uint16_t{1}), Value(std::uint16_t{2})}));
  EXPECT_EQ(result.find("Target")->as_path().to_text(), "root/cimv2:TEST_Gadget.Name=\"g\"");
  EXPECT_EQ(*result.find("Inner")->as_instance().property("U8"), Value(std::uint8_t{7}));
  EXPECT_EQ(manager_.invoke_method(widget("one"), "Echo").return_value, Value(std::uint32_t{0}));
}

TEST_F(ObjectManagerTest, MethodsThatCannotBeCalledSayWhy) {
  expect_error(Status::MethodNotFound, "no method None",
               [&] { manager_.invoke_method(widget("one"), "None"); });
  expect_error(Status::MethodNotAvailable, "Widget",
               [&] { manager_.invoke_method(widget("one"), "Missing"); });
  expect_error(Status::InvalidParameter, "no input parameter C", [&] {
    manager_.invoke_method(widget("one"), "Add", {{"C", Value(true)}});
  });
  expect_error(Status::InvalidParameter, "no input parameter Sum", [&] {
    manager_.invoke_method(widget("one"), "Add", {{"Sum", Value("1")}});
  });
  expect_error(Status::InvalidParameter, "given twice", [&] {
    manager_.invoke_method(widget("one"), "Add", {{"A", Value("1")}, {"a", Value("2")}});
  });
  expect_error(Status::InvalidParameter, "parameter A", [&] {
    manager_.invoke_method(widget("one"), "Add", {{"A", Value("x")}});
  });
}

TEST_F(ObjectManagerTest, AMethodWithoutAValueReturnsNull) {
  EXPECT_EQ(manager_.invoke_method(widget("one"), "Text").return_value, Value::null(Type::String));
}

TEST_F(ObjectManagerTest, WrongResultsOfAMethodAreRefused) {
  const MethodResult result =
      manager_.invoke_method(widget("one"), "Do", {{"What", Value("wrong")}});
  // The return value as an instance, as a path, of a narrower type, null, right, and a second one.
  // An unknown output parameter, an input one, and one of a wrong type. The end of the result, a
  // value after the end, and a second end.
  EXPECT_EQ(result.find("Report")->as_text(), "61 61 61 4 0 61 12 12 61 0 60 60 ");
  EXPECT_EQ(result.return_value, Value(std::uint32_t{7}));
}

TEST_F(ObjectManagerTest, ProvidersCallTheManagerBack) {
  EXPECT_EQ(do_it("enumerate"), "4 then 18");
  EXPECT_EQ(do_it("names"), "4 then 18");
  EXPECT_EQ(do_it("filtered"), "4 then 18, 14");
  EXPECT_EQ(do_it("get"), "1 255");
  EXPECT_THAT(do_it("get missing"), HasSubstr("error 6 provider Widget"));
  EXPECT_EQ(do_it("property"), "0 65535");
  EXPECT_EQ(do_it("associators"), "1 then 18, 1 then 18");
  EXPECT_EQ(do_it("method"), "0 0 -3");
}

TEST_F(ObjectManagerTest, AThreadOfAProviderWorksWhileItIsAttached) {
  EXPECT_EQ(do_it("attach"),
            "before 1, attach 0, again 60, found 2 then 18, detach 0, after 1, not mine 60");
}

TEST_F(ObjectManagerTest, TheContextTellsWhoAsks) {
  Request request;
  request.principal = "alice";
  EXPECT_EQ(do_it("principal", request), "alice");
  EXPECT_EQ(do_it("principal"), "");
}

TEST_F(ObjectManagerTest, AssociationsAreFollowedAndFiltersPassedOn) {
  EXPECT_EQ(manager_.associators(widget("one")).size(), 1u);
  EXPECT_THAT(lines_, Contains("Link: associators - - - -"));
  const AssociationFilter filter{"test_link", "TEST_Base", "First", "Second"};
  EXPECT_THAT(manager_.associator_names(widget("one"), filter), ElementsAre(widget("two")));
  EXPECT_THAT(lines_, Contains("Link: associatorNames test_link TEST_Base First Second"));
  const auto links = manager_.references(widget("one"), {"", "TEST_Link", "Second", ""});
  EXPECT_THAT(lines_, Contains("Link: references TEST_Link Second"));
  ASSERT_EQ(links.size(), 1u);
  EXPECT_EQ(links[0].path.key("First")->as_path(), widget("one"));
  EXPECT_EQ(manager_.reference_names(widget("one")).size(), 1u);
  EXPECT_THAT(lines_, Not(Contains(HasSubstr("OtherLink"))));
}

TEST_F(ObjectManagerTest, ProvidersWhoseClassCannotAnswerAreNotAsked) {
  EXPECT_TRUE(manager_.associators(widget("one"), {"TEST_OtherLink", "", "", ""}).empty());
  EXPECT_TRUE(manager_.associators(widget("one"), {"", "", "Third", ""}).empty());
  EXPECT_TRUE(manager_.associators(widget("one"), {"", "", "First", "First"}).empty());
  EXPECT_TRUE(manager_.associators(widget("one"), {"", "TEST_Link", "", ""}).empty());
  EXPECT_TRUE(manager_.references(widget("one"), {"", "TEST_OtherLink", "", ""}).empty());
  EXPECT_TRUE(lines_.empty());
  expect_error(Status::InvalidParameter, "TEST_None", [&] {
    manager_.associators(widget("one"), {"", "TEST_None", "", ""});
  });
  expect_error(Status::InvalidParameter, "no keys",
               [&] { manager_.associators(ObjectPath({}, "TEST_Widget")); });
}

TEST_F(ObjectManagerTest, AssociationsOfAnUnknownClassAreAnInvalidParameter) {
  const ObjectPath unknown({}, "TEST_None", {{"Name", Value("one")}});
  const char* const text = "there is no class TEST_None";
  expect_error(Status::InvalidParameter, text, [&] { manager_.associators(unknown); });
  expect_error(Status::InvalidParameter, text, [&] { manager_.associator_names(unknown); });
  expect_error(Status::InvalidParameter, text, [&] { manager_.references(unknown); });
  expect_error(Status::InvalidParameter, text, [&] { manager_.reference_names(unknown); });
}

TEST_F(ObjectManagerTest, AResultOutsideTheResultClassIsNotDelivered) {
  EXPECT_TRUE(manager_.associators(widget("one"), {"", "TEST_Gadget", "", ""}).empty());
  EXPECT_THAT(lines_, Contains("Link: returnInstance 61"));
}

TEST_F(ObjectManagerTest, WhatASinkThrowsReachesTheCaller) {
  int seen = 0;
  EXPECT_THROW(manager_.enumerate_instances(ObjectPath({}, "TEST_Widget"),
                                            [&seen](const Instance&) {
                                              ++seen;
                                              throw std::runtime_error("gone");
                                            }),
               std::runtime_error);
  EXPECT_EQ(seen, 1);
  EXPECT_THAT(lines_, Contains("Widget: returnInstance 60"));
}

TEST_F(ObjectManagerTest, ClassesAreEnumerated) {
  EXPECT_EQ(manager_.get_class(ObjectPath({}, "test_widget")).name().view(), "TEST_Widget");
  EXPECT_EQ(manager_.enumerate_class_names(ObjectPath(), false).size(), 4u);
  EXPECT_EQ(manager_.enumerate_class_names(ObjectPath(), true).size(), 7u);
  EXPECT_EQ(manager_.enumerate_classes(ObjectPath({}, "TEST_Base"), false).size(), 2u);
  EXPECT_EQ(manager_.enumerate_classes(ObjectPath({}, "TEST_Base"), true).size(), 3u);
  expect_error(Status::InvalidNamespace, "root/x",
               [&] { manager_.enumerate_classes(ObjectPath("root/x", ""), true); });
}

}  // namespace
}  // namespace broker

#include "broker/held_instances.h"

#include <gtest/gtest.h>

#include "broker/test_classes.h"

namespace broker {
namespace {

ObjectPath widget(const char* name) { return {"here", "TEST_Widget", {{"Name", Value(name)}}}; }

Instance held(const ObjectPath& path) {
  Instance result(path);
  for (const Key& key : path.keys) result.set(key.name, key.value);
  return result;
}

Instance link(const ObjectPath& first, const ObjectPath& second) {
  return held({"here", "TEST_Link", {{"First", Value(first)}, {"Second", Value(second)}}});
}

const ObjectPath kOne = widget("one"), kTwo = widget("two");
const ObjectPath kGadget{"here", "TEST_Gadget", {{"Name", Value("gadget")}}};
const ObjectPath kElsewhere{"there", "TEST_Plain", {{"Name", Value("plain")}}};

class Held : public testing::Test {
 protected:
  std::vector<std::string> of_class(const char* name) const {
    std::vector<std::string> result;
    for (const Instance* one : instances_.of_class(test_schema().get(name)))
      result.push_back(one->text("Name"));
    return result;
  }
  std::vector<std::string> associated(const ObjectPath& object,
                                      const AssociationFilter& filter = {}) const {
    std::vector<std::string> result;
    for (const ObjectPath& path : instances_.associated(object, filter))
      result.push_back(to_text(*path.key("Name")));
    return result;
  }

  const HeldInstances instances_{test_schema(),
                                 {held(kOne), held(kTwo), held(kGadget), link(kOne, kTwo),
                                  link(kOne, kElsewhere), link(kGadget, kOne)}};
};

using Names = std::vector<std::string>;

TEST_F(Held, ClassHasTheInstancesOfItsSubclasses) {
  EXPECT_EQ(of_class("TEST_Widget"), (Names{"one", "two", "gadget"}));
  EXPECT_EQ(of_class("TEST_Gadget"), Names{"gadget"});
  EXPECT_EQ(of_class("TEST_Plain"), Names{});
}

TEST_F(Held, IsFoundByItsKeys) {
  EXPECT_EQ(instances_.find(kTwo)->path, kTwo);
  EXPECT_EQ(instances_.find(widget("three")), nullptr);
  EXPECT_EQ(instances_.find(kElsewhere), nullptr);
}

TEST_F(Held, IsAssociatedInBothDirectionsAndAcrossNameSpaces) {
  EXPECT_EQ(associated(kOne), (Names{"two", "plain", "gadget"}));
  EXPECT_EQ(associated(kTwo), Names{"one"});
  EXPECT_EQ(associated(kElsewhere), Names{"one"});
  EXPECT_EQ(associated(widget("three")), Names{});
}

TEST_F(Held, RolesAndClassesLeaveOutWhatDoesNotFit) {
  AssociationFilter filter;
  filter.role = "first";
  EXPECT_EQ(associated(kOne, filter), (Names{"two", "plain"}));
  filter.result_role = "First";
  EXPECT_EQ(associated(kOne, filter), Names{});
  filter.role = "Second";
  EXPECT_EQ(associated(kOne, filter), Names{"gadget"});
  filter = {};
  filter.result_class = "TEST_Plain";
  EXPECT_EQ(associated(kOne, filter), Names{"plain"});
  filter = {};
  filter.association_class = "TEST_OtherLink";
  EXPECT_EQ(associated(kOne, filter), Names{});
}

TEST_F(Held, ReferringAssociationsAreThoseOfTheRole) {
  AssociationFilter filter;
  EXPECT_EQ(instances_.referring(kOne, filter).size(), 3U);
  filter.role = "Second";
  EXPECT_EQ(instances_.referring(kOne, filter).size(), 1U);
  filter.result_class = "TEST_Widget";
  EXPECT_EQ(instances_.referring(kOne, filter).size(), 0U);
}

TEST_F(Held, UnknownClassOfAFilterIsRefused) {
  for (const auto member :
       {&AssociationFilter::association_class, &AssociationFilter::result_class}) {
    AssociationFilter filter;
    filter.*member = "TEST_None";
    try {
      instances_.associated(kOne, filter);
      ADD_FAILURE() << "no error";
    } catch (const Error& error) {
      EXPECT_EQ(error.status(), Status::InvalidParameter);
    }
  }
}

}  // namespace
}  // namespace broker

#include "broker/schema.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "broker/error.h"
#include "broker/test_classes.h"

namespace broker {
namespace {

TEST(Schema, FindsClassesWithoutRegardToCase) {
  EXPECT_EQ(test_schema().get("test_WIDGET").name().view(), "TEST_Widget");
  EXPECT_EQ(test_schema().find("TEST_None"), nullptr);
  try {
    test_schema().get("TEST_None");
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(error.status(), Status::InvalidClass);
  }
}

TEST(Schema, KnowsWhatDerivesFromWhat) {
  const ClassInfo& base = test_schema().get("TEST_Base");
  const ClassInfo& widget = test_schema().get("TEST_Widget");
  const ClassInfo& gadget = test_schema().get("TEST_Gadget");
  const ClassInfo& plain = test_schema().get("TEST_Plain");
  EXPECT_TRUE(gadget.is_a(base));
  EXPECT_TRUE(gadget.is_a(gadget));
  EXPECT_FALSE(base.is_a(gadget));
  EXPECT_FALSE(plain.is_a(widget));
  EXPECT_FALSE(test_schema().get("TEST_Link").is_a(base));
  EXPECT_EQ(base.with_subclasses(),
            (std::vector<const ClassInfo*>{&base, &widget, &gadget, &plain}));
}

TEST(Schema, AnOverridingPropertyKeepsItsPlace) {
  const ClassInfo& gadget = test_schema().get("TEST_Gadget");
  ASSERT_EQ(gadget.properties().size(), 20u);
  EXPECT_EQ(gadget.properties()[0].name, "Name");
  EXPECT_EQ(gadget.properties()[1].name, "Caption");
  EXPECT_EQ(gadget.properties()[1].declared->name, "TEST_Widget");
  EXPECT_EQ(gadget.properties()[1].origin->name, "TEST_Base");
  EXPECT_EQ(gadget.properties()[2].name, "Flag");
  EXPECT_EQ(gadget.properties()[19].name, "Extra");
  EXPECT_EQ(gadget.find_property("caption"), &gadget.properties()[1]);
  const PropertyInfo* const first = gadget.find_next_property(nullptr, "name");
  EXPECT_EQ(first, &gadget.properties()[0]);
  EXPECT_EQ(gadget.find_next_property(first, "caption"), &gadget.properties()[1]);
  EXPECT_EQ(gadget.find_next_property(&gadget.properties().back(), "Name"), first);
  EXPECT_EQ(gadget.find_next_property(&gadget.properties().back(), "Nothing"), nullptr);
  ASSERT_EQ(gadget.keys().size(), 1u);
  EXPECT_EQ(gadget.keys()[0]->name, "Name");
}

TEST(Schema, AnEmbeddedInstanceIsOfTypeInstance) {
  EXPECT_EQ(test_schema().get("TEST_Widget").find_property("Inner")->type, Type::Instance);
  const MethodInfo* echo = test_schema().get("TEST_Gadget").find_method("ECHO");
  ASSERT_NE(echo, nullptr);
  EXPECT_EQ(echo->find_parameter("inner")->type, Type::Instance);
  EXPECT_TRUE(echo->find_parameter("List")->array);
}

TEST(Schema, QualifiersComeFromSuperclassesWhereTheyPass) {
  const ClassInfo& widget = test_schema().get("TEST_Widget");
  ASSERT_NE(widget.find_qualifier("description"), nullptr);
  EXPECT_EQ(widget.find_qualifier("Abstract"), nullptr);
  EXPECT_NE(test_schema().get("TEST_Base").find_qualifier("Abstract"), nullptr);
  EXPECT_NE(widget.find_property_qualifier("Name", "Key"), nullptr);
  EXPECT_EQ(widget.find_property_qualifier("Caption", "Key"), nullptr);
  EXPECT_NE(widget.find_parameter_qualifier("Echo", "Inner", "EmbeddedInstance"), nullptr);
}

TEST(Schema, RefusesASuperclassAfterItsSubclassAndAClassTwice) {
  const Class parent{"P", nullptr, {}, {}, {}, false, false};
  const Class child{"C", &parent, {}, {}, {}, false, false};
  const Class wrong_order[] = {child, parent};
  EXPECT_THROW(Schema{wrong_order}, std::logic_error);
  const Class twice[] = {parent, parent};
  EXPECT_THROW(Schema{twice}, std::logic_error);
}

TEST(GeneratedSchema, HoldsTheClassesOfTheModule) {
  const ClassInfo& drive = generated_schema().get("KAVRO_DiskDrive");
  EXPECT_TRUE(drive.is_a(generated_schema().get("CIM_DiskDrive")));
  ASSERT_NE(drive.find_property("DeviceID"), nullptr);
  EXPECT_TRUE(drive.find_property("DeviceID")->key);
  const MethodInfo* run =
      generated_schema().get("KAVRO_HDDTest_DiagnosticService").find_method("RunDiagnostic");
  ASSERT_NE(run, nullptr);
  EXPECT_EQ(run->find_parameter("ManagedElement")->type, Type::Reference);
}

// In the model this is the only method of which a class and its superclass name a parameter
// differently.
TEST(Schema, AParameterIsFoundByTheNameThatASuperclassGivesItToo) {
  const ClassInfo& service = generated_schema().get("KAVRO_HDDTest_DiagnosticService");
  for (const char* name : {"JobSettings", "jobsetting"}) {
    const ParameterInfo* const found = service.find_parameter("RunDiagnostic", name);
    ASSERT_TRUE(found) << name;
    EXPECT_TRUE(found->name == name);
    EXPECT_EQ(found->feature->reference_class, "CIM_JobSettingData");
  }
  EXPECT_EQ(service.find_parameter("RunDiagnostic", "JobSett"), nullptr);
  EXPECT_EQ(service.find_parameter("Nothing", "JobSetting"), nullptr);
  EXPECT_EQ(service.superclass()->find_parameter("RunDiagnostic", "JobSettings"), nullptr);
}

}  // namespace
}  // namespace broker

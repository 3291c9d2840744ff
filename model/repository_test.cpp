// The class library and the object manager's repository come from one MOF; here they are held
// against each other.
#include <gmock/gmock.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "broker/repository.h"
#include "model/classes.h"

namespace {

using ovk_cimple::kavro_repository;
using ovk_cimple::MetaClass;
using ovk_cimple::MetaProperty;

CMPIType cmpi_type(const MetaProperty& property) {
  constexpr CMPIType kTypes[] = {CMPI_boolean, CMPI_uint8,  CMPI_sint8,  CMPI_uint16,   CMPI_sint16,
                                 CMPI_uint32,  CMPI_sint32, CMPI_uint64, CMPI_sint64,   CMPI_real32,
                                 CMPI_real64,  CMPI_char16, CMPI_string, CMPI_dateTime, CMPI_ref};
  const CMPIType type = kTypes[static_cast<std::size_t>(property.type)];
  return property.array ? type | CMPI_ARRAY : type;
}

// Puts declared features after the inherited ones; an overriding one takes the other's place.
template <class T>
void add(std::vector<const T*>& features, std::span<const T> declared) {
  for (const T& one : declared) {
    const auto place = std::find_if(features.begin(), features.end(),
                                    [&](const T* other) { return other->name == one.name; });
    if (place == features.end())
      features.push_back(&one);
    else
      *place = &one;
  }
}

struct WholeClass {
  std::vector<const broker::Feature*> properties;
  std::vector<const broker::Method*> methods;
};

WholeClass whole(const broker::Class& declared) {
  WholeClass result = declared.superclass ? whole(*declared.superclass) : WholeClass();
  add(result.properties, declared.properties);
  add(result.methods, declared.methods);
  return result;
}

void compare(const broker::Feature& feature, const MetaProperty& property) {
  SCOPED_TRACE(property.name);
  EXPECT_EQ(feature.name, property.name);
  EXPECT_EQ(feature.type, cmpi_type(property));
  EXPECT_EQ(feature.reference_class,
            property.reference_class ? property.reference_class->name : "");
  EXPECT_EQ(feature.key, property.key);
  EXPECT_EQ(feature.in, property.in);
  EXPECT_EQ(feature.out, property.out);
}

TEST(Repository, AgreesWithTheClassLibrary) {
  const std::span<const broker::Class> classes = broker::all_classes();
  ASSERT_EQ(classes.size(), kavro_repository.classes.size());
  for (std::size_t i = 0; i < classes.size(); ++i) {
    const broker::Class& declared = classes[i];
    const MetaClass& meta = *kavro_repository.classes[i];
    SCOPED_TRACE(meta.name);
    EXPECT_EQ(declared.name, meta.name);
    EXPECT_EQ(declared.superclass ? declared.superclass->name : "",
              meta.superclass ? meta.superclass->name : "");
    EXPECT_EQ(declared.association, meta.association);
    EXPECT_EQ(declared.abstract, meta.abstract);

    const WholeClass all = whole(declared);
    ASSERT_EQ(all.properties.size(), meta.properties.size());
    for (std::size_t p = 0; p < meta.properties.size(); ++p)
      compare(*all.properties[p], meta.properties[p]);

    ASSERT_EQ(all.methods.size(), meta.methods.size());
    for (std::size_t m = 0; m < meta.methods.size(); ++m) {
      const broker::Method& method = *all.methods[m];
      const MetaClass& record = *meta.methods[m];
      SCOPED_TRACE(record.name);
      EXPECT_EQ(method.name, record.name);
      EXPECT_EQ(method.type, cmpi_type(record.properties.back()));
      ASSERT_EQ(method.parameters.size() + 1, record.properties.size());
      for (std::size_t p = 0; p < method.parameters.size(); ++p)
        compare(method.parameters[p], record.properties[p]);
    }
  }
}

const broker::Class& find(std::string_view name) {
  for (const broker::Class& one : broker::all_classes())
    if (one.name == name) return one;
  throw std::out_of_range(std::string(name));
}

template <class T>
const broker::Qualifier& qualifier(const T& owner, std::string_view name) {
  for (const broker::Qualifier& one : owner.qualifiers)
    if (one.name == name) return one;
  throw std::out_of_range(std::string(name));
}

const broker::QualifierDeclaration& declaration(std::string_view name) {
  for (const broker::QualifierDeclaration& one : broker::all_qualifiers())
    if (one.name == name) return one;
  throw std::out_of_range(std::string(name));
}

TEST(Repository, DeclaresEveryQualifierThatItUses) {
  const auto check = [](std::span<const broker::Qualifier> qualifiers) {
    for (const broker::Qualifier& one : qualifiers) EXPECT_EQ(one.type, declaration(one.name).type);
  };
  for (const broker::Class& one : broker::all_classes()) {
    check(one.qualifiers);
    for (const broker::Feature& property : one.properties) check(property.qualifiers);
    for (const broker::Method& method : one.methods) {
      check(method.qualifiers);
      for (const broker::Feature& parameter : method.parameters) check(parameter.qualifiers);
    }
  }
}

TEST(Repository, HoldsQualifierDeclarationsAsTheyStand) {
  using Declaration = broker::QualifierDeclaration;
  const Declaration& key = declaration("Key");
  EXPECT_EQ(key.scopes, Declaration::Property | Declaration::Reference);
  EXPECT_TRUE(key.has_default && !key.overridable && key.to_subclass && !key.translatable);
  EXPECT_EQ(key.default_values.front(), "false");
  const Declaration& version = declaration("Version");
  EXPECT_EQ(version.scopes,
            Declaration::ClassScope | Declaration::Association | Declaration::Indication);
  EXPECT_TRUE(!version.has_default && !version.to_subclass && version.translatable);
  EXPECT_EQ(declaration("Deprecated").scopes, 127u) << "any";
  EXPECT_EQ(declaration("ArrayType").default_values.front(), "Bag");
}

TEST(Repository, HoldsDeclarationsAsTheyStand) {
  EXPECT_TRUE(find("KAVRO_DiskDrive").properties.empty());
  EXPECT_EQ(find("CIM_Service").properties.size(), 8u);
  EXPECT_EQ(find("KAVRO_HDDTest_DiagnosticService").methods.size(), 1u);
}

TEST(Repository, HoldsQualifiersWithValuesAndFlavors) {
  const broker::Class& element = find("CIM_ManagedElement");
  const broker::Qualifier& version = qualifier(element, "Version");
  EXPECT_EQ(version.type, CMPI_string);
  EXPECT_THAT(version.values, testing::ElementsAre("2.10.0"));
  EXPECT_FALSE(version.to_subclass);

  const broker::Qualifier& length = qualifier(element.properties[0], "MaxLen");
  EXPECT_EQ(length.type, CMPI_uint32);
  EXPECT_THAT(length.values, testing::ElementsAre("64"));
  EXPECT_TRUE(length.overridable);
  EXPECT_TRUE(length.to_subclass);

  const broker::Qualifier& association = qualifier(find("CIM_Dependency"), "Association");
  EXPECT_THAT(association.values, testing::ElementsAre("true"));
  EXPECT_FALSE(association.overridable);

  const broker::Feature& magnitude = find("CIM_AvailableDiagnosticService").properties[1];
  const broker::Qualifier& labels = qualifier(magnitude, "Values");
  EXPECT_EQ(magnitude.name, "EstimatedDurationOfService");
  EXPECT_EQ(labels.type, CMPI_string | CMPI_ARRAY);
  EXPECT_THAT(labels.values, testing::ElementsAre("Unknown", "Milliseconds", "Seconds", "Minutes",
                                                  "Hours", "Days"));

  const broker::Feature& job = find("KAVRO_HDDTest_DiagnosticService").methods[0].parameters[3];
  EXPECT_THAT(qualifier(job, "In").values, testing::ElementsAre("false"));
}

TEST(Repository, HoldsDefaultsInTheSpellingOfTheMof) {
  const broker::Class& job = find("CIM_ConcreteJob");
  const auto removal = std::find_if(job.properties.begin(), job.properties.end(),
                                    [](auto& one) { return one.name == "TimeBeforeRemoval"; });
  EXPECT_STREQ(removal->default_value, "00000000000500.000000:000");
  EXPECT_STREQ(find("CIM_EnabledLogicalElement").properties[0].default_value, "5");
  EXPECT_EQ(find("CIM_ManagedElement").properties[0].default_value, nullptr);
}

}  // namespace

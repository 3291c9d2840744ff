#include "broker/test_classes.h"

#include <array>

namespace broker {
namespace {

constexpr std::array<std::string_view, 1> kTrue{"true"};
constexpr std::array<std::string_view, 1> kWidget{"TEST_Widget"};
constexpr std::array<std::string_view, 1> kBaseText{"What everything has."};
constexpr std::array<std::string_view, 2> kMap{"0", "1"};
constexpr std::array<std::string_view, 1> kLength{"64"};

constexpr std::array<std::string_view, 2> kDefaults{"<first>", "second"};
constexpr std::array<std::string_view, 1> kFalse{"false"};

constexpr QualifierDeclaration kDeclarations[] = {
    {"Key", CMPI_boolean, true, kFalse,
     QualifierDeclaration::Property | QualifierDeclaration::Reference, false, true, false},
    {"MaxLen", CMPI_uint32, false, {}, QualifierDeclaration::Parameter, true, true, false},
    {"Values", CMPI_stringA, true, kDefaults, 127, true, false, true}};

constexpr Qualifier kKeyQualifiers[] = {{"Key", CMPI_boolean, kTrue, false, true},
                                        {"MaxLen", CMPI_uint32, kLength, true, true}};
constexpr Qualifier kEmbedded[] = {{"EmbeddedInstance", CMPI_string, kWidget, true, true}};
constexpr Qualifier kMapped[] = {{"ValueMap", CMPI_stringA, kMap, true, true}};
constexpr Qualifier kBaseQualifiers[] = {{"Description", CMPI_string, kBaseText, true, true},
                                         {"Abstract", CMPI_boolean, kTrue, true, false}};

constexpr Feature property(std::string_view name, CMPIType type, bool key = false,
                           std::span<const Qualifier> qualifiers = {},
                           std::string_view reference = {}) {
  return {name, type, reference, nullptr, key, false, false, qualifiers};
}

constexpr Feature parameter(std::string_view name, CMPIType type, bool in, bool out,
                            std::span<const Qualifier> qualifiers = {},
                            std::string_view reference = {}) {
  return {name, type, reference, nullptr, false, in, out, qualifiers};
}

constexpr Feature kBaseProperties[] = {property("Name", CMPI_string, true, kKeyQualifiers),
                                       property("Caption", CMPI_string)};
constexpr Feature kWidgetProperties[] = {
    property("Flag", CMPI_boolean),
    property("Letter", CMPI_char16),
    property("R32", CMPI_real32),
    property("R64", CMPI_real64),
    property("U8", CMPI_uint8),
    property("U16", CMPI_uint16),
    property("U32", CMPI_uint32, false, kMapped),
    property("U64", CMPI_uint64),
    property("S8", CMPI_sint8),
    property("S16", CMPI_sint16),
    property("S32", CMPI_sint32),
    property("S64", CMPI_sint64),
    property("When", CMPI_dateTime),
    property("Caption", CMPI_string),
    property("Texts", CMPI_stringA),
    property("Numbers", CMPI_uint16A),
    property("Inner", CMPI_string, false, kEmbedded),
    property("Friend", CMPI_ref, false, {}, "TEST_Base"),
};
constexpr Feature kGadgetProperties[] = {property("Extra", CMPI_string)};
constexpr Feature kLinkProperties[] = {property("First", CMPI_ref, true, {}, "TEST_Widget"),
                                       property("Second", CMPI_ref, true, {}, "TEST_Base")};
constexpr Feature kOtherLinkProperties[] = {property("Left", CMPI_ref, true, {}, "TEST_Plain"),
                                            property("Right", CMPI_ref, true, {}, "TEST_Plain")};
constexpr Feature kFaultyProperties[] = {property("Id", CMPI_uint32, true)};

constexpr Feature kAdd[] = {parameter("A", CMPI_uint32, true, false),
                            parameter("B", CMPI_sint64, true, false),
                            parameter("Sum", CMPI_sint64, false, true)};
constexpr Feature kEcho[] = {parameter("What", CMPI_string, true, true),
                             parameter("List", CMPI_uint16A, true, true),
                             parameter("Target", CMPI_ref, true, true, {}, "TEST_Base"),
                             parameter("Inner", CMPI_string, true, true, kEmbedded)};
constexpr Feature kDo[] = {parameter("What", CMPI_string, true, false),
                           parameter("Report", CMPI_string, false, true)};
constexpr Method kWidgetMethods[] = {{"Add", CMPI_uint32, kAdd, {}},
                                     {"Echo", CMPI_uint32, kEcho, {}},
                                     {"Do", CMPI_uint32, kDo, {}},
                                     {"Missing", CMPI_uint32, {}, {}},
                                     {"Text", CMPI_string, {}, {}}};

constexpr Class kBase{"TEST_Base", nullptr, kBaseProperties, {}, kBaseQualifiers, false, true};
constexpr Class kWidgetClass{"TEST_Widget", &kBase, kWidgetProperties, kWidgetMethods, {},
                             false,         false};
constexpr Class kGadget{"TEST_Gadget", &kWidgetClass, kGadgetProperties, {}, {}, false, false};

const std::array kClasses{
    kBase,
    kWidgetClass,
    kGadget,
    Class{"TEST_Plain", &kBase, {}, {}, {}, false, false},
    Class{"TEST_Link", nullptr, kLinkProperties, {}, {}, true, false},
    Class{"TEST_OtherLink", nullptr, kOtherLinkProperties, {}, {}, true, false},
    Class{"TEST_Faulty", nullptr, kFaultyProperties, {}, {}, false, false},
};

}  // namespace

const Schema& test_schema() {
  static const Schema& schema = *new Schema(kClasses, kDeclarations);
  return schema;
}

RegistrationEntry test_entry(const std::string& class_name, const std::string& provider,
                             const std::string& types) {
  RegistrationEntry entry;
  entry.class_name = class_name;
  entry.provider = provider;
  entry.location = "test_provider";
  entry.instance = types.find('i') != std::string::npos;
  entry.association = types.find('a') != std::string::npos;
  entry.method = types.find('m') != std::string::npos;
  entry.name_spaces = {std::string(kServedNameSpace)};
  return entry;
}

Options test_options() {
  Options options;
  options.registration = {
      test_entry("TEST_Widget", "Widget", "im"), test_entry("TEST_Gadget", "Gadget", "im"),
      test_entry("TEST_Link", "Link", "ia"), test_entry("TEST_OtherLink", "OtherLink", "a")};
  options.library_folders = {std::filesystem::read_symlink("/proc/self/exe").parent_path()};
  return options;
}

}  // namespace broker

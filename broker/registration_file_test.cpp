#include "broker/registration_file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "broker/error.h"
#include "broker/schema.h"

namespace broker {
namespace {

constexpr const char* kSection =
    "[KAVRO_UseOfLog]\n"
    "   provider: KAVRO_UseOfLog_Provider\n"
    "   location: hddtest.cmpi\n"
    "   type: instance method association\n"
    "   namespace: root/cimv2 root/interop\n"
    "   group: hddtest\n"
    "   unload: never\n";

TEST(Registration, ReadsASectionWithEveryKey) {
  const auto entries = parse_registration(kSection, "x");
  ASSERT_EQ(entries.size(), 1u);
  const RegistrationEntry& entry = entries.front();
  EXPECT_EQ(entry.class_name, "KAVRO_UseOfLog");
  EXPECT_EQ(entry.provider, "KAVRO_UseOfLog_Provider");
  EXPECT_EQ(entry.location, "hddtest.cmpi");
  EXPECT_TRUE(entry.instance && entry.method && entry.association);
  EXPECT_EQ(entry.name_spaces, (std::vector<std::string>{"root/cimv2", "root/interop"}));
  EXPECT_EQ(entry.group, "hddtest");
  EXPECT_TRUE(entry.unload_never);
}

TEST(Registration, TakesCommentsBlankLinesCarriageReturnsAndAMissingLastLineEnd) {
  const auto entries = parse_registration(
      "# first\r\n\r\n[A]\r\nprovider:P\r\nlocation: L\r\ntype: method\r\nnamespace: root/cimv2",
      "x");
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries.front().provider, "P");
  EXPECT_FALSE(entries.front().instance);
  EXPECT_FALSE(entries.front().unload_never);
  EXPECT_TRUE(parse_registration("", "x").empty());
}

struct Bad {
  const char* text;
  const char* message;
};

class RegistrationRefuses : public testing::TestWithParam<Bad> {};

TEST_P(RegistrationRefuses, WithFileLineAndReason) {
  try {
    parse_registration(GetParam().text, "test.reg");
    FAIL() << "accepted";
  } catch (const Error& error) {
    EXPECT_EQ(error.description(), GetParam().message);
  }
}

#define REST "provider: P\nlocation: L\ntype: instance\nnamespace: n\n"

INSTANTIATE_TEST_SUITE_P(
    Cases, RegistrationRefuses,
    testing::Values(
        Bad{"provider: P\n", "test.reg:1: a [CLASS] must stand before the first key"},
        Bad{"[A]\n" REST "user: x\n", "test.reg:6: unknown key 'user'"},
        Bad{"[A]\n" REST "Provider: x\n", "test.reg:6: unknown key 'Provider'"},
        Bad{"[A]\n" REST "\n[a]\n" REST,
            "test.reg:7: class a is registered twice for the same type"},
        Bad{"[A]\n" REST "type: method\n", "test.reg:6: 'type' is given twice"},
        Bad{"[A]\nprovider: P\n\n[B]\n", "test.reg:1: class A has no 'location'"},
        Bad{"[A]\n", "test.reg:1: class A has no 'provider'"},
        Bad{"[A]\ntype: indication\n", "test.reg:2: unknown type 'indication'"},
        Bad{"[A]\ntype: method method\n", "test.reg:2: type 'method' is given twice"},
        Bad{"[A]\ntype:\n", "test.reg:2: 'type' takes instance, method or association"},
        Bad{"[A]\nprovider: a b\n", "test.reg:2: 'provider' takes one word"},
        Bad{"[A]\nlocation: /lib/x\n",
            "test.reg:2: a location is the name of a library without folder, 'lib' and '.so'"},
        Bad{"[A]\nunload: soon\n", "test.reg:2: 'unload' can only be never"},
        Bad{"[A\n", "test.reg:1: the closing bracket is missing"},
        Bad{"[]\n", "test.reg:1: one class name must stand between the brackets"},
        Bad{"[A B]\n", "test.reg:1: one class name must stand between the brackets"},
        Bad{"[A]\nprovider P\n", "test.reg:2: neither [CLASS] nor key: value"}));

TEST(Registration, ReadsAFileAndNamesOneThatIsMissing) {
  std::string folder = std::filesystem::temp_directory_path() / "registration.XXXXXX";
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  const std::filesystem::path file = std::filesystem::path(folder) / "a.reg";
  try {
    read_registration(file);
    ADD_FAILURE() << "read a missing file";
  } catch (const Error& error) {
    EXPECT_EQ(error.description(), file.string() + ": the registration cannot be read");
  }
  std::ofstream(file) << kSection;
  EXPECT_EQ(read_registration(file).size(), 1u);
  std::filesystem::remove_all(folder);
}

TEST(Registration, AClassMayHaveASectionForEachType) {
  const auto entries = parse_registration(
      "[A]\nprovider: P\nlocation: l\ntype: instance\nnamespace: root/cimv2\n"
      "[a]\nprovider: Q\nlocation: m\ntype: method association\nnamespace: root/cimv2\n",
      "test.reg");
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_TRUE(entries[0].instance && !entries[0].method);
  EXPECT_TRUE(entries[1].method && entries[1].association && !entries[1].instance);
}

// The inventory serves drives, bus devices and the computer system. The module serves everything
// else, and the methods of drives.
TEST(ProductRegistration, NamesEveryClassWithTheInterfacesThatItNeeds) {
  std::size_t of_module = 0;
  std::size_t of_inventory = 0;
  for (const RegistrationEntry& entry : read_registration(HDDTEST_REGISTRATION)) {
    const ClassInfo* info = generated_schema().find(entry.class_name);
    ASSERT_NE(info, nullptr) << entry.class_name;
    EXPECT_EQ(entry.association, info->association()) << entry.class_name;
    EXPECT_EQ(entry.name_spaces, std::vector<std::string>{"root/cimv2"});
    EXPECT_EQ(entry.group, "hddtest");
    EXPECT_TRUE(entry.unload_never);
    if (entry.location == "kavroinventory.cmpi") {
      ++of_inventory;
      EXPECT_EQ(entry.provider, "KAVRO_Inventory_" + entry.class_name.substr(6) + "_Provider");
      EXPECT_TRUE(entry.instance && !entry.method) << entry.class_name;
    } else {
      ++of_module;
      EXPECT_EQ(entry.location, "hddtest.cmpi");
      EXPECT_EQ(entry.provider, entry.class_name + "_Provider");
      EXPECT_EQ(entry.instance, entry.class_name != "KAVRO_DiskDrive") << entry.class_name;
      EXPECT_TRUE(entry.method) << entry.class_name;
    }
  }
  // Which classes these are, the modules' own tests compare.
  EXPECT_GT(of_module, 0u);
  EXPECT_GT(of_inventory, 0u);
}

}  // namespace
}  // namespace broker

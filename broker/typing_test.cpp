// The types that keys from outside get.
#include <gtest/gtest.h>

#include <array>

#include "broker/core.h"

namespace broker {
namespace {

constexpr Feature key(std::string_view name, CMPIType type, std::string_view reference = {}) {
  return {name, type, reference, nullptr, true, false, false, {}};
}

constexpr Feature kKeys[] = {
    key("Flag", CMPI_boolean),     key("Unsigned", CMPI_uint8),
    key("Signed", CMPI_sint64),    key("Real", CMPI_real64),
    key("When", CMPI_dateTime),    key("Text", CMPI_string),
    key("Character", CMPI_char16), key("Reference", CMPI_ref, "TEST_Keys")};
constexpr std::array kClasses{Class{"TEST_Keys", nullptr, kKeys, {}, {}, false, false}};

class Keys : public testing::Test {
 protected:
  // The key of that name, given as text.
  Value typed(const char* name, const char* text) const {
    const ObjectPath given({}, "TEST_Keys", {{name, Value(text)}});
    return *core_->instance_path(given, schema_.get("TEST_Keys")).key(name);
  }

  const Schema schema_{kClasses};
  const std::shared_ptr<Core> core_ = std::make_shared<Core>(schema_, Options());
};

TEST_F(Keys, WhiteSpaceAroundThemDoesNotCountWhereTheyAreNoTexts) {
  EXPECT_EQ(typed("Flag", " \t true\r\n"), Value(true));
  EXPECT_EQ(typed("Unsigned", "\n255 "), Value(std::uint8_t{255}));
  EXPECT_EQ(typed("Signed", " -5 "), Value(std::int64_t{-5}));
  EXPECT_EQ(typed("Real", " 0.5 "), Value(0.5));
  EXPECT_EQ(typed("When", " 20240131120000.000000+060 "),
            Value::datetime("20240131120000.000000+060"));
  EXPECT_EQ(typed("Reference", " TEST_Keys.Unsigned=5 "),
            Value(ObjectPath("root/cimv2", "TEST_Keys", {{"Unsigned", Value(std::uint8_t{5})}})));
}

TEST_F(Keys, TextsAreWhatStandsThere) {
  EXPECT_EQ(typed("Text", " a \n"), Value(" a \n"));
  EXPECT_EQ(typed("Text", ""), Value(""));
  EXPECT_EQ(typed("Character", " "), Value(u' '));
}

TEST_F(Keys, WhiteSpaceWithinThemIsRefused) {
  for (const auto& [name, text] :
       {std::pair("Unsigned", "1 2"), {"Signed", "- 5"}, {"Flag", "tr ue"}, {"Unsigned", " "}}) {
    try {
      typed(name, text);
      ADD_FAILURE() << "\"" << text << "\" is taken for a key " << name;
    } catch (const Error& error) {
      EXPECT_EQ(error.status(), Status::InvalidParameter);
    }
  }
}

}  // namespace
}  // namespace broker

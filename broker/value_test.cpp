#include "broker/value.h"

#include <gtest/gtest.h>

#include "broker/error.h"
#include "broker/instance_value.h"
#include "broker/object_path.h"

namespace broker {
namespace {

TEST(ParseValue, ReadsEveryScalarTypeAtItsLimits) {
  EXPECT_EQ(parse_value(Type::Uint8, false, "255"), Value(std::uint8_t{255}));
  EXPECT_EQ(parse_value(Type::Uint16, false, "0xFFFF"), Value(std::uint16_t{65535}));
  EXPECT_EQ(parse_value(Type::Uint32, false, "4294967295"), Value(4294967295u));
  EXPECT_EQ(parse_value(Type::Uint64, false, "18446744073709551615"), Value(~std::uint64_t{0}));
  EXPECT_EQ(parse_value(Type::Sint8, false, "-128"), Value(std::int8_t{-128}));
  EXPECT_EQ(parse_value(Type::Sint16, false, "+32767"), Value(std::int16_t{32767}));
  EXPECT_EQ(parse_value(Type::Sint32, false, "-2147483648"), Value(std::int32_t{INT32_MIN}));
  EXPECT_EQ(parse_value(Type::Sint64, false, "-9223372036854775808"),
            Value(std::int64_t{INT64_MIN}));
  EXPECT_EQ(parse_value(Type::Boolean, false, "True"), Value(true));
  EXPECT_EQ(parse_value(Type::Char16, false, "\xC3\xA4"), Value(u'\u00E4'));
  EXPECT_EQ(parse_value(Type::Real32, false, "-1.5e3"), Value(-1500.0f));
  EXPECT_EQ(parse_value(Type::Real64, false, "0.1"), Value(0.1));
  EXPECT_EQ(parse_value(Type::String, false, "a,\\b"), Value("a,\\b"));
  EXPECT_EQ(parse_value(Type::Datetime, false, "20240131120000.000000+060"),
            Value::datetime("20240131120000.000000+060"));
  EXPECT_EQ(parse_value(Type::Reference, false, "A.B=1"),
            Value(ObjectPath({}, "A", {{"B", Value(std::uint64_t{1})}})));
}

struct Refused {
  Type type;
  const char* text;
};

class ParseValueRefuses : public testing::TestWithParam<Refused> {};

TEST_P(ParseValueRefuses, WithInvalidParameter) {
  try {
    parse_value(GetParam().type, false, GetParam().text);
    FAIL() << "accepted " << GetParam().text;
  } catch (const Error& error) {
    EXPECT_EQ(error.status(), Status::InvalidParameter);
    EXPECT_NE(error.description().find(GetParam().text), std::string::npos) << error.what();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ParseValueRefuses,
    testing::Values(Refused{Type::Uint8, "256"}, Refused{Type::Uint8, "-1"},
                    Refused{Type::Sint8, "128"}, Refused{Type::Sint8, "-129"},
                    Refused{Type::Uint64, "18446744073709551616"}, Refused{Type::Uint32, ""},
                    Refused{Type::Uint32, "1 "}, Refused{Type::Uint32, "0x"},
                    Refused{Type::Uint32, "--1"}, Refused{Type::Boolean, "yes"},
                    Refused{Type::Char16, ""}, Refused{Type::Char16, "ab"},
                    Refused{Type::Char16, "\xF0\x9F\x98\x80"},  // beyond the basic plane
                    Refused{Type::Char16, "\xC1\xA1"},          // 'a' in a longer form
                    Refused{Type::Char16, "\xED\xA0\x80"},      // half a surrogate pair
                    Refused{Type::Char16, "\xC3"}, Refused{Type::Char16, "\xC3\xA4z"},
                    Refused{Type::Real64, "1.5x"}, Refused{Type::Real32, "1e300"},
                    Refused{Type::Datetime, "20240131"}, Refused{Type::Reference, "A."},
                    Refused{Type::Instance, "x"}));

TEST(ParseValue, SplitsArraysAtCommasThatAreNotEscaped) {
  EXPECT_EQ(parse_value(Type::String, true, "a\\,b,,c\\\\"),
            Value::array(Type::String, {Value("a,b"), Value(""), Value("c\\")}));
  EXPECT_EQ(parse_value(Type::Uint16, true, ""), Value::array(Type::Uint16, {}));
  EXPECT_THROW(parse_value(Type::Uint16, true, "1,,2"), Error);
  EXPECT_THROW(parse_value(Type::String, true, "a\\"), Error);
}

TEST(Convert, ChangesWidthOnlyWhereTheNumberFits) {
  EXPECT_EQ(convert(Value(std::uint64_t{7}), Type::Uint16, false), Value(std::uint16_t{7}));
  EXPECT_EQ(convert(Value(std::int64_t{-7}), Type::Sint8, false), Value(std::int8_t{-7}));
  EXPECT_EQ(convert(Value(std::int64_t{7}), Type::Uint8, false), Value(std::uint8_t{7}));
  EXPECT_THROW(convert(Value(std::int64_t{-7}), Type::Uint64, false), Error);
  EXPECT_THROW(convert(Value(std::uint64_t{256}), Type::Uint8, false), Error);
  EXPECT_THROW(convert(Value(0.1), Type::Real32, false), Error);
  EXPECT_EQ(convert(Value(0.5), Type::Real32, false), Value(0.5f));
}

TEST(Convert, ReadsTextAndRefusesTheReverse) {
  EXPECT_EQ(convert(Value("12"), Type::Sint32, false), Value(std::int32_t{12}));
  try {
    convert(Value("x"), Type::Sint32, false);
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(error.status(), Status::TypeMismatch);
  }
  EXPECT_THROW(convert(Value(std::int32_t{12}), Type::String, false), Error);
  EXPECT_THROW(convert(Value(true), Type::Uint8, false), Error);
}

TEST(Convert, TreatsArraysElementByElementAndNullsAsNulls) {
  const Value numbers =
      Value::array(Type::Uint64, {Value(std::uint64_t{1}), Value::null(Type::Uint64)});
  EXPECT_EQ(convert(numbers, Type::Uint8, true),
            Value::array(Type::Uint8, {Value(std::uint8_t{1}), Value::null(Type::Uint8)}));
  EXPECT_EQ(convert(Value(), Type::Uint8, true), Value::null(Type::Uint8, true));
  EXPECT_THROW(convert(numbers, Type::Uint8, false), Error);
  EXPECT_THROW(convert(Value(std::uint8_t{1}), Type::Uint8, true), Error);
}

TEST(Value, RefusesAnElementOfAnotherType) {
  EXPECT_THROW(Value::array(Type::Uint8, {Value("x")}), Error);
}

TEST(Value, ReadingAsAnotherKindIsATypeMismatch) {
  EXPECT_THROW(Value("x").as_unsigned(), Error);
  EXPECT_THROW(Value().as_text(), Error);
  EXPECT_THROW(Value(~std::uint64_t{0}).as_signed(), Error);
  EXPECT_THROW(Value(std::int32_t{-1}).as_unsigned(), Error);
  EXPECT_EQ(Value(std::int32_t{5}).as_unsigned(), 5u);
}

TEST(Value, KeyValuesCompareByNumber) {
  EXPECT_TRUE(same_key_value(Value(std::uint64_t{5}), Value(std::int8_t{5})));
  EXPECT_FALSE(same_key_value(Value(~std::uint64_t{0}), Value(std::int64_t{-1})));
  EXPECT_TRUE(same_key_value(Value(std::int64_t{-1}), Value(std::int8_t{-1})));
  EXPECT_FALSE(same_key_value(Value("5"), Value(std::uint8_t{5})));
}

TEST(ValueText, ShowsValuesForReadersAndAsMof) {
  const Value texts = Value::array(Type::String, {Value("a\"b"), Value::null(Type::String)});
  EXPECT_EQ(to_text(texts), "a\"b, ");
  EXPECT_EQ(to_mof(texts), "{ \"a\\\"b\", NULL }");
  EXPECT_EQ(to_text(Value()), "");
  EXPECT_EQ(to_mof(Value()), "NULL");
  EXPECT_EQ(to_mof(Value(true)), "TRUE");
  EXPECT_EQ(to_text(Value(u'\u20AC')), "\xE2\x82\xAC");
  EXPECT_EQ(to_text(Value(0.1f)), "0.1");
  EXPECT_EQ(to_text(Value(std::int8_t{-5})), "-5");
  Instance instance{ObjectPath({}, "A")};
  instance.set("P", Value(std::uint8_t{1}));
  EXPECT_EQ(to_mof(Value(instance)), "instance of A { P = 1; }");
}

TEST(Instance, ComparesPropertiesInAnyOrderAndNamesWithoutCase) {
  Instance a{ObjectPath({}, "A")};
  a.set("P", Value(true));
  a.set("Q", Value("x"));
  Instance b{ObjectPath({}, "a")};
  b.set("q", Value("x"));
  b.set("p", Value(true));
  EXPECT_TRUE(a == b);
  b.set("P", Value(false));
  EXPECT_EQ(b.properties.size(), 2u);
  EXPECT_FALSE(a == b);
  EXPECT_EQ(a.text("q"), "x");
  EXPECT_EQ(a.property("R"), nullptr);
}

}  // namespace
}  // namespace broker

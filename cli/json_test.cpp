#include "cli/json.h"

#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

namespace cli {
namespace {

using broker::Type;
using broker::Value;

std::string text(const Value& value) { return to_json(value).dump(); }

TEST(ToJson, GivesEachTypeItsNaturalForm) {
  EXPECT_EQ(text(Value(std::uint8_t{4})), "4");
  EXPECT_EQ(text(Value(std::int8_t{-4})), "-4");
  EXPECT_EQ(text(Value(std::numeric_limits<std::uint64_t>::max())), "18446744073709551615");
  EXPECT_EQ(text(Value(std::numeric_limits<std::int64_t>::min())), "-9223372036854775808");
  EXPECT_EQ(text(Value(true)), "true");
  EXPECT_EQ(text(Value(0.5)), "0.5");
  EXPECT_EQ(text(Value(u'x')), "\"x\"");
  EXPECT_EQ(text(Value("4")), "\"4\"");
  EXPECT_EQ(text(Value::datetime("00000000000000.000000:000")), "\"00000000000000.000000:000\"");
  EXPECT_EQ(text(Value::null(Type::Uint16)), "null");
  EXPECT_EQ(text(Value::null(Type::String, true)), "null");
}

TEST(ToJson, KeepsArraysAndTheirNulls) {
  EXPECT_EQ(text(Value::array(Type::Uint16, {Value(std::uint16_t{2}), Value::null(Type::Uint16)})),
            "[2,null]");
  EXPECT_EQ(text(Value::array(Type::String, {})), "[]");
}

TEST(ToJson, ShowsReferencesAsPaths) {
  EXPECT_EQ(text(Value(broker::ObjectPath("root/cimv2", "X", {{"Name", "a\"b"}}))),
            R"("root/cimv2:X.Name=\"a\\\"b\"")");
}

TEST(ToJson, MakesObjectsOfInstancesInTheirOrder) {
  broker::Instance inner(broker::ObjectPath({}, "Inner"));
  inner.set("Z", Value(std::uint8_t{1}));
  inner.set("A", Value::null(Type::String));
  broker::Instance instance(broker::ObjectPath({}, "Outer"));
  instance.set("Embedded", Value(inner));
  EXPECT_EQ(to_json(instance).dump(), R"({"Embedded":{"Z":1,"A":null}})");
}

TEST(Dump, IsUtf8WithoutEffectOnTerminals) {
  EXPECT_EQ(dump("\xff|\x1b|\x7f|\xc2\x9b|ä"), "\"\xef\xbf\xbd|\\u001b|\\u007f|\\u009b|ä\"\n");
  EXPECT_EQ(dump("\u061c|\u200f|\u2028|\u202e|\u2069|\u206a|😀"),
            "\"\\u061c|\\u200f|\\u2028|\\u202e|\\u2069|\u206a|😀\"\n");
}

TEST(Dump, ReadsBackAsItWas) {
  const Json json = {{"a", "\x7f\xc2\x80\xc2\x9f"}, {"b", {1, 2}}};
  EXPECT_EQ(Json::parse(dump(json)), json);
}

}  // namespace
}  // namespace cli

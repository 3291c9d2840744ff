#include "broker/object_path.h"

#include <gtest/gtest.h>

#include "broker/error.h"

namespace broker {
namespace {

TEST(ObjectPathText, ReadsEveryPart) {
  const ObjectPath path = ObjectPath::parse(
      R"(//host:5988/root/cimv2:KAVRO_DiskDrive.DeviceID="/dev/sda",Id=12,Low=-3,On=TRUE)");
  EXPECT_EQ(path.host, "host:5988");
  EXPECT_EQ(path.name_space, "root/cimv2");
  EXPECT_EQ(path.class_name, "KAVRO_DiskDrive");
  ASSERT_EQ(path.keys.size(), 4u);
  EXPECT_EQ(*path.key("deviceid"), Value("/dev/sda"));
  EXPECT_EQ(*path.key("Id"), Value(std::uint64_t{12}));
  EXPECT_EQ(*path.key("Low"), Value(std::int64_t{-3}));
  EXPECT_EQ(*path.key("On"), Value(true));
}

TEST(ObjectPathText, ReadsAClassAlone) {
  const ObjectPath path = ObjectPath::parse("CIM_DiskDrive");
  EXPECT_TRUE(path.name_space.empty());
  EXPECT_TRUE(path.keys.empty());
  EXPECT_EQ(ObjectPath::parse("/root/cimv2:A").name_space, "root/cimv2");
}

TEST(ObjectPathText, ComesBackThroughItsText) {
  const ObjectPath inner("root/cimv2", "Inner", {{"Text", Value(R"(a"b\c,d:e.f=g)")}});
  const ObjectPath outer("root/cimv2", "Outer",
                         {{"Target", Value(inner.to_text())}, {"Flag", Value(false)}});
  const ObjectPath read = ObjectPath::parse(outer.to_text());
  EXPECT_EQ(read, outer);
  EXPECT_EQ(ObjectPath::parse(read.key("Target")->as_text()), inner);
}

TEST(ObjectPathText, WritesReferencesAsQuotedPaths) {
  const ObjectPath path("root/cimv2", "Link",
                        {{"End", Value(ObjectPath({}, "A", {{"Name", Value("x")}}))}});
  EXPECT_EQ(path.to_text(), R"(root/cimv2:Link.End="A.Name=\"x\"")");
}

struct Bad {
  const char* text;
  const char* reason;
};

class ObjectPathRefuses : public testing::TestWithParam<Bad> {};

TEST_P(ObjectPathRefuses, WithTheReason) {
  try {
    ObjectPath::parse(GetParam().text);
    FAIL() << "accepted " << GetParam().text;
  } catch (const Error& error) {
    EXPECT_EQ(error.status(), Status::InvalidParameter);
    EXPECT_NE(error.description().find(GetParam().reason), std::string::npos) << error.what();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ObjectPathRefuses,
    testing::Values(
        Bad{"", "class name is missing (at character 1)"},
        Bad{"root/cimv2:", "class name is missing"}, Bad{":A", "name space must stand"},
        Bad{"//host", "slash must follow"}, Bad{"//host/A.B=1", "must follow the host name"},
        Bad{"ro//ot:A", "no name space (at character 4)"}, Bad{"ro ot:A", "no name space"},
        Bad{"A.", "name of a key is missing (at character 3)"}, Bad{"A.B", "equals sign"},
        Bad{"A.B=", "must be \"text\""}, Bad{"A.B=x", "must be \"text\""},
        Bad{"A.B=\"x", "closing quote"}, Bad{R"(A.B="x\n")", "may follow a backslash"},
        Bad{R"(A.B="x\)", "may follow a backslash"}, Bad{"A.B=1,B=2", "given twice"},
        Bad{"A.B=1,b=2", "given twice"}, Bad{"A.B=\"x\"C=1", "comma must separate"},
        Bad{"A.B=1,", "name of a key is missing"}, Bad{"A B", "dot must separate"},
        Bad{"1A", "class name is missing"}, Bad{"A.B=99999999999999999999", "must be \"text\""}));

TEST(ObjectPath, ComparesKeysInAnyOrderAndByValue) {
  const ObjectPath a({}, "A", {{"X", Value(std::uint64_t{1})}, {"Y", Value("y")}});
  const ObjectPath b("root/cimv2", "a", {{"y", Value("y")}, {"x", Value(std::uint8_t{1})}});
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a == ObjectPath({}, "A", {{"X", Value(std::uint64_t{1})}}));
  EXPECT_FALSE(b == ObjectPath("root/other", "A", b.keys));
}

}  // namespace
}  // namespace broker

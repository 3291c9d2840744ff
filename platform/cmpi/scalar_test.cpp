#include "platform/cmpi/scalar.h"

#include <gtest/gtest.h>

#include <limits>

namespace ovk_cimple {
namespace {

Scalar unsigned_one(std::uint64_t value) { return value; }
Scalar signed_one(std::int64_t value) { return value; }

TEST(Scalar, IntegersConvertWhereTheyFit) {
  EXPECT_EQ(convert<uint16>(signed_one(65535)), uint16{65535});
  EXPECT_EQ(convert<uint16>(signed_one(65536)), std::nullopt);
  EXPECT_EQ(convert<uint16>(signed_one(-1)), std::nullopt);
  EXPECT_EQ(convert<sint8>(unsigned_one(127)), sint8{127});
  EXPECT_EQ(convert<sint8>(unsigned_one(128)), std::nullopt);
  EXPECT_EQ(convert<sint64>(unsigned_one(1ULL << 63)), std::nullopt);
  EXPECT_EQ(convert<uint64>(unsigned_one(~0ULL)), ~0ULL);
  EXPECT_EQ(convert<sint64>(signed_one(std::numeric_limits<sint64>::min())),
            std::numeric_limits<sint64>::min());
}

TEST(Scalar, RealsBecomeIntegersOnlyWithoutLoss) {
  EXPECT_EQ(convert<uint8>(Scalar(255.0)), uint8{255});
  EXPECT_EQ(convert<uint8>(Scalar(256.0)), std::nullopt);
  EXPECT_EQ(convert<uint8>(Scalar(-1.0)), std::nullopt);
  EXPECT_EQ(convert<sint8>(Scalar(-128.0)), sint8{-128});
  EXPECT_EQ(convert<sint8>(Scalar(1.5)), std::nullopt);
  EXPECT_EQ(convert<uint64>(Scalar(18446744073709551616.0)), std::nullopt);
  EXPECT_EQ(convert<sint64>(Scalar(std::nan(""))), std::nullopt);
}

TEST(Scalar, TextIsReadAsAWhole) {
  const auto text = [](const char* value) { return Scalar(std::string(value)); };
  EXPECT_EQ(convert<uint32>(text("42")), 42u);
  EXPECT_EQ(convert<uint32>(text("42 ")), std::nullopt);
  EXPECT_EQ(convert<uint32>(text("")), std::nullopt);
  EXPECT_EQ(convert<uint32>(text("-1")), std::nullopt);
  EXPECT_EQ(convert<sint32>(text("-1")), -1);
  EXPECT_EQ(convert<uint8>(text("256")), std::nullopt);
  EXPECT_EQ(convert<real64>(text("0.5")), 0.5);
  EXPECT_EQ(convert<boolean>(text("TRUE")), true);
  EXPECT_EQ(convert<boolean>(text("False")), false);
  EXPECT_EQ(convert<boolean>(text("yes")), std::nullopt);
  EXPECT_EQ(convert<char16>(text("x")), u'x');
  EXPECT_EQ(convert<char16>(text("xy")), std::nullopt);
}

TEST(Scalar, NumbersBecomeText) {
  EXPECT_EQ(convert<String>(signed_one(-7)), "-7");
  EXPECT_EQ(convert<String>(unsigned_one(~0ULL)), "18446744073709551615");
  EXPECT_EQ(convert<String>(Scalar(true)), "true");
}

TEST(Scalar, BooleansAreZeroOrOne) {
  EXPECT_EQ(convert<boolean>(signed_one(1)), true);
  EXPECT_EQ(convert<boolean>(unsigned_one(0)), false);
  EXPECT_EQ(convert<boolean>(unsigned_one(2)), std::nullopt);
  EXPECT_EQ(convert<uint32>(Scalar(true)), 1u);
}

}  // namespace
}  // namespace ovk_cimple

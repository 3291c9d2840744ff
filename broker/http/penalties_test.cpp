#include "broker/http/penalties.h"

#include <gtest/gtest.h>

namespace broker::http {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

const Penalties::Time kStart = Penalties::Time() + std::chrono::hours(1);

TEST(Penalties, DoubleForEachSourceAndAreForgotten) {
  Penalties penalties(milliseconds(1000), milliseconds(4000));
  EXPECT_EQ(penalties.failed({"a", "one"}, kStart), milliseconds(1000));
  EXPECT_EQ(penalties.failed({"a", "one"}, kStart), milliseconds(2000));
  EXPECT_EQ(penalties.failed({"a", "two"}, kStart), milliseconds(1000)) << "another user";
  EXPECT_EQ(penalties.failed({"b", "one"}, kStart), milliseconds(1000)) << "another network";
  EXPECT_EQ(penalties.failed({"a", "one"}, kStart), milliseconds(4000));
  EXPECT_EQ(penalties.failed({"a", "one"}, kStart + minutes(5)), milliseconds(4000));
  EXPECT_EQ(penalties.failed({"a", "one"}, kStart + minutes(11)), milliseconds(1000));
}

TEST(Penalties, OnlySoManyAnswersOfASourceAreHeldBack) {
  Penalties penalties(milliseconds(1000), milliseconds(1000), 2);
  const Claimant claimant{"a", "one"};
  EXPECT_TRUE(penalties.admits(claimant, 1, kStart));
  EXPECT_FALSE(penalties.admits(claimant, 2, kStart)) << "those that wait count";
  penalties.failed(claimant, kStart);
  EXPECT_TRUE(penalties.admits(claimant, 0, kStart));
  EXPECT_FALSE(penalties.admits(claimant, 1, kStart));
  penalties.failed(claimant, kStart + milliseconds(500));
  EXPECT_FALSE(penalties.admits(claimant, 0, kStart + milliseconds(999)));
  EXPECT_TRUE(penalties.admits({"a", "two"}, 0, kStart + milliseconds(999)));
  EXPECT_TRUE(penalties.admits({"b", "one"}, 0, kStart + milliseconds(999)));
  EXPECT_TRUE(penalties.admits(claimant, 0, kStart + milliseconds(1000)));
  EXPECT_FALSE(penalties.admits(claimant, 1, kStart + milliseconds(1000)));
  EXPECT_TRUE(penalties.admits(claimant, 1, kStart + milliseconds(1500)));
}

TEST(Penalties, KnowWhoHasFailedLess) {
  Penalties penalties(milliseconds(1), milliseconds(1));
  for (int i = 0; i < 3; ++i) penalties.failed({"a", "one"}, kStart);
  penalties.failed({"b", "one"}, kStart);
  EXPECT_LT(penalties.past({"c", "one"}), penalties.past({"b", "one"}));
  EXPECT_LT(penalties.past({"b", "one"}), penalties.past({"a", "two"}));
  EXPECT_LT(penalties.past({"a", "two"}), penalties.past({"a", "one"}));
}

// Guesses at a user count on, whatever names the guesser makes up meanwhile.
TEST(Penalties, FloodOfNamesWipesNoRecordOut) {
  Penalties penalties(milliseconds(1000), milliseconds(16000), 4);
  for (int i = 0; i < 4; ++i) penalties.failed({"a", "one"}, kStart);
  for (int i = 0; i < 10'000; ++i)
    penalties.failed({"a", "name " + std::to_string(i)}, kStart + milliseconds(i));
  EXPECT_LE(penalties.size(), 250u) << "and leaves room for other networks";
  EXPECT_FALSE(penalties.admits({"a", "one"}, 3, kStart + seconds(7)));
  EXPECT_EQ(penalties.failed({"a", "one"}, kStart + seconds(10)), seconds(16));
  EXPECT_EQ(penalties.failed({"a", "name 1"}, kStart + seconds(10)), seconds(1)) << "was dropped";
  EXPECT_EQ(penalties.failed({"a", "name 9999"}, kStart + seconds(10)), seconds(2));
}

TEST(Penalties, FloodOfNetworksWipesNoRecordOut) {
  Penalties penalties(milliseconds(1000), milliseconds(16000), 4);
  for (int i = 0; i < 4; ++i) penalties.failed({"a", "one"}, kStart);
  for (int i = 0; i < 10'000; ++i)
    penalties.failed({"network " + std::to_string(i), "one"}, kStart + milliseconds(i));
  EXPECT_EQ(penalties.failed({"a", "one"}, kStart + seconds(10)), seconds(16));
  EXPECT_EQ(penalties.failed({"network 1", "one"}, kStart + seconds(10)), seconds(1));
}

TEST(Penalties, WhatIsKeptIsBounded) {
  Penalties penalties(milliseconds(1000), milliseconds(16000), 4);
  for (int network = 0; network < 100; ++network)
    for (int name = 0; name < 100; ++name)
      penalties.failed({std::to_string(network), std::to_string(name)}, kStart);
  EXPECT_LE(penalties.size(), 4000u);
  EXPECT_GE(penalties.size(), 3000u);
  penalties.failed({"a", "one"}, kStart + minutes(10));
  EXPECT_EQ(penalties.size(), 1u);
}

}  // namespace
}  // namespace broker::http

#include "broker/http/connection_slots.h"

#include <gtest/gtest.h>

#include <deque>

namespace broker::http {
namespace {

struct ConnectionSlotsTest : testing::Test {
  // Who has to go, by the order of entering; -1: nobody.
  int enter(const std::string& network) {
    made.emplace_back();
    made.back().network = network;
    ConnectionSlots::Slot* const gone = slots.enter(made.back());
    for (std::size_t i = 0; i < made.size(); ++i)
      if (&made[i] == gone) return static_cast<int>(i);
    return -1;
  }

  ConnectionSlots slots{3, 2};
  std::deque<ConnectionSlots::Slot> made;
};

TEST_F(ConnectionSlotsTest, OldestOfTheFullestNetworkGoes) {
  for (const char* network : {"a", "b", "b"}) EXPECT_EQ(enter(network), -1);
  EXPECT_EQ(enter("c"), 1);
  slots.leave(made[1]);
  EXPECT_EQ(enter("c"), 3);
}

TEST_F(ConnectionSlotsTest, AloneEachTheOldestGoes) {
  for (const char* network : {"a", "b", "c"}) EXPECT_EQ(enter(network), -1);
  EXPECT_EQ(enter("d"), 0);
}

TEST_F(ConnectionSlotsTest, WhoHasWorkGoesLast) {
  for (const char* network : {"b", "b", "a"}) EXPECT_EQ(enter(network), -1);
  made[0].has_work = made[1].has_work = true;
  EXPECT_EQ(enter("b"), 3) << "of the fullest network still";
  slots.leave(made[3]);
  EXPECT_EQ(enter("c"), 2);
  for (auto& slot : made) slot.has_work = true;
  EXPECT_EQ(slots.crowd_out(), &made[0]) << "with work too, where all have";
}

TEST_F(ConnectionSlotsTest, WorkOfOneNetworkKeepsNoOtherOut) {
  for (const char* network : {"a", "a", "a"}) {
    EXPECT_EQ(enter(network), -1);
    made.back().has_work = true;
  }
  EXPECT_EQ(enter("b"), 0);
  EXPECT_FALSE(made[3].has_work);
  slots.leave(made[0]);
  made[3].has_work = true;
  EXPECT_EQ(enter("a"), 4) << "one more of the fullest";
}

TEST_F(ConnectionSlotsTest, KnownOnesMakeRoomForTheUnknown) {
  for (const char* network : {"a", "a", "a"}) EXPECT_EQ(enter(network), -1);
  EXPECT_EQ(slots.become_known(made[0]), nullptr);
  EXPECT_EQ(slots.become_known(made[0]), nullptr) << "again";
  EXPECT_TRUE(made[0].known);
  EXPECT_EQ(enter("a"), -1);
  EXPECT_EQ(slots.become_known(made[1]), nullptr);
  made[0].has_work = true;
  EXPECT_EQ(slots.become_known(made[2]), &made[1]);
  slots.leave(made[1]);
  made[2].has_work = true;
  EXPECT_EQ(slots.become_known(made[3]), &made[3]) << "where all others have work";
  EXPECT_FALSE(made[3].known);
  slots.leave(made[0]);
  EXPECT_EQ(slots.become_known(made[3]), nullptr);
}

TEST_F(ConnectionSlotsTest, WhoHasLeftIsNotThere) {
  EXPECT_EQ(slots.crowd_out(), nullptr);
  enter("a");
  slots.leave(made[0]);
  slots.leave(made[0]);
  EXPECT_EQ(slots.crowd_out(), nullptr);
  EXPECT_EQ(slots.become_known(made[0]), nullptr);
  EXPECT_FALSE(made[0].known);
}

}  // namespace
}  // namespace broker::http

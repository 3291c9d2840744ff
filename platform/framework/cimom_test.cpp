#include "platform/framework/cimom.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/framework/test_class.h"

namespace ovk_cimple {
namespace {

struct FixedAnswer : Cimom {
  explicit FixedAnswer(sint32 answer) : status(answer) {}
  sint32 enum_instances(const char*, const Instance&, Instance_Enumerator& out) override {
    out.add(make<Drive>());
    return status;
  }
  sint32 status;
};

sint32 ask() {
  Instance_Enumerator enumerator;
  return cimom::enum_instances("root/cimv2", *make<Drive>(), enumerator);
}

TEST(Cimom, NobodyAnswersOutsideAnOperation) { EXPECT_EQ(ask(), -1); }

TEST(Cimom, TheInnermostScopeAnswersAndTheOuterOneAgainAfterIt) {
  FixedAnswer outer(1), inner(2);
  const CimomScope outer_scope(outer);
  EXPECT_EQ(ask(), 1);
  {
    const CimomScope inner_scope(inner);
    EXPECT_EQ(ask(), 2);
  }
  EXPECT_EQ(ask(), 1);
}

TEST(Cimom, AScopeBelongsToItsThread) {
  FixedAnswer answer(1);
  const CimomScope scope(answer);
  sint32 seen = 0;
  std::thread([&] { seen = ask(); }).join();
  EXPECT_EQ(seen, -1);
}

TEST(InstanceEnumerator, DeliversInOrderAndThenNothing) {
  Instance_Enumerator enumerator;
  EXPECT_FALSE(enumerator.more());
  const Ref<Drive> first = make<Drive>(), second = make<Drive>();
  enumerator.add(first);
  enumerator.add(second);
  EXPECT_EQ(enumerator.next().get(), first.get());
  EXPECT_TRUE(enumerator.more());
  EXPECT_EQ(enumerator.next().get(), second.get());
  EXPECT_FALSE(enumerator.more());
  EXPECT_FALSE(enumerator.next());
}

}  // namespace
}  // namespace ovk_cimple

#include "providers/KAVRO_HDDTest_AffectedJobElement_Provider.h"

#include <type_traits>

#include "providers/KAVRO_HDDTest_UseOfLog_Provider.h"
#include "providers/provider_test.h"

namespace ovk_cimple {
namespace {

using Provider = KAVRO_HDDTest_AffectedJobElement_Provider;
using Association = KAVRO_HDDTest_AffectedJobElement;

template <class T>
concept Has_Associators = requires {
  &T::enum_associators;
};

static_assert(std::is_empty_v<Provider>);
static_assert(Has_Associators<KAVRO_HDDTest_UseOfLog_Provider>);
static_assert(!Has_Associators<Provider>);

class AffectedJobElement : public ProviderTest {};

// No client can reach it, but it answers when it is called directly.
TEST_F(AffectedJobElement, AnswersWithItsFixedCodesDeliversNothingAndLogsNothing) {
  const Ref<Association> given = make<Association>();
  EnumHandler<> names([](Instance*, sint32, void*) { ADD_FAILURE(); }, nullptr);
  EnumHandler<Association> references([](Instance*, sint32, void*) { ADD_FAILURE(); }, nullptr);
  for (const Association* association : {static_cast<Association*>(nullptr), given.get()}) {
    Provider provider;
    Association* found = nullptr;
    EXPECT_EQ(provider.load(), 0);
    EXPECT_EQ(provider.get_instance(association, found), 61);
    EXPECT_EQ(found, nullptr);
    EXPECT_TRUE(enumerate<Association>(provider).empty());
    EXPECT_EQ(provider.create_instance(association), 81);
    EXPECT_EQ(provider.delete_instance(association), 91);
    EXPECT_EQ(provider.modify_instance(association, association), 101);
    EXPECT_EQ(provider.enum_associator_names(association, "CIM_Job", "AffectedElement",
                                             "AffectingElement", &names),
              111);
    EXPECT_EQ(provider.enum_references(association, association, "AffectedElement", &references),
              121);
    EXPECT_EQ(provider.unload(), 0);
  }
  EXPECT_TRUE(take_log().empty());
  EXPECT_TRUE(properties_set(given.get()).empty());
}

}  // namespace
}  // namespace ovk_cimple

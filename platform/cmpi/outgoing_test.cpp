#include "platform/cmpi/outgoing.h"

#include <gmock/gmock.h>

#include "platform/framework/test_class.h"

namespace ovk_cimple {
namespace {

using testing::ElementsAre;

// The names of the properties that a selection holds of a class, and its two lists of names.
std::vector<std::string> names_of(Selection& selection, const MetaClass& meta) {
  std::vector<std::string> names;
  for (const MetaProperty* const property : selection.of(meta)) names.push_back(property->name);
  return names;
}
std::vector<std::string> listed(const char** names) {
  std::vector<std::string> result;
  for (; *names; ++names) result.emplace_back(*names);
  return result;
}

TEST(Selection, IsMadeAnewForEachClass) {
  Selection everything(nullptr);
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(names_of(everything, Drive::static_meta_class),
                ElementsAre("Name", "States", "Size", "Owner"));
    EXPECT_THAT(names_of(everything, Device::static_meta_class), ElementsAre("Name", "States"));
    EXPECT_THAT(listed(everything.names()), ElementsAre("Name", "States"));
    EXPECT_THAT(listed(everything.keys()), ElementsAre("Name"));
  }
}

TEST(Selection, KeysBelongToWhatAClientAskedFor) {
  const char* names[] = {"SIZE", "Colour", nullptr};
  Selection asked(names);
  EXPECT_FALSE(asked.everything());
  EXPECT_THAT(names_of(asked, Drive::static_meta_class), ElementsAre("Name", "Size"));
  EXPECT_THAT(names_of(asked, Device::static_meta_class), ElementsAre("Name"));
  EXPECT_THAT(listed(asked.names()), ElementsAre("Name"));
  EXPECT_THAT(listed(asked.keys()), ElementsAre("Name"));
}

}  // namespace
}  // namespace ovk_cimple

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

#include "broker/cimxml/functional_groups.h"
#include "broker/cimxml/task.h"

namespace broker::cimxml {
namespace {

void add_words(std::string_view list, std::multiset<std::string>& words) {
  std::istringstream stream{std::string(list)};
  for (std::string word; stream >> word;) words.insert(word);
}

// What clients are told of the groups follows from what is served.
TEST(FunctionalGroups, HoldWhatIsServed) {
  std::multiset<std::string> told;
  for (const FunctionalGroup& group : kFunctionalGroups) add_words(group.operations, told);
  add_words(kOtherOperations, told);
  for (const IntrinsicOperation& operation : intrinsic_operations()) {
    const auto found = told.find(std::string(operation.name));
    if (found == told.end()) {
      ADD_FAILURE() << operation.name << " is served, but not in functional_groups.h";
    } else {
      told.erase(found);
    }
  }
  for (const std::string& name : told)
    ADD_FAILURE() << name << " is in functional_groups.h, but not served";
}

TEST(FunctionalGroups, AreWrittenAsTheHeaderFieldHasThem) {
  EXPECT_EQ(functional_groups(), "Basic Read, Association Traversal");
}

}  // namespace
}  // namespace broker::cimxml

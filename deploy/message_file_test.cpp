// The message file as it is shipped, read where the programs of the build find it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "results/TDiagnosticResultParser.h"

namespace {

using ::testing::IsEmpty;

struct Checker : TDiagnosticResultParser {
  void FatalError(const char* message) override { errors.emplace_back(message); }
  std::vector<std::string> errors;
};

class MessageFile : public testing::Test {
 protected:
  void SetUp() override {
    const auto build = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
    std::ifstream file(build / "share/hddtest/hddtest.msg.xml");
    ASSERT_TRUE(file);
    text_.assign(std::istreambuf_iterator<char>(file), {});
    parser_.Parse(text_.data());
    messages_ = parser_.getResultMsgs();
  }

  std::string text_;
  Checker parser_;
  std::multimap<std::string, TDiagnosticResultMessage> messages_;
};

TEST_F(MessageFile, HasNoErrors) { EXPECT_THAT(parser_.errors, IsEmpty()); }

TEST_F(MessageFile, HasOneResultForEachStateOfTheSelfTest) {
  std::multiset<std::string> states;
  for (const auto& [key, message] : messages_) {
    EXPECT_EQ(key, "hard drive: self test");
    states.insert(message.fState);
  }
  EXPECT_EQ(states, (std::multiset<std::string>{"aborted", "failed", "passed"}));
}

TEST_F(MessageFile, EveryResultHasAnErrorCodeOfItsOwn) {
  std::set<std::string> codes;
  for (const auto& [key, message] : messages_) {
    EXPECT_NE(message.fErrorCode, "");
    codes.insert(message.fErrorCode);
  }
  EXPECT_EQ(codes.size(), messages_.size());
}

// A second line would replace the first in the record.
TEST_F(MessageFile, EveryResultHasOneMessageLine) {
  for (const auto& [key, message] : messages_) {
    EXPECT_EQ(message.fMessages.size(), 1u) << message.fState;
  }
}

TEST_F(MessageFile, EveryResultHasActionsNumberedFromOne) {
  for (const auto& [key, message] : messages_) {
    ASSERT_FALSE(message.fActions.empty()) << message.fState;
    for (std::size_t i = 0; i < message.fActions.size(); ++i) {
      EXPECT_EQ(message.fActions[i].fPriority, std::to_string(i + 1)) << message.fState;
    }
  }
}

// An element left empty would repeat the text before it.
TEST_F(MessageFile, NoTextIsRepeatedOrHasSpaceAtItsEndsOrALineBreak) {
  std::set<std::string> texts;
  const auto check = [&](const std::string& line) {
    EXPECT_TRUE(texts.insert(line).second) << line;
    ASSERT_NE(line, "");
    EXPECT_NE(line.front(), ' ') << line;
    EXPECT_NE(line.back(), ' ') << line;
    EXPECT_EQ(line.find_first_of("\n\t"), std::string::npos) << line;
  };
  for (const auto& [key, message] : messages_) {
    check(message.fErrorCode);
    for (const auto& line : message.fMessages) check(line);
    for (const auto& action : message.fActions) check(action.fText);
  }
  EXPECT_FALSE(texts.empty());
}

}  // namespace

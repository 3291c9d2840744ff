#include "drivetest/tool_json.h"

#include <gtest/gtest.h>

#include "drivetest/tool_text.h"

namespace drivetest {
namespace {

TEST(ToolJson, IsReadUnlessItIsNoObject) {
  EXPECT_TRUE(JsonDocument("{\"a\":1}").is_readable());
  for (const char* const text : {"", "{", "[1]", "7", "{\"a\":1} x", "{'a':1}"})
    EXPECT_FALSE(JsonDocument(text).is_readable()) << text;
}

TEST(ToolJson, TakesNumbersThatAreWholeAndInRange) {
  const JsonDocument document(R"({"most":18446744073709551615,"more":18446744073709551616,)"
                              R"("less":-1,"real":1.0,"text":"1","coded":{"value":7}})");
  const JsonPart root = document.root();
  EXPECT_EQ(root["most"].number(), 18446744073709551615U);
  EXPECT_FALSE(root["most"].whole());
  for (const char* const name : {"more", "less", "real", "text", "coded", "absent"})
    EXPECT_FALSE(root[name].number()) << name;
  EXPECT_EQ(root["less"].whole(), -1);
  EXPECT_EQ(root["coded"].code(7), 7U);
  EXPECT_FALSE(root["coded"].code(6));
  EXPECT_FALSE(root["absent"]["member"].at(3).truth());
}

TEST(ToolJson, LosesWhatIsNestedTooDeepAndNothingElse) {
  const std::string deep =
      "{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + ",\"b\":1}";
  const JsonDocument document(deep);
  EXPECT_EQ(document.root()["b"].number(), 1U);
  JsonPart part = document.root()["a"];
  for (int level = 0; level < 32; ++level) part = part.at(0);
  EXPECT_EQ(part.size(), 0U);
  EXPECT_FALSE(JsonDocument(std::string(100000, '[')).is_readable());
}

TEST(ToolJson, IsNotReadPastItsLimit) {
  const std::string text = "{\"a\":\"" + std::string(std::size_t{8} << 20, 'x') + "\"}";
  EXPECT_FALSE(JsonDocument(text).is_readable());
}

TEST(ToolJson, GivesValidUtf8WhateverTheDriveSays) {
  const JsonDocument document("{\"a\":\" x\xFFy\xC3\xA9 \"}");
  EXPECT_EQ(document.root()["a"].text(), "x\xEF\xBF\xBDy\xC3\xA9");
}

TEST(ToolJson, HasNoNulInItsTexts) {
  const JsonDocument document(R"({"a": "x\u0000y"})");
  EXPECT_EQ(document.root()["a"].text(), "x\xEF\xBF\xBDy");
}

TEST(ToolText, HasAFirstLineThatCanBeQuoted) {
  EXPECT_EQ(first_line("\n\n  one \r\ntwo"), "one");
  EXPECT_EQ(first_line(" \n"), "");
  EXPECT_LE(first_line(std::string(5000, 'x')).size(), 300U);
}

TEST(ToolText, TellsFaultsByTheWordsAtTheEnd) {
  EXPECT_EQ(fault_of("x failed: Permission denied"), LookFault::NotPermitted);
  EXPECT_EQ(fault_of("x failed: No such device or address"), LookFault::NoSuchDrive);
  EXPECT_EQ(fault_of("No such device exists here"), LookFault::CannotBeReached);
}

}  // namespace
}  // namespace drivetest

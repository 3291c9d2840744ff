#include "drivetest/start_report.h"

#include <gtest/gtest.h>

namespace drivetest {
namespace {

ToolReply reply(const std::string& line, int status = 0) {
  return read_reply(
      {R"({"smartctl":{"output":["smartctl 7.3 of today",")" + line + "\"]}}", "", status});
}

TEST(ToolReply, IsToldByTheWordsAndNotByTheStatus) {
  EXPECT_EQ(reply("Testing has begun.", 4).answer, ToolAnswer::Accepted);
  EXPECT_EQ(reply("Testing has begun.", 4).words, "Testing has begun.");
  EXPECT_EQ(reply("NVMe device successfully opened").answer, ToolAnswer::NothingDone);
  EXPECT_EQ(reply("Self-tests not supported").answer, ToolAnswer::NotSupported);
  EXPECT_EQ(
      reply("Can't start self-test without aborting current test (42% completed)", 255).answer,
      ToolAnswer::Busy);
}

TEST(ToolReply, WithoutWordsIsNoAcceptance) {
  EXPECT_EQ(reply("").answer, ToolAnswer::NothingDone);
  EXPECT_EQ(reply("", 4).answer, ToolAnswer::Refused);
  EXPECT_EQ(reply("", 2).answer, ToolAnswer::NotAsked);
  EXPECT_EQ(read_reply({"", "", -1}).answer, ToolAnswer::NotAsked);
  EXPECT_EQ(reply("").words, "");
}

TEST(ToolReply, SaysWhatBecameOfTheToolItself) {
  constexpr const char* kWords = "smartctl did not end within a minute";
  EXPECT_EQ(read_reply({"", kWords, -1}).words, kWords);
  EXPECT_EQ(
      read_reply({"smartctl 7.3 2022-02-28 r5338 [x86_64-linux-6.1.0] (local build)\n", kWords, -1})
          .words,
      kWords);
}

TEST(ToolReply, OfNvmeStandsAmongItsErrors) {
  const auto refused = [](const char* line) { return read_reply({"", line, 1}).answer; };
  EXPECT_EQ(refused("NVMe status: Device Self-test In Progress: The ...(0x11d)\n"),
            ToolAnswer::Busy);
  EXPECT_EQ(refused("NVMe status: INVALID_FIELD: A reserved ...(0x6002)\n"), ToolAnswer::Refused);
  EXPECT_EQ(refused("Device self-test: Permission denied\n"), ToolAnswer::NotAsked);
  EXPECT_EQ(refused("Device self-test: Input/output error\n"), ToolAnswer::Refused);
  EXPECT_EQ(read_reply({"Extended Device self-test started\n", "", 0}).answer,
            ToolAnswer::Accepted);
}

}  // namespace
}  // namespace drivetest

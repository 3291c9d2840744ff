#include "cli/log_entry.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

PrintedEntry one(std::string_view line) {
  const std::vector<PrintedEntry> entries = read_entries(line);
  return entries.size() == 1 ? entries.front() : PrintedEntry{};
}

TEST(PrintedEntry, OfAtaDrives) {
  const PrintedEntry entry =
      one("# 1  Short offline       Completed: read failure       70%      4660         12345\n");
  EXPECT_EQ(entry.type, "Short offline");
  EXPECT_TRUE(entry.is_short());
  EXPECT_EQ(entry.kind, EntryKind::Failed);
  EXPECT_EQ(entry.status, "Completed: read failure");
  EXPECT_EQ(entry.remaining, 70);
  EXPECT_EQ(entry.hours, 4660U);
  EXPECT_EQ(entry.block, 12345U);
}

TEST(PrintedEntry, OfScsiDrives) {
  const PrintedEntry entry =
      one("# 3  Background long   Failed in segment -->       3   16273        287362177 [0x3 0x5d "
          "0x1]");
  EXPECT_EQ(entry.type, "Background long");
  EXPECT_FALSE(entry.is_short());
  EXPECT_EQ(entry.kind, EntryKind::Failed);
  EXPECT_EQ(entry.status, "Failed in segment");
  EXPECT_EQ(entry.remaining, std::nullopt);
  EXPECT_EQ(entry.hours, 16273U);
  EXPECT_EQ(entry.block, 287362177U);
  const PrintedEntry running = one(
      "# 1  Background short  Self test in progress ...   -     NOW                 - [-   -  ]");
  EXPECT_EQ(running.kind, EntryKind::Running);
  EXPECT_TRUE(running.is_short());
  EXPECT_EQ(running.hours, std::nullopt);
  EXPECT_EQ(running.block, std::nullopt);
}

TEST(PrintedEntry, KnowsStatusesByTheirWholeText) {
  const auto kind = [](const std::string& status) {
    return one("# 1  Short offline       " + status + "       00%      1217         -").kind;
  };
  EXPECT_EQ(kind("Completed without error"), EntryKind::Passed);
  // Neither "error" nor "fail" is in it, and yet it is a failure.
  EXPECT_EQ(kind("Completed: handling damage??"), EntryKind::Failed);
  EXPECT_EQ(kind("Fatal or unknown error"), EntryKind::Failed);
  EXPECT_EQ(kind("Interrupted (host reset)"), EntryKind::Aborted);
  EXPECT_EQ(kind("Self-test routine in progress"), EntryKind::Running);
  EXPECT_EQ(kind("Unknown status (0x9)"), EntryKind::Unknown);
  EXPECT_EQ(one("#12  Background short  Completed    -     134    - [-   -    -]").kind,
            EntryKind::Passed);
  EXPECT_EQ(one("# 1  Background short  Completed, segment failed   -   5    - [-  -  -]").kind,
            EntryKind::Failed);
}

TEST(PrintedEntry, LeavesOutWhatIsNoNumber) {
  const PrintedEntry entry =
      one("# 1  Short offline  Completed: read failure  150%  99999999999999999999  0x12");
  EXPECT_EQ(entry.remaining, std::nullopt);
  EXPECT_EQ(entry.hours, std::nullopt);
  EXPECT_EQ(entry.block, std::nullopt);
  EXPECT_EQ(one("# 1").kind, EntryKind::Unknown);
}

TEST(PrintedEntry, OnlyLinesWithANumberAreEntries) {
  EXPECT_TRUE(read_entries("SMART Self-test log\n# x\n#\n  # 1  Short\n").empty());
  EXPECT_EQ(read_entries("# 1  a\n# 2  b\n#10  c").size(), 3U);
}

TEST(PrintedEntry, NewOnesAreToldFromOldOnes) {
  const std::string a = "  Short offline  Completed without error  00%  1  -\n";
  const std::string b = "  Short offline  Completed without error  00%  2  -\n";
  EXPECT_TRUE(has_new_entry("", "# 1" + a));
  EXPECT_TRUE(has_new_entry("# 1" + a, "# 1" + b + "# 2" + a));
  EXPECT_TRUE(has_new_entry("# 1" + a, "# 1" + a + "# 2" + a)) << "one more of the same";
  EXPECT_FALSE(has_new_entry("# 1" + a, "Warning: something else\n# 1" + a));
  EXPECT_FALSE(has_new_entry("# 1" + a, ""));
}

}  // namespace
}  // namespace cli

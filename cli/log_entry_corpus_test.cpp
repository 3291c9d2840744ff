// Self-test logs of many drives and versions of smartctl, whose newest entries were read by hand.
// HDDTEST_CORPUS names the directory: selftest/labels.tsv holds the file, the kind of drive, two
// columns more, the status and what it comes to.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

#include "cli/log_entry.h"

namespace cli {
namespace {

std::string word(EntryKind kind) {
  constexpr const char* kWords[] = {"passed", "failed", "aborted", "running", "unknown"};
  return kWords[static_cast<std::size_t>(kind)];
}

TEST(LogEntryCorpus, NewestEntriesMeanWhatTheirReadersFound) {
  const char* const folder = std::getenv("HDDTEST_CORPUS");
  ASSERT_NE(folder, nullptr);
  const std::string corpus = std::string(folder) + "/";
  std::ifstream table(corpus + "selftest/labels.tsv");
  std::string line;
  ASSERT_TRUE(std::getline(table, line));
  int logs = 0;
  while (std::getline(table, line)) {
    std::istringstream columns(line);
    std::string file, kind, skipped, status, outcome;
    for (std::string* const column : {&file, &kind, &skipped, &skipped, &status, &outcome})
      std::getline(columns, *column, '\t');
    if (kind == "nvme") continue;  // logs of another form, which the module does not read
    std::ifstream stream(corpus + file, std::ios::binary);
    const std::string log{std::istreambuf_iterator<char>(stream), {}};
    const std::vector<PrintedEntry> entries = read_entries(log);
    EXPECT_EQ(entries.empty() ? "none" : word(entries.front().kind), outcome) << file;
    ++logs;
  }
  EXPECT_GT(logs, 400);
}

}  // namespace
}  // namespace cli

// Self-test logs of many drives and versions of smartctl, with the outcome that the rules give
// for each, worked out independently. HDDTEST_CORPUS names the directory: per kind of log a
// folder with a table rules.tsv, whose first columns are the file, the outcome (a status,
// "exception", or "unchanged" when there is no log) and the beginning of the newest entry with
// its line ends as \n.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>

#include "engine/self_test_log.h"

namespace {

std::string corpus() {
  const char* directory = std::getenv("HDDTEST_CORPUS");
  return directory == nullptr ? "" : std::string(directory) + "/";
}

std::string read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) escaped += c == '\n' ? "\\n" : std::string(1, c);
  return escaped;
}

std::string outcome(const std::string& text) {
  auto status = static_cast<HDDIAG_TEST_STATUS>(2);
  try {
    THDDTest().GetLatestSelfTestStatus(text, status);
  } catch (const std::out_of_range&) {
    return "exception";
  }
  return status == 2 ? "unchanged" : std::to_string(status);
}

std::set<std::string> logs_in(const std::string& folder) {
  std::set<std::string> logs;
  for (const auto& entry : std::filesystem::directory_iterator(corpus() + folder))
    if (entry.path().extension() == ".txt")
      logs.insert(folder + "/" + entry.path().filename().string());
  return logs;
}

constexpr const char* kFolders[] = {"selftest", "selftest-full"};

class SelfTestLogCorpus : public testing::TestWithParam<const char*> {};

TEST_P(SelfTestLogCorpus, EveryLogGivesItsOutcome) {
  std::istringstream table(read(corpus() + GetParam() + "/rules.tsv"));
  std::string line;
  std::getline(table, line);
  ASSERT_TRUE(line.starts_with("file\trule\trule_entry\t"));
  std::set<std::string> logs;
  while (std::getline(table, line)) {
    std::istringstream columns(line);
    std::string file, expected, entry;
    std::getline(columns, file, '\t');
    std::getline(columns, expected, '\t');
    std::getline(columns, entry, '\t');
    SCOPED_TRACE(file);
    const std::string text = read(corpus() + file);
    EXPECT_EQ(outcome(text), expected);
    if (!entry.empty()) {
      const auto newest = engine::newest_entry(text, engine::find_self_test_log(text));
      EXPECT_TRUE(escaped(newest).starts_with(entry)) << entry;
    }
    EXPECT_TRUE(logs.insert(file).second) << "has two rows";
  }
  EXPECT_EQ(logs, logs_in(GetParam()));
}

// No real log has two marks side by side, so each is split into as many entries as are counted.
TEST_P(SelfTestLogCorpus, EveryLogSplitsIntoTheEntriesThatAreCounted) {
  std::istringstream table(read(corpus() + GetParam() + "/rules.tsv"));
  std::string line;
  std::getline(table, line);
  int entries_of_all = 0;
  while (std::getline(table, line)) {
    const std::string file = line.substr(0, line.find('\t'));
    SCOPED_TRACE(file);
    const std::string text = read(corpus() + file);
    ASSERT_EQ(text.find("##"), std::string::npos);
    THDDTest engine;
    std::vector<std::string> entries;
    engine.SplitLogEntry(text, entries);
    EXPECT_EQ(entries.size(), static_cast<std::size_t>(engine.CountLogNumer(text)));
    entries_of_all += static_cast<int>(entries.size());
  }
  EXPECT_GT(entries_of_all, 0);
}

TEST(SelfTestLogCorpusAsAWhole, HasTheLogsOfManyDrives) {
  std::size_t logs = 0;
  for (const char* folder : kFolders) logs += logs_in(folder).size();
  EXPECT_GE(logs, 640u);
}

INSTANTIATE_TEST_SUITE_P(Of, SelfTestLogCorpus, testing::ValuesIn(kFolders),
                         [](const auto& folder) {
                           return folder.index == 0 ? "LogSections" : "WholeReports";
                         });

}  // namespace

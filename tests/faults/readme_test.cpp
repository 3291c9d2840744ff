// The README's table "What happens when" says what the cases have seen.
#include <gtest/gtest.h>

#include <fstream>
#include <string_view>

#include "tests/faults/case.h"

namespace faults {

namespace {

struct Row {
  std::string what, client, log;
};

std::string trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(' ');
  return begin == text.npos ? "" : text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

std::vector<Row> rows() {
  std::ifstream file(HDDTEST_README);
  std::vector<Row> all;
  std::string line;
  while (std::getline(file, line) && line != "## What happens when") {
  }
  while (std::getline(file, line) && !line.starts_with("## ")) {
    if (!line.starts_with("| ") || line.starts_with("| what goes wrong")) continue;
    std::vector<std::string> cells;
    for (std::size_t begin = 1, end; (end = line.find('|', begin)) != line.npos; begin = end + 1)
      cells.push_back(trimmed(line.substr(begin, end - begin)));
    EXPECT_EQ(cells.size(), 4u) << line;
    if (cells.size() == 4) all.push_back({cells[0], cells[1], cells[2]});
  }
  return all;
}

// As the table has it.
std::string client_sees(const std::string& seen) {
  if (seen == "no record" || seen == "no job") return seen;
  if (seen == "none") return "no drive is offered";
  if (seen == "/dev/sda") return "the drive is offered";
  return seen == "error" ? "an error" : "a record: " + seen;
}
std::string log_says(const char* log) {
  if (!log) return "nothing";
  std::string line = log;
  if (line.starts_with("journal ")) return "its lines are in the journal";
  line = line.substr(2);  // behind the severity
  for (std::size_t at; (at = line.find("/dev/sda")) != line.npos;) line.replace(at, 8, "DEVICE");
  return '"' + line + '"';
}

TEST(Readme, RowsAreWhatCasesHaveSeen) {
  std::set<std::pair<std::string, std::string>> known;
  for (const auto* cases : {&run_cases(), &discovery_cases()})
    for (const Case& one : *cases) known.insert({client_sees(one.seen), log_says(one.log)});
  int checked = 0;
  for (const Row& row : rows()) {
    if (row.what.starts_with("the server") || row.what.starts_with("the client")) continue;
    EXPECT_TRUE(known.contains({row.client, row.log})) << row.what << ": " << row.log;
    ++checked;
  }
  EXPECT_GE(checked, 15);
}

}  // namespace
}  // namespace faults

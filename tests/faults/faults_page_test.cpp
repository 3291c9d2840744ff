// The tables of docs/faults.md say what the cases have seen.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string_view>

#include "platform/words.h"
#include "tests/faults/case.h"

namespace faults {

namespace {

struct Row {
  std::string what, client, log;
};

std::string trimmed(std::string_view text) { return std::string(platform::trim(text)); }

std::vector<std::string> split(const std::string& text, const std::string& separator) {
  std::vector<std::string> parts;
  std::size_t begin = 0;
  for (std::size_t end = text.find(separator); end != text.npos;
       end = text.find(separator, begin)) {
    parts.push_back(trimmed(text.substr(begin, end - begin)));
    begin = end + separator.size();
  }
  parts.push_back(trimmed(text.substr(begin)));
  return parts;
}

std::vector<Row> rows() {
  std::ifstream file(HDDTEST_FAULTS_PAGE);
  std::vector<Row> all;
  std::string line;
  while (std::getline(file, line)) {
    if (!line.starts_with("| ") || line.starts_with("| what goes wrong")) continue;
    std::vector<std::string> cells = split(line, "|");
    cells.erase(cells.begin());  // before the first
    cells.pop_back();            // behind the last
    EXPECT_EQ(cells.size(), 4u) << line;
    if (cells.size() == 4) all.push_back({cells[0], cells[1], cells[2]});
  }
  return all;
}

// As the page words it.
std::string client_sees(const std::string& seen) {
  if (seen == "no record" || seen == "no job") return seen;
  if (seen == "none") return "no drive is offered";
  if (seen == "nameless") return "an offer without a drive's name";
  if (seen == "/dev/sda") return "the drive is offered";
  const bool is_outcome = seen == "passed" || seen == "failed" || seen == "aborted";
  return is_outcome ? "a record: " + seen : seen;
}
std::string log_says(const char* log) {
  if (!log) return "nothing";
  std::string line = log;
  if (line.starts_with("journal ")) return "its lines are in the journal";
  line = line.substr(2);  // behind the severity
  for (std::size_t at = line.find("/dev/sda"); at != line.npos; at = line.find("/dev/sda"))
    line.replace(at, 8, "DEVICE");
  return '"' + line + '"';
}

struct Seen {
  std::set<std::string> client, log;
};

// The texts of a cell, one for each thing that can happen.
std::set<std::string> alternatives(const std::string& cell) {
  const std::vector<std::string> all = split(cell, "; ");
  return {all.begin(), all.end()};
}

TEST(FaultsPage, EachRowIsWhatItsCasesHaveSeenAndEachCaseHasOne) {
  std::map<std::string, Seen> known;
  for (const auto* cases : {&run_cases(), &discovery_cases()})
    for (const Case& one : *cases) {
      known[one.row].client.insert(client_sees(one.seen));
      known[one.row].log.insert(log_says(one.log));
    }
  for (const FailingOperation& operation :
       {operations()[0], operations()[1]}) {  // a run, a discovery
    for (const std::string& seen : operation.may_be_seen)
      known[kSingleFailures].client.insert(client_sees(seen));
    known[kSingleFailures].log.insert(log_says(operation.first_log));
  }
  for (const Row& row : rows()) {
    if (row.what.starts_with("the server") || row.what.starts_with("the client")) continue;
    SCOPED_TRACE(row.what);
    const auto seen = known.extract(row.what);
    ASSERT_FALSE(seen.empty()) << "no case, or a second row";
    EXPECT_EQ(alternatives(row.client), seen.mapped().client);
    EXPECT_EQ(alternatives(row.log), seen.mapped().log);
  }
  for (const auto& [row, seen] : known) ADD_FAILURE() << "no row: " << row;
}

}  // namespace
}  // namespace faults

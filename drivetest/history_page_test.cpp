// docs/history.md tells the truth.
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

#include "drivetest/history_case.h"
#include "drivetest/time_text.h"

namespace drivetest {
namespace {

using testing::ElementsAre;

class HistoryPage : public HistoryCase {
 protected:
  HistoryPage() {
    std::ifstream file(HDDTEST_HISTORY_PAGE);
    page_.assign(std::istreambuf_iterator<char>(file), {});
  }
  bool has(const std::string& name) const {
    return page_.find("`" + name + "`") != std::string::npos;
  }

  std::vector<std::string> queries() const {
    std::vector<std::string> found;
    constexpr std::string_view kBegin = "```sql\n";
    for (std::size_t place = page_.find(kBegin); place != std::string::npos;
         place = page_.find(kBegin, place)) {
      place += kBegin.size();
      found.push_back(page_.substr(place, page_.find("```", place) - place));
    }
    return found;
  }

  // Each row's columns with a bar between.
  static std::vector<std::string> rows_of(Database& database, const std::string& sql,
                                          const std::vector<bool>& is_text) {
    std::vector<std::string> rows;
    Query query = database.query(sql);
    while (query.step()) {
      std::string row;
      for (const bool text : is_text)
        row += (text ? query.next_optional_text().value_or("")
                     : std::to_string(query.next_optional_integer().value_or(-1))) +
               "|";
      rows.push_back(row);
    }
    return rows;
  }

 private:
  std::string page_;
};

TEST_F(HistoryPage, HasQueriesThatAnswer) {
  now = system_time() - std::chrono::hours(24 * 100);
  History history(options());
  const auto test = [&](unsigned which, TestKind kind, Outcome outcome) {
    TestRow begun = begun_row(which);
    begun.kind = kind;
    TestRow end = begun;
    end.number = history.begin(drive(which), begun).number;
    end.ended = now;
    end.outcome = outcome;
    end.cause = outcome == Outcome::Failed ? "read failure" : "completed without error";
    if (outcome == Outcome::Failed) end.first_bad_block = 77;
    end.hours = 10;
    EXPECT_TRUE(history.update(end));
  };
  test(1, TestKind::Short, Outcome::Failed);
  test(2, TestKind::Long, Outcome::Passed);
  const std::string then = time_text(now);
  now += std::chrono::hours(24 * 50);
  test(1, TestKind::Long, Outcome::Passed);
  history.begin(drive(2), begun_row(2));
  // A look at a drive that others have tested records all of its log at once, the oldest first.
  test(3, TestKind::Short, Outcome::Passed);
  test(3, TestKind::Short, Outcome::Aborted);
  history.database()
      .query(
          "UPDATE tests SET recorded = (SELECT max(recorded) FROM tests)"
          " WHERE drive = (SELECT max(drive) FROM tests)")
      .step();
  // The log of a drive that has run for long tells of a test in its first days.
  TestRow old;
  old.place = drive(4).place;
  old.source = Source::Other;
  old.kind = TestKind::Short;
  old.outcome = Outcome::Passed;
  old.cause = "completed without error";
  old.result_code = 0;
  old.hours = 100;
  EXPECT_TRUE(history.change(drive(4), {}, {{}, {}, {old}}));
  const std::string later = time_text(now);

  const std::vector<std::string> asked = queries();
  ASSERT_EQ(asked.size(), 3U);
  EXPECT_THAT(rows_of(history.database(), asked[0], {true, true, true, true, false, true, true}),
              ElementsAre("Example Disk|S1|long|" + later + "|10|passed|completed without error|",
                          "Example Disk|S2|short|" + later + "|-1|running||",
                          "Example Disk|S3|short|" + later + "|10|aborted|completed without error|",
                          "Example Disk|S4|short|before " + later +
                              "|100|passed|completed without error|"));
  EXPECT_THAT(
      rows_of(history.database(), asked[1],
              {true, true, true, true, true, true, false, true, false}),
      ElementsAre("host-a|Example Disk|S1|/dev/sdb|short|" + then + "|10|read failure|77|"));
  EXPECT_THAT(rows_of(history.database(), asked[2], {true, true}),
              ElementsAre("Example Disk|S2|", "Example Disk|S3|", "Example Disk|S4|"));
}

TEST_F(HistoryPage, NamesEveryTableAndColumn) {
  History history(options());
  Query query = history.database().query(
      "SELECT m.name, p.name FROM sqlite_schema m JOIN pragma_table_info(m.name) p"
      " WHERE m.type IN ('table', 'view') AND m.name NOT LIKE 'sqlite%'");
  std::size_t columns = 0;
  while (query.step()) {
    const std::string table = query.next_text();
    const std::string column = query.next_text();
    EXPECT_TRUE(has(table)) << table;
    EXPECT_TRUE(has(column)) << table << '.' << column;
    ++columns;
  }
  EXPECT_GT(columns, 50U);
}

}  // namespace
}  // namespace drivetest

#include "drivetest/history_schema.h"

#include <gmock/gmock.h>

#include "drivetest/history_case.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class HistorySchemaTest : public HistoryCase {};

TEST_F(HistorySchemaTest, TakesAnOlderFileForwardWithItsRows) {
  {
    History history(options());
    tested(history, 1);
  }
  const std::vector<std::string_view> steps = {
      schema_steps().front(), "ALTER TABLE drives ADD COLUMN place_in_rack TEXT",
      "CREATE TABLE racks (name TEXT) STRICT; UPDATE drives SET place_in_rack = 'A1'"};
  Database database(file(), 1s);
  bring_up_to_date(database, {steps.data(), 2});
  EXPECT_EQ(schema_version(database), 2);
  bring_up_to_date(database, steps);
  bring_up_to_date(database, steps);
  EXPECT_EQ(schema_version(database), 3);
  EXPECT_EQ(text_of(database, "SELECT place_in_rack FROM drives"), "A1");
  EXPECT_EQ(number_of(database, "SELECT count(*) FROM tests"), 1);
  expect_tables(database);
}

TEST_F(HistorySchemaTest, LeavesAnOlderFileAsItIsWhenAStepFails) {
  { History history(options()); }
  const std::vector<std::string_view> steps = {schema_steps().front(),
                                               "CREATE TABLE racks (name TEXT); CREATE NONSENSE"};
  Database database(file(), 1s);
  EXPECT_THROW(bring_up_to_date(database, steps), DatabaseError);
  EXPECT_EQ(schema_version(database), 1);
  EXPECT_EQ(number_of(database, "SELECT count(*) FROM sqlite_schema WHERE name = 'racks'"), 0);
}

TEST_F(HistorySchemaTest, RefusesANewerFileAndLeavesIt) {
  {
    History history(options());
    tested(history, 1);
    history.database().run("PRAGMA user_version = 2");
  }
  try {
    History history(options());
    FAIL();
  } catch (const HistoryError& error) {
    EXPECT_EQ(error.fault(), HistoryFault::Newer);
    EXPECT_THAT(error.what(), HasSubstr("upgrade hddtest, or set HVX_STATE_DIR"));
  }
  EXPECT_EQ(count_files("history.sqlite.damaged"), 0U);
  Database database(file(), 1s);
  EXPECT_EQ(number_of(database, "SELECT count(*) FROM tests"), 1);
}

}  // namespace
}  // namespace drivetest

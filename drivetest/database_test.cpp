#include "drivetest/database.h"

#include <limits>

#include "drivetest/history_case.h"
#include "drivetest/time_text.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;

TEST(TimeText, IsReadBack) {
  for (const std::int64_t seconds : {0L, 951'782'400L, 1'795'348'800L, 253'402'300'799L}) {
    const Time time{std::chrono::seconds(seconds)};
    EXPECT_EQ(time_from_text(time_text(time)), time) << seconds;
  }
  EXPECT_EQ(time_text(Time(951'782'400s)), "2000-02-29T00:00:00Z");
}

TEST(TimeText, IsNothingElse) {
  for (const char* const text :
       {"", "2026-11-22T12:00:00", "2026-11-22 12:00:00Z", "2026-11-22T12:00:00z",
        "2026-11-22T12:00:00Z ", "2026-13-22T12:00:00Z", "2026-00-22T12:00:00Z",
        "2026-02-29T12:00:00Z", "2026-11-31T12:00:00Z", "2026-11-22T24:00:00Z",
        "2026-11-22T12:60:00Z", "2026-11-22T12:00:60Z", "1969-12-31T23:59:59Z",
        "12026-11-22T12:00:00Z", "-026-11-22T12:00:00Z", "202\xD9\xA6-11-22T12:00:0Z"})
    EXPECT_FALSE(time_from_text(text)) << text;
}

class DatabaseTest : public HistoryCase {
 protected:
  DatabaseTest() { History history(options()); }
};

TEST_F(DatabaseTest, GivesValuesBack) {
  Database database(file(), 1s);
  Query query = database.query("SELECT ?, ?, ?, ?, ?, ?", "text", std::int64_t{-1},
                               std::numeric_limits<std::uint64_t>::max(), std::optional<unsigned>(),
                               true, std::optional<std::string>("x"));
  ASSERT_TRUE(query.step());
  EXPECT_EQ(query.next_text(), "text");
  EXPECT_EQ(query.next_integer(), -1);
  EXPECT_EQ(query.next_optional_unsigned(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(query.next_optional_integer(), std::nullopt);
  EXPECT_EQ(query.next_integer(), 1);
  EXPECT_EQ(query.next_optional_text(), "x");
  EXPECT_FALSE(query.step());
}

TEST_F(DatabaseTest, CallsAValueOfAnotherKindDamage) {
  Database database(file(), 1s);
  const auto is_damage = [&](auto read) {
    Query query = database.query("SELECT 1, 'x', -1, NULL");
    query.step();
    try {
      read(query);
    } catch (const DatabaseError& error) {
      return error.is_damage();
    }
    return false;
  };
  EXPECT_TRUE(is_damage([](Query& query) { query.next_text(); }));
  EXPECT_TRUE(is_damage([](Query& query) {
    query.next_integer();
    query.next_integer();
  }));
  EXPECT_TRUE(is_damage([](Query& query) {
    query.next_integer();
    query.next_optional_unsigned();
  }));
  EXPECT_TRUE(is_damage([](Query& query) {
    query.next_integer();
    query.next_text();
    query.next_optional_unsigned();
  }));
}

TEST_F(DatabaseTest, KeepsNothingOfATransactionThatWasNotCommitted) {
  Database database(file(), 1s);
  const auto count = [&] {
    Query query = database.query("SELECT count(*) FROM drives");
    query.step();
    return query.next_integer();
  };
  constexpr std::string_view kInsert =
      "INSERT INTO drives VALUES (NULL, '', ?, 'ATA', '', '', '', '', NULL, NULL, NULL, 0)";
  {
    Transaction transaction(database);
    database.run(kInsert, "1");
    EXPECT_EQ(count(), 1);
  }
  EXPECT_EQ(count(), 0);
  {
    Transaction transaction(database);
    database.run(kInsert, "1");
    transaction.commit();
  }
  EXPECT_EQ(count(), 1);
}

TEST_F(DatabaseTest, OpensNothingThatIsNotThere) {
  EXPECT_THROW(Database(folder() / "other", 1s), DatabaseError);
  EXPECT_FALSE(std::filesystem::exists(folder() / "other"));
}

}  // namespace
}  // namespace drivetest

// A file that holds something else than what was written to it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <thread>

#include "drivetest/history_case.h"

namespace drivetest {
namespace {

using testing::HasSubstr;

class HistoryDamageTest : public HistoryCase {
 protected:
  static std::string content_of(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void put(const std::string& content) const {
    std::filesystem::remove_all(folder());
    std::filesystem::create_directory(folder());
    std::filesystem::permissions(folder(), std::filesystem::perms::owner_all);
    std::ofstream(file(), std::ios::binary) << content;
    std::filesystem::permissions(
        file(), std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  }
  // A history of several pages of each table and index, without changes beside it.
  std::string healthy() const {
    {
      History history(options());
      history.together([&] {
        for (int test = 0; test < 100; ++test) tested(history, test % 7);
      });
      DriveChange change;
      change.log.emplace(21, entry(5));
      EXPECT_TRUE(history.change(drive(1), history.state(drive(1).identity()), change));
      history.begin(drive(1), begun_row());
    }
    return content_of(file());
  }
  // Without the changes beside them.
  std::vector<std::filesystem::path> kept_aside() const {
    std::vector<std::filesystem::path> files;
    for (const auto& one : std::filesystem::directory_iterator(folder())) {
      const std::string name = one.path().filename();
      if (name.starts_with("history.sqlite.damaged-") && !name.ends_with("-wal"))
        files.push_back(one.path());
    }
    return files;
  }
  // Reads and writes all; what is kept from it.
  static void use(History& history) {
    history.last_of_each_drive();
    history.running();
    history.of_drive(drive(1).identity(), 1000);
    history.state(drive(1).identity());
    history.each([](const KeptTest&) {});
    history.begin(drive(8), begun_row());
    history.forget_before(now - std::chrono::hours(1));
  }
};

TEST_F(HistoryDamageTest, IsKeptAsideAndSaidSo) {
  const std::string nonsense(10'000, 'x');
  put(nonsense);
  History history(options());
  const std::string aside = folder() / "history.sqlite.damaged-2027-01-15T08-00-00Z";
  EXPECT_THAT(history.take_notes(),
              testing::ElementsAre(file().string() +
                                   " was damaged (file is not a database): it is "
                                   "kept as " +
                                   aside + ", and a new history was begun"));
  EXPECT_TRUE(history.take_notes().empty());
  EXPECT_EQ(content_of(aside), nonsense);
  tested(history, 1);
  EXPECT_EQ(History(options()).last_of_each_drive().size(), 1U);
}

TEST_F(HistoryDamageTest, IsNeverWrittenOverAnEarlierOne) {
  put("first");
  { History history(options()); }
  for (const char* const next : {"second", "third"}) {
    std::ofstream(file(), std::ios::binary) << next;
    History history(options());
  }
  std::vector<std::string> contents;
  for (const auto& path : kept_aside()) contents.push_back(content_of(path));
  EXPECT_THAT(contents, testing::UnorderedElementsAre("first", "second", "third"));
}

// A page that was flipped, at the beginning, in the middle or as a whole.
TEST_F(HistoryDamageTest, OfAnyPageIsSurvived) {
  const std::string whole = healthy();
  constexpr std::size_t kPage = 4096;
  ASSERT_GT(whole.size(), 10 * kPage);
  std::size_t found = 0;
  for (std::size_t page = 0; page < whole.size(); page += kPage)
    for (const auto& [begin, size] : {std::pair<std::size_t, std::size_t>{0, kPage},
                                      {0, 8},
                                      {16, 64},
                                      {kPage / 2, 512},
                                      {kPage - 200, 200}}) {
      SCOPED_TRACE(std::to_string(page / kPage) + " from " + std::to_string(begin));
      std::string damaged = whole;
      for (std::size_t place = page + begin; place < page + begin + size; ++place)
        damaged[place] = static_cast<char>(~damaged[place]);
      put(damaged);
      try {
        History history(options());
        use(history);
        use(history);
      } catch (const HistoryError& error) {
        EXPECT_TRUE(error.fault() == HistoryFault::Newer ||
                    error.fault() == HistoryFault::Damaged || error.fault() == HistoryFault::Broken)
            << error.what();
        EXPECT_TRUE(kept_aside().empty());
        EXPECT_EQ(content_of(file()).size(), whole.size());
        continue;
      }
      EXPECT_LE(kept_aside().size(), 1U);
      History again(options());
      EXPECT_TRUE(again.running(drive(8).identity()));
      // What nothing has read yet may be damaged still.
      if (kept_aside().empty()) continue;
      ++found;
      EXPECT_EQ(text_of(again.database(), "PRAGMA quick_check(1)"), "ok");
    }
  // A whole page, at the least.
  EXPECT_GE(found, whole.size() / kPage);
}

// The description of the tables is a text in the file, and names functions.
TEST_F(HistoryDamageTest, OfTheTablesDescriptionIsFound) {
  std::string whole = healthy();
  for (std::size_t place = whole.find("strftime"); place != std::string::npos;
       place = whole.find("strftime", place))
    whole.replace(place, 8, "strfdime");
  // And the tests, which is noticed.
  constexpr std::size_t kPage = 4096;
  for (std::size_t page = 0; page < whole.size(); page += kPage)
    if (whole.substr(page, kPage).find("host-a") != std::string::npos)
      whole.replace(page, kPage, kPage, 'x');
  put(whole);
  History history(options());
  use(history);
  EXPECT_EQ(kept_aside().size(), 1U);
}

TEST_F(HistoryDamageTest, OfACutFileIsFound) {
  const std::string whole = healthy();
  for (const std::size_t size : {whole.size() / 2, std::size_t{4096}, std::size_t{100}}) {
    put(whole.substr(0, size));
    History history(options());
    use(history);
    EXPECT_EQ(kept_aside().size(), 1U) << size;
  }
}

TEST_F(HistoryDamageTest, IsAHistoryThatIsNone) {
  const std::string whole = healthy();
  put(whole);
  {
    Database database(file(), std::chrono::seconds(1));
    database.run_script("PRAGMA application_id = 1");
  }
  History history(options());
  EXPECT_THAT(history.take_notes().at(0), HasSubstr("it is no history"));
  EXPECT_EQ(kept_aside().size(), 1U);
}

TEST_F(HistoryDamageTest, TakesChangesAlongWithTheFile) {
  put("");
  std::ofstream(file().string() + "-wal") << "changes";
  History history(options());
  EXPECT_EQ(kept_aside().size(), 1U);
  EXPECT_EQ(content_of(folder() / "history.sqlite.damaged-2027-01-15T08-00-00Z-wal"), "changes");
}

TEST_F(HistoryDamageTest, LeavesWhatIsKeptAsideAsItWas) {
  std::string whole = healthy();
  std::string changes;
  {
    History history(options());
    tested(history, 5);
    changes = content_of(file().string() + "-wal");
  }
  ASSERT_FALSE(changes.empty());
  // From the tables' own description on, which is read at once, and from the tests on.
  for (const std::size_t first : {whole.size() / 2, std::size_t{4096}}) {
    for (std::size_t place = first; place < whole.size(); ++place)
      whole[place] = static_cast<char>(~whole[place]);
    put(whole);
    std::ofstream(file().string() + "-wal", std::ios::binary) << changes;
    History history(options());
    history.of_drive(drive(1).identity(), 1000);
    const std::string aside = folder() / "history.sqlite.damaged-2027-01-15T08-00-00Z";
    EXPECT_TRUE(content_of(aside) == whole) << first;
    EXPECT_TRUE(content_of(aside + "-wal") == changes) << first;
  }
}

// Somebody else has found the damage: the file that is open here is no longer the history.
TEST_F(HistoryDamageTest, LeadsAllProcessesToTheNewFile) {
  History history(options());
  const std::int64_t old = tested(history, 1);
  std::filesystem::rename(file(), file().string() + ".moved");
  for (const char* const suffix : {"-wal", "-shm"})
    std::filesystem::rename(file().string() + suffix, file().string() + ".moved" + suffix);
  EXPECT_FALSE(history.find(old));
  EXPECT_NE(history.begin(drive(2), begun_row()).number, 0);
  EXPECT_TRUE(History(options()).running(drive(2).identity()));
  std::filesystem::remove_all(folder());
  EXPECT_NE(history.begin(drive(3), begun_row()).number, 0);
  EXPECT_TRUE(History(options()).running(drive(3).identity()));
}

// And so it does to one that was about to write when that happened.
TEST_F(HistoryDamageTest, LeadsWhoWaitsToTheNewFile) {
  History history(options());
  const int lock = open(folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  std::thread writer([&] { history.begin(drive(1), begun_row()); });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  for (const char* const suffix : {"", "-wal", "-shm"})
    std::filesystem::rename(file().string() + suffix, file().string() + ".moved" + suffix);
  close(lock);
  writer.join();
  EXPECT_TRUE(History(options()).running(drive(1).identity()));
}

TEST_F(HistoryDamageTest, RunsNothingThatSomebodyHasPutIntoTheFile) {
  { History history(options()); }
  {
    Database database(file(), std::chrono::seconds(1));
    database.run_script("CREATE TRIGGER more AFTER INSERT ON tests BEGIN DELETE FROM tests; END");
  }
  History history(options());
  tested(history, 1);
  EXPECT_EQ(history.last_of_each_drive().size(), 1U);
}

}  // namespace
}  // namespace drivetest

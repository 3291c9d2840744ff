#include "drivetest/history_check.h"

#include <gmock/gmock.h>

#include <fstream>

#include "drivetest/history_case.h"

namespace drivetest {
namespace {

using testing::HasSubstr;
using Result = HistoryCheck::Result;

class HistoryCheckTest : public HistoryCase {
 protected:
  HistoryCheck check() const { return check_history(folder()); }
  void expect_unusable(const std::string& words) const {
    EXPECT_EQ(check().result, Result::Unusable);
    EXPECT_THAT(check().words, HasSubstr(words));
  }
};

TEST_F(HistoryCheckTest, MakesNothing) {
  EXPECT_EQ(check().result, Result::NotThere);
  EXPECT_FALSE(std::filesystem::exists(folder()));
  std::filesystem::create_directory(folder());
  std::filesystem::permissions(folder(), std::filesystem::perms::owner_all);
  EXPECT_EQ(check().result, Result::NotThere);
  EXPECT_EQ(check().file, file());
  EXPECT_TRUE(std::filesystem::is_empty(folder()));
}

TEST_F(HistoryCheckTest, FindsASoundOneAlsoWhileItIsUsed) {
  History history(options());
  tested(history, 1);
  EXPECT_EQ(check().result, Result::Sound) << check().words;
  const Transaction transaction(history.database());
  EXPECT_EQ(check().result, Result::Sound) << check().words;
}

TEST_F(HistoryCheckTest, SaysWhatIsNotSafe) {
  { History history(options()); }
  std::filesystem::permissions(file(), std::filesystem::perms::others_read,
                               std::filesystem::perm_options::add);
  expect_unusable("is open to other users");
  EXPECT_EQ(check().remedy, "chmod 600 " + file().string());
  std::filesystem::remove(file());
  std::filesystem::create_symlink(root() / "elsewhere", file());
  expect_unusable("is a link");
  EXPECT_EQ(check_history(root() / "none/state").result, Result::Unusable);
}

TEST_F(HistoryCheckTest, LeavesADamagedAndANewerOneAsTheyAre) {
  {
    History history(options());
    history.database().run_script("PRAGMA user_version = 99");
  }
  expect_unusable("it was written by a newer hddtest");
  EXPECT_EQ(check().remedy, "upgrade hddtest");
  std::ofstream(file()) << std::string(4096, 'x');
  expect_unusable("it is damaged");
  EXPECT_EQ(count_files("history.sqlite"), 1U);
}

}  // namespace
}  // namespace drivetest

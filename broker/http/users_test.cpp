#include "broker/http/users.h"

#include <crypt.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace broker::http {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class UsersFile : public testing::Test {
 protected:
  UsersFile() {
    std::string name = (fs::temp_directory_path() / "hddtest_users.XXXXXX").string();
    folder_ = mkdtemp(name.data());
    file_ = folder_ / "users";
  }
  ~UsersFile() override { fs::remove_all(folder_); }

  void write(const std::string& text, mode_t mode = 0600) {
    std::ofstream(file_) << text;
    chmod(file_.c_str(), mode);
  }
  std::string text() const {
    std::ostringstream text;
    text << std::ifstream(file_).rdbuf();
    return text.str();
  }
  std::string fault() const {
    try {
      Users::read(file_);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  fs::path folder_, file_;
};

std::string hash(const std::string& password, const char* setting = "$5$salt$") {
  crypt_data data{};
  return crypt_r(password.c_str(), setting, &data);
}

TEST_F(UsersFile, SetPasswordMakesAFileForItsOwnerAlone) {
  set_password(file_, {"one", "secret"});
  struct stat status {};
  ASSERT_EQ(stat(file_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  EXPECT_THAT(text(), testing::StartsWith("one:$y$"));
  EXPECT_THAT(text(), testing::Not(HasSubstr("secret")));
  const auto users = Users::read(file_);
  EXPECT_FALSE(users->verify({"one", "wrong"}));
  EXPECT_FALSE(users->remembers({"one", "secret"}));
  EXPECT_TRUE(users->verify({"one", "secret"}));
  EXPECT_TRUE(users->remembers({"one", "secret"}));
  EXPECT_FALSE(users->remembers({"one", "wrong"}));
  EXPECT_FALSE(users->remembers({"two", "secret"}));
}

TEST_F(UsersFile, SetPasswordLeavesOtherLines) {
  const std::string two = "two:" + hash("b") + "\n";
  write("# ours\n\none:" + hash("a") + "\n" + two);
  set_password(file_, {"one", "new"});
  EXPECT_THAT(text(), testing::MatchesRegex("# ours\n\none:.y.[^\n]*\ntwo:[^\n]*\n"));
  EXPECT_THAT(text(), HasSubstr(two));
  set_password(file_, {"three", "c"});
  const auto users = Users::read(file_);
  EXPECT_TRUE(users->verify({"one", "new"}));
  EXPECT_TRUE(users->verify({"two", "b"}));
  EXPECT_TRUE(users->verify({"three", "c"}));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 1) << "nothing is left beside it";
}

TEST_F(UsersFile, SetPasswordByManyAtOnceLosesNone) {
  std::vector<std::thread> threads;
  for (const char* user : {"a", "b", "c", "d"})
    threads.emplace_back([this, user] { set_password(file_, {user, user}); });
  for (std::thread& thread : threads) thread.join();
  const auto users = Users::read(file_);
  for (const char* user : {"a", "b", "c", "d"}) EXPECT_TRUE(users->verify({user, user}));
}

TEST_F(UsersFile, SetPasswordFollowsALink) {
  write("");
  fs::create_symlink(file_, folder_ / "link");
  set_password(folder_ / "link", {"one", "a"});
  EXPECT_TRUE(fs::is_symlink(folder_ / "link"));
  EXPECT_THAT(text(), HasSubstr("one:"));
}

TEST_F(UsersFile, BadNamesAreRefused) {
  for (const std::string& name : {std::string(), std::string("a:b"), std::string("a\nb"),
                                  std::string("a\x7f"), std::string("#a"), std::string(256, 'a')}) {
    EXPECT_THROW(set_password(file_, {name, "x"}), std::runtime_error);
    EXPECT_FALSE(fs::exists(file_));
  }
  set_password(file_, {std::string(255, 'a'), "x"});
  EXPECT_TRUE(fs::exists(file_));
}

TEST_F(UsersFile, FileOpenToOthersIsRefused) {
  const std::string line = "one:" + hash("a") + "\n";
  for (const mode_t mode : {0640, 0604, 0620, 0602}) {
    write(line, mode);
    EXPECT_THAT(fault(), HasSubstr("chmod 600")) << std::oct << mode;
    EXPECT_THROW(set_password(file_, {"one", "b"}), std::runtime_error);
  }
  write(line, 0400);
  EXPECT_EQ(fault(), "");
}

TEST_F(UsersFile, WhatOthersMayReadAndIsNoUsersFileStaysAsItIs) {
  for (const std::string& other :
       {std::string("root:x:0:0:root:/root:/bin/bash\n"), std::string("127.0.0.1 localhost\n"),
        "root:" + hash("a") + ":19000:0:99999:7:::\n", std::string("one:plain\n"), std::string()}) {
    write(other, 0644);
    EXPECT_THAT(fault(), HasSubstr("it is no users file; name a file that 'hddtest passwd"));
    EXPECT_THAT(fault(), Not(HasSubstr("chmod")));
    EXPECT_THROW(check_changeable(file_), std::runtime_error);
  }
}

TEST_F(UsersFile, PasswordsOfTheSystemAreNotTouched) {
  const std::string other = "root:" + hash("a") + ":19000:0:99999:7:::\n";
  write(other);
  EXPECT_THAT(fault(), HasSubstr("line 1 is not USER:HASH; name a file that 'hddtest passwd"));
  EXPECT_THROW(check_changeable(file_), std::runtime_error);
  EXPECT_THROW(set_password(file_, {"root", "x"}), std::runtime_error);
  EXPECT_EQ(text(), other);
}

TEST_F(UsersFile, IsCheckedBeforeThePasswordIsAsked) {
  EXPECT_NO_THROW(check_changeable(file_)) << "it would be made";
  EXPECT_FALSE(fs::exists(file_));
  write("one:" + hash("a", "ab") + "\n");
  EXPECT_NO_THROW(check_changeable(file_)) << "a weak hash is what a new password mends";
  write("one:" + hash("a").substr(0, 30) + "\n");
  set_password(file_, {"one", "a"});
  EXPECT_EQ(fault(), "") << "and so is a damaged one";
  EXPECT_THROW(check_changeable(folder_), std::runtime_error);
  EXPECT_THROW(check_changeable(folder_ / "none/users"), std::runtime_error);
}

TEST_F(UsersFile, FileOfAnotherUserIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "only root gives files away";
  write("one:" + hash("a") + "\n");
  ASSERT_EQ(chown(file_.c_str(), 65534, 65534), 0);
  EXPECT_THAT(fault(), HasSubstr("another user"));
}

TEST_F(UsersFile, WhatIsNoUsersFileIsRefused) {
  EXPECT_THAT(fault(), HasSubstr("hddtest passwd"));
  write("");
  EXPECT_THAT(fault(), HasSubstr("names no user"));
  write("# only\n");
  EXPECT_THAT(fault(), HasSubstr("names no user"));
  write("one\n");
  EXPECT_THAT(fault(), HasSubstr("line 1 is not USER:HASH"));
  write("#\none:plain text\n");
  EXPECT_THAT(fault(), HasSubstr("line 2: no password hash"));
  write("one:" + hash("a", "ab") + "\n");
  EXPECT_THAT(fault(), HasSubstr("too weak"));
  write("one:" + hash("a") + "\ntwo:" + hash("a", "$6$salt$").substr(0, 90) + "\n");
  EXPECT_THAT(fault(), HasSubstr("line 2: the password hash is damaged or cut short; set the"));
  write("one:$6$rounds=999999999$salt$" + std::string(86, 'x') + "\n");
  EXPECT_THAT(fault(), HasSubstr("line 1: the password hash takes too long to check"));
  write("one:" + hash("a") + "\none:" + hash("a") + "\n");
  EXPECT_THAT(fault(), HasSubstr("line 2: the user stands twice"));
  write(std::string((1 << 20) + 1, '\n'));
  EXPECT_THAT(fault(), HasSubstr("longer than 1 MiB"));
  fs::remove(file_);
  fs::create_directory(file_);
  EXPECT_THAT(fault(), HasSubstr("not a regular file"));
}

TEST(Users, PasswordWithNulIsNotItsBeginning) {
  Users users("one:" + hash("a") + "\n");
  EXPECT_FALSE(users.verify({"one", std::string("a\0b", 3)}));
  EXPECT_TRUE(users.verify({"one", "a"}));
}

TEST(Users, KnownStayKnownWhileTheirHashIsTheSame) {
  const std::string one = "one:" + hash("a") + "\n", two = "two:" + hash("b") + "\n";
  Users before(one + two);
  EXPECT_TRUE(before.verify({"one", "a"}));
  EXPECT_TRUE(before.verify({"two", "b"}));
  Users after(one + "two:" + hash("c") + "\n");
  EXPECT_FALSE(after.remembers({"one", "a"}));
  after.follow(before);
  EXPECT_TRUE(after.remembers({"one", "a"}));
  EXPECT_FALSE(after.remembers({"one", "b"}));
  EXPECT_FALSE(after.remembers({"two", "b"})) << "has another password now";
  EXPECT_FALSE(after.remembers({"two", "c"})) << "which nobody has given yet";
  EXPECT_TRUE(before.remembers({"two", "b"})) << "requests that came before the change";

  Users without(two);
  without.follow(after);
  EXPECT_FALSE(without.remembers({"one", "a"})) << "is no user any more";
  Users again(one);
  again.follow(without);
  EXPECT_FALSE(again.remembers({"one", "a"})) << "and is forgotten then";
}

// Each unknown name costs as much as one of the users, always the same one.
TEST(Users, UnknownUsersCostWhatUsersDo) {
  Users users("one:" + hash("a", "$5$rounds=1000$salt$") +
              "\ntwo:" + hash("a", "$5$rounds=100000$salt$") + "\n");
  const auto cost = [&](const std::string& user) {
    const auto begun = std::clock();
    EXPECT_FALSE(users.verify({user, "x"}));
    return std::clock() - begun;
  };
  const auto cheap = cost("one"), dear = cost("two");
  const auto limit = (cheap + dear) / 4;
  int dear_ones = 0;
  for (int i = 0; i < 20; ++i) {
    const std::string user = std::to_string(i);
    const bool is_dear = cost(user) > limit;
    EXPECT_EQ(is_dear, cost(user) > limit) << user;
    dear_ones += is_dear ? 1 : 0;
  }
  EXPECT_GT(dear_ones, 0);
  EXPECT_LT(dear_ones, 20);
}

TEST(Users, UnknownUserCostsAHashToo) {
  const std::string slow = "$5$rounds=200000$salt$";
  Users users("one:" + hash("a", slow.c_str()) + "\n");
  const auto cost = [&](const Credentials& credentials) {
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_FALSE(users.verify(credentials));
    return std::chrono::steady_clock::now() - begun;
  };
  const auto known = cost({"one", "x"});
  EXPECT_GT(cost({"two", "x"}), known / 8);
  EXPECT_GT(cost({"two", "a"}), known / 8) << "nor is the other's password good for it";
}

}  // namespace
}  // namespace broker::http

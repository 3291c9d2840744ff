#include "broker/http/password_hash.h"

#include <crypt.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace broker::http {
namespace {

using testing::HasSubstr;

std::string made(const std::string& setting) {
  crypt_data data{};
  return crypt_r("secret", setting.c_str(), &data);
}

// What the system makes by default, and at the least cost.
std::vector<std::string> good_hashes() {
  std::vector<std::string> hashes;
  for (const char* prefix : {"$y$", "$gy$", "$7$", "$2a$", "$2b$", "$2y$", "$6$", "$5$"}) {
    char* const setting = crypt_gensalt_ra(prefix, 0, nullptr, 0);
    hashes.push_back(made(setting));
    std::free(setting);
  }
  for (const char* setting : {"$6$$", "$5$s$", "$6$rounds=1000$salt$", "$5$rounds=5000$salt$",
                              "$6$rounds=1000$sixteen.of.salt.$", "$y$j75$$"})
    hashes.push_back(made(setting));
  return hashes;
}

TEST(PasswordHash, OfAnyGoodMethodIsGood) {
  for (const std::string& hash : good_hashes()) EXPECT_EQ(hash_fault(hash), "") << hash;
}

TEST(PasswordHash, IsRefusedWhenAnythingIsMissing) {
  for (const std::string& hash : good_hashes()) {
    for (std::size_t size = 0; size < hash.size(); ++size)
      EXPECT_NE(hash_fault(hash.substr(0, size)), "") << hash.substr(0, size);
    EXPECT_THAT(hash_fault(hash.substr(0, hash.size() - 1)), HasSubstr("cut short")) << hash;
    EXPECT_THAT(hash_fault(hash + "."), HasSubstr("damaged")) << "one character more";
    EXPECT_NE(hash_fault(hash.substr(0, hash.size() - 1) + "!"), "") << hash;
    std::string together = hash;
    together.append("$").append(hash);
    EXPECT_NE(hash_fault(together), "") << "two lines run together";
  }
}

TEST(PasswordHash, OfAWeakMethodIsRefused) {
  for (const char* hash : {"", "*", "!", "x", "plain text", "abJnggxhB/yWI",
                           "$1$Q8K9k9uw$TaGqdd9SaPyogZn9Y7fEK1", "$none$a$b"})
    EXPECT_THAT(hash_fault(hash), HasSubstr("too weak")) << hash;
}

std::string hash_of(const std::string& setting, std::size_t length) {
  return setting + std::string(length, 'x');
}

TEST(PasswordHash, MayCostSoMuch) {
  for (const std::string& hash :
       {hash_of("$6$rounds=500000$salt$", 86), hash_of("$5$rounds=500000$salt$", 43),
        hash_of("$y$jCT$salt$", 43), hash_of("$gy$jCT$salt$", 43),
        hash_of("$7$DU..../....salt$", 43), hash_of("$2b$13$", 53)})
    EXPECT_EQ(hash_fault(hash), "") << hash;
}

TEST(PasswordHash, MayNotCostMore) {
  for (const std::string& hash :
       {hash_of("$6$rounds=500001$salt$", 86), hash_of("$6$rounds=999999999$salt$", 86),
        hash_of("$5$rounds=999999999$salt$", 43),
        hash_of("$6$rounds=99999999999999999999999999$salt$", 86), hash_of("$y$jDT$salt$", 43),
        hash_of("$y$jjj$salt$", 43), hash_of("$gy$jFT$salt$", 43), hash_of("$y$j9T/$salt$", 43),
        hash_of("$y$.9T$salt$", 43), hash_of("$y$jzz$salt$", 43),
        hash_of("$7$EU..../....salt$", 43), hash_of("$7$CU....1....salt$", 43),
        hash_of("$7$zzzzzzzzzzzsalt$", 43), hash_of("$7$C........../salt$", 43),
        hash_of("$2b$14$", 53), hash_of("$2y$31$", 53)})
    EXPECT_THAT(hash_fault(hash), HasSubstr("at most")) << hash;
}

TEST(PasswordHash, ThatNothingCanBeRightForIsRefused) {
  for (const std::string& hash :
       {hash_of("$6$rounds=999$salt$", 86), hash_of("$6$rounds=01000$salt$", 86),
        hash_of("$6$rounds=$salt$", 86), hash_of("$6$rounds=1e5$salt$", 86),
        hash_of("$6$seventeen.of.salt.$", 86), hash_of("$2b$00$", 53), hash_of("$2b$5$", 53)})
    EXPECT_NE(hash_fault(hash), "") << hash;
}

}  // namespace
}  // namespace broker::http

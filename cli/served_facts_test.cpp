#include "cli/served_facts.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

constexpr std::string_view kMachine = "0123456789abcdef0123456789abcdef";

TEST(ServerName, LastsAndKeepsTheMachinesIdentityToItself) {
  const std::string name = server_name(kMachine, "one");
  EXPECT_EQ(name, server_name(std::string(kMachine) + "\n", "another"));
  EXPECT_EQ(name.size(), std::string("KAVRO:hddtest:").size() + 32);
  EXPECT_EQ(name.find(kMachine.substr(0, 8)), std::string::npos);
}

TEST(ServerName, IsAnotherOnAnotherMachine) {
  EXPECT_NE(server_name(kMachine, "one"), server_name("1123456789abcdef0123456789abcdef", "one"));
}

TEST(ServerName, IsTheHostsWithoutAnIdentity) {
  for (const std::string_view text :
       {"", "uninitialized\n", "0123", "0123456789abcdef0123456789abcdeg",
        "0123456789abcdef0123456789abcdef0"})
    EXPECT_EQ(server_name(text, "one"), "KAVRO:hddtest@one") << text;
}

}  // namespace
}  // namespace cli

#include "broker/http/own_names.h"

#include <gmock/gmock.h>
#include <ifaddrs.h>
#include <unistd.h>

#include <stdexcept>

#include "broker/http/address.h"

namespace broker::http {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

TEST(OwnNames, AreThoseOfTheMachine) {
  const OwnNames own;
  for (const char* const good :
       {"localhost", "LocalHost:5988", "localhost.", "127.0.0.1", "127.0.0.1:5988", "127.8.9.10",
        "[::1]", "[::1]:5988", "[0:0:0:0:0:0:0:1]:1", "[::ffff:127.0.0.1]", "localhost:"})
    EXPECT_TRUE(own.covers(good)) << good;
  char name[256] = "";
  ASSERT_EQ(gethostname(name, sizeof name - 1), 0);
  EXPECT_TRUE(own.covers(name));
  EXPECT_TRUE(own.covers(std::string(name) + ".:80"));
  ifaddrs* first = nullptr;
  ASSERT_EQ(getifaddrs(&first), 0);
  for (const ifaddrs* one = first; one; one = one->ifa_next) {
    const std::string host = Address(one->ifa_addr).host();
    if (host.empty()) continue;
    EXPECT_TRUE(own.covers(host.find(':') == host.npos ? host : "[" + host + "]:1")) << host;
  }
  freeifaddrs(first);
}

TEST(OwnNames, AreNoOthers) {
  const OwnNames own;
  for (const char* const bad : {"",
                                ":5988",
                                "rebound.example",
                                "localhost.rebound.example",
                                "127.0.0.1.rebound.example",
                                "localhost:5988x",
                                "localhost:-1",
                                "localhost:1:2",
                                "localhost, localhost",
                                "local host",
                                "localhost/",
                                "user@localhost",
                                "localhost..",
                                ".",
                                "127.1",
                                "127.0.0.1x",
                                "127.rebound",

                                "0x7f.0.0.1",
                                "0.0.0.0",
                                "[::]",
                                "[::1",
                                "::1",
                                "[::1]x",
                                "[::1]5988",
                                "[]",
                                "[localhost]",
                                "[127.0.0.1",
                                "192.0.2.77",
                                "[2001:db8::77]"})
    EXPECT_FALSE(own.covers(bad)) << bad;
}

TEST(OwnNames, CanBeAdded) {
  const OwnNames own({"Console.Example.org.", "192.0.2.77", "2001:db8::0:77", "[2001:db8::78]"});
  for (const char* const good : {"console.example.ORG:8443", "192.0.2.77:1", "[2001:db8::77]",
                                 "[2001:DB8:0::78]:1", "[::ffff:192.0.2.77]", "localhost"})
    EXPECT_TRUE(own.covers(good)) << good;
  EXPECT_FALSE(own.covers("example.org"));
  const OwnNames bare({}, {[] { return OwnNames::Names(); }, std::chrono::steady_clock::now});
  for (const char* const loopback : {"localhost", "[::1]", "127.0.0.1"})
    EXPECT_TRUE(bare.covers(loopback)) << "whatever the machine's files say";
  for (const char* const bad :
       {"", ".", "http://x", "x:5988", "[x]", "[", "a b", "*", "*.example.org"})
    EXPECT_THROW(OwnNames({bad}), std::runtime_error) << bad;
}

TEST(OwnNames, AreLookedForAnewNowAndThen) {
  std::chrono::steady_clock::time_point time{};
  OwnNames::Names names = {"first"};
  int looks = 0;
  const OwnNames own({}, {[&] { return ++looks, names; }, [&] { return time; }});
  names = {"second", "192.0.2.77"};
  EXPECT_TRUE(own.covers("first"));
  EXPECT_FALSE(own.covers("second"));
  EXPECT_EQ(looks, 1);
  time += std::chrono::seconds(5);
  EXPECT_TRUE(own.covers("127.0.0.1"));
  EXPECT_TRUE(own.covers("first")) << "as long as nobody asks for what it does not know";
  EXPECT_TRUE(own.covers("192.0.2.77:1"));
  EXPECT_TRUE(own.covers("second"));
  EXPECT_FALSE(own.covers("first"));
  for (int i = 0; i < 100; ++i) EXPECT_FALSE(own.covers("third"));
  EXPECT_EQ(looks, 2);
}

TEST(OwnNames, FullNameStandsBesideTheHostName) {
  constexpr const char* kHosts =
      "127.0.0.1 localhost\n"
      "127.0.1.1\tdisks.example.org  DISKS \t store # alias\n"
      "::1 localhost ip6-localhost\n"
      "# 10.0.0.1 disks comment\n"
      "127.0.0.1 advertising.example\n"
      "10.0.0.2 other.example.org other\n";
  EXPECT_THAT(
      names_of_host("disks", kHosts),
      UnorderedElementsAre("disks", "disks.example.org", "store", "localhost", "ip6-localhost"));
  EXPECT_THAT(names_of_host("Disks.Example.org", "10.0.0.1 disks files\n"),
              UnorderedElementsAre("disks", "disks.example.org", "files"));
  EXPECT_THAT(names_of_host("disks", "10.0.0.1 disks files\r\n10.0.0.2 x"),
              UnorderedElementsAre("disks", "files"));
  EXPECT_THAT(names_of_host("disks", ""), ElementsAre("disks"));
  EXPECT_THAT(names_of_host("", "10.0.0.1\n\n \n10.0.0.1 x\n"), ElementsAre());
}

}  // namespace
}  // namespace broker::http

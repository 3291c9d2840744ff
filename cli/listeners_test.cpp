#include "cli/listeners.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <system_error>

#include "cli/failure.h"
#include "platform/descriptor.h"

namespace cli {
namespace {

using broker::http::Address;

std::string fault_of(const std::vector<ListeningPlace>& places) {
  try {
    open_listeners(places);
    return "";
  } catch (const CommandFailure& failure) {
    return failure.what();
  }
}

bool has_v6() {
  Address address("::1", 0);
  try {
    address.listen();
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

TEST(Listeners, LoopbackHasBothAddresses) {
  for (const std::vector<std::string>& hosts : {std::vector<std::string>{}, {"localhost"}}) {
    const auto places = listening_places(hosts, 5988);
    ASSERT_EQ(places.size(), 2u);
    EXPECT_EQ(places[0].address.text(), "127.0.0.1:5988");
    EXPECT_FALSE(places[0].only_if_there);
    EXPECT_EQ(places[1].address.text(), "[::1]:5988");
    EXPECT_TRUE(places[1].only_if_there);
  }
  const auto places = listening_places({"127.0.0.2", "::"}, 1);
  ASSERT_EQ(places.size(), 2u);
  EXPECT_EQ(places[0].address.text(), "127.0.0.2:1");
  EXPECT_EQ(places[1].address.text(), "[::]:1");
  EXPECT_FALSE(places[1].only_if_there) << "it was asked for";
}

TEST(Listeners, OneFreePortIsThePortOfAll) {
  Listeners opened = open_listeners(listening_places({}, 0));
  ASSERT_EQ(opened.addresses.size(), has_v6() ? 2u : 1u);
  EXPECT_NE(opened.addresses.front().port(), 0);
  EXPECT_EQ(opened.addresses.front().port(), opened.addresses.back().port());
}

TEST(Listeners, AnotherPortIsTriedWhenTheChosenOneIsTakenAtOneAddress) {
  // The second place is the first one again, so no port is free at both.
  const ListeningPlace place = {Address("127.0.0.1", 0)};
  EXPECT_EQ(fault_of({place, place}), "no port is free at all the addresses; name one with --port");
}

TEST(Listeners, AddressThatTheMachineDoesNotHaveIsLeftOutWhereItMayBe) {
  const Address none("192.0.2.1", 0);
  const Listeners opened = open_listeners({{Address("127.0.0.1", 0)}, {none, true}});
  EXPECT_EQ(opened.addresses.size(), 1u);
  EXPECT_NE(fault_of({{none}}).find("cannot listen on 192.0.2.1:0"), std::string::npos);
}

TEST(Listeners, NoneIsOpenWhenOneIsTaken) {
  if (!has_v6()) GTEST_SKIP() << "without IPv6";
  for (const char* const taken : {"127.0.0.1", "::1"}) {
    Listeners holder = open_listeners(listening_places({taken}, 0));
    const Address address = holder.addresses.front();
    const std::string fault = fault_of(listening_places({}, address.port()));
    EXPECT_EQ(fault.find("cannot listen on " + address.text() +
                         ": Address already in use: process " + std::to_string(getpid())),
              0u)
        << fault;
    holder = {};
    EXPECT_EQ(fault_of(listening_places({}, address.port())), "");
  }
}

TEST(Listeners, BothWildcardsGoTogether) {
  if (!has_v6()) GTEST_SKIP() << "without IPv6";
  EXPECT_EQ(fault_of(listening_places({"0.0.0.0", "::"}, 0)), "");
}

// Sockets at the descriptors from first on, as a supervisor leaves them.
class HandedOver : public testing::Test {
 protected:
  static constexpr int kFirst = 500;

  ~HandedOver() override {
    for (int at = kFirst; at < next_; ++at) close(at);
  }
  Address place_listener(const char* host) {
    Address address(host, 0);
    place(address.listen());
    fcntl(next_ - 1, F_SETFL, 0);
    return address;
  }
  void place(const platform::Descriptor& socket) {
    ASSERT_EQ(dup2(socket.get(), next_), next_);
    ++next_;
  }
  static void announce(const std::string& number, int process = getpid()) {
    setenv("LISTEN_PID", std::to_string(process).c_str(), 1);
    setenv("LISTEN_FDS", number.c_str(), 1);
    setenv("LISTEN_FDNAMES", "a:b", 1);
    setenv("LISTEN_PIDFDID", "1", 1);
  }
  static void expect_variables_gone() {
    for (const char* name : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES", "LISTEN_PIDFDID"})
      EXPECT_EQ(std::getenv(name), nullptr) << name;
  }
  static std::string fault() {
    try {
      handed_over_listeners(kFirst);
      return "";
    } catch (const CommandFailure& failure) {
      return failure.what();
    }
  }

  int next_ = kFirst;
};

TEST_F(HandedOver, SocketsAreUsed) {
  const Address one = place_listener("127.0.0.1");
  const Address other = place_listener("127.0.0.2");
  announce("2");
  const Listeners listeners = handed_over_listeners(kFirst);
  expect_variables_gone();
  ASSERT_EQ(listeners.addresses.size(), 2u);
  EXPECT_EQ(listeners.addresses[0].text(), one.text());
  EXPECT_EQ(listeners.addresses[1].text(), other.text());
  for (const int socket : {kFirst, kFirst + 1}) {
    EXPECT_EQ(fcntl(socket, F_GETFD), FD_CLOEXEC);
    EXPECT_NE(fcntl(socket, F_GETFL) & O_NONBLOCK, 0);
  }
  ASSERT_EQ(listeners.sockets.size(), 2u);
  EXPECT_EQ(listeners.sockets[0].get(), kFirst);
  EXPECT_EQ(listeners.sockets[1].get(), kFirst + 1);
  next_ = kFirst;  // the listeners close them
}

TEST_F(HandedOver, SocketsOfAnotherProcessAreLeftAlone) {
  place_listener("127.0.0.1");
  announce("1", getpid() + 1);
  EXPECT_TRUE(handed_over_listeners(kFirst).sockets.empty());
  expect_variables_gone();
  EXPECT_EQ(fcntl(kFirst, F_GETFD), 0);
  EXPECT_TRUE(handed_over_listeners(kFirst).sockets.empty()) << "without variables";
}

TEST_F(HandedOver, WhatIsNoListenerIsRefused) {
  const std::string no_listener =
      "descriptor 500, which was handed over, is no listening TCP socket; name addresses with "
      "ListenStream= in the socket unit, and leave out Accept=";
  announce("1");
  EXPECT_EQ(fault(), no_listener) << "nothing there";
  const int kinds[][2] = {{AF_INET, SOCK_STREAM}, {AF_INET, SOCK_DGRAM}, {AF_UNIX, SOCK_STREAM}};
  for (const auto& [family, type] : kinds) {
    const platform::Descriptor socket(::socket(family, type, 0));
    if (family == AF_UNIX) listen(socket.get(), 1);
    next_ = kFirst;
    place(socket);
    announce("1");
    EXPECT_EQ(fault(), no_listener);
    expect_variables_gone();
  }
}

TEST_F(HandedOver, NumberIsLookedAt) {
  for (const char* number : {"", "x", "1x", "-1", "65", "99999999999"}) {
    announce(number);
    EXPECT_EQ(fault().find("LISTEN_FDS, the number of sockets"), 0u) << number;
    expect_variables_gone();
  }
  announce("0");
  EXPECT_EQ(fault(), "");
}

}  // namespace
}  // namespace cli

// What a channel moves and what it then waits for.
#include "broker/http/channel.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "broker/http/test_tls.h"

namespace broker::http {

void PrintTo(Channel::State state, std::ostream* out) {
  constexpr const char* names[] = {"good", "wants_read", "wants_write", "ended", "broken"};
  *out << names[static_cast<int>(state)];
}

namespace {

using State = Channel::State;

const std::string long_text = [] {
  std::string text;
  while (text.size() < std::size_t{4} << 20) text += std::to_string(text.size()) + " ";
  return text;
}();

std::string read_once(Channel& channel, std::size_t most = 100) {
  std::string text(most, '\0');
  const Channel::Moved moved = channel.read(text.data(), most);
  EXPECT_EQ(moved.count > 0, moved.state == State::good);
  text.resize(moved.count);
  return text;
}

State state_of_read(Channel& channel) {
  char byte;
  return channel.read(&byte, 1).state;
}

// Writes the text as a server does, each time from where it stopped. peer takes what has come.
void write_all(Channel& channel, std::string_view text, const std::function<void()>& peer) {
  bool waited = false;
  while (!text.empty()) {
    const Channel::Moved moved = channel.write(text);
    ASSERT_LE(moved.count, text.size());
    text.remove_prefix(moved.count);
    ASSERT_EQ(moved.state, text.empty() ? State::good : State::wants_write);
    waited = waited || !text.empty();
    peer();
  }
  EXPECT_TRUE(waited);
}

class Plain : public testing::Test {
 protected:
  SocketPair sockets;
  std::unique_ptr<Channel> channel = plain_channel(sockets.ours);

  void send(std::string_view text) {
    ASSERT_EQ(::send(sockets.peer, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  }
  std::string receive() {
    std::string text(1 << 20, '\0');
    const ssize_t count = recv(sockets.peer, text.data(), text.size(), 0);
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return text;
  }
};

TEST_F(Plain, ReadsWhatIsThere) {
  EXPECT_EQ(channel->shake_hands(), State::good);
  EXPECT_EQ(state_of_read(*channel), State::wants_read);
  send("abcde");
  EXPECT_EQ(read_once(*channel, 3), "abc");
  EXPECT_EQ(read_once(*channel), "de");
  EXPECT_EQ(state_of_read(*channel), State::wants_read);
}

TEST_F(Plain, WritesOnWhenThereIsRoom) {
  std::string got;
  write_all(*channel, long_text, [&] { got += receive(); });
  for (std::string more; !(more = receive()).empty();) got += more;
  EXPECT_TRUE(got == long_text);
}

TEST_F(Plain, EndsEachDirectionByItself) {
  send("last");
  shutdown(sockets.peer, SHUT_WR);
  EXPECT_EQ(read_once(*channel), "last");
  EXPECT_EQ(state_of_read(*channel), State::ended);
  EXPECT_EQ(channel->write("answer").state, State::good);
  EXPECT_EQ(channel->say_goodbye(), State::good);
  EXPECT_EQ(receive(), "answer");
  EXPECT_EQ(recv(sockets.peer, nullptr, 0, 0), 0) << "end of file";
}

TEST_F(Plain, IsBrokenWhenThePeerIsGone) {
  sockets.close_peer();
  EXPECT_EQ(channel->write("x").state, State::broken);  // and no SIGPIPE
}

constexpr const char* tls_1_3 = "NORMAL:-VERS-ALL:+VERS-TLS1.3";
constexpr const char* tls_1_2 = "NORMAL:-VERS-ALL:+VERS-TLS1.2";

class Tls : public testing::TestWithParam<const char*> {
 protected:
  static std::shared_ptr<const TlsSettings> settings() {
    static const auto made = std::make_shared<const TlsSettings>(make_certificate());
    return made;
  }
  void shake() {
    const Handshake done = shake_hands(*channel, client);
    ASSERT_EQ(done.server, State::good);
    ASSERT_EQ(done.client, 0) << gnutls_strerror(done.client);
  }

  SocketPair sockets;
  std::unique_ptr<Channel> channel = tls_channel(sockets.ours, settings());
  TlsClient client{sockets.peer, GetParam()};
};

TEST_P(Tls, MovesWhatIsThere) {
  shake();
  EXPECT_EQ(state_of_read(*channel), State::wants_read);
  client.send("abcde");
  client.carry();
  EXPECT_EQ(read_once(*channel, 3), "abc");
  EXPECT_EQ(read_once(*channel), "de");
  EXPECT_EQ(channel->write("answer").state, State::good);
  client.carry();
  EXPECT_EQ(client.receive(), "answer");
}

TEST_P(Tls, TakesHandshakeAndRecordsByteByByte) {
  int error = GNUTLS_E_AGAIN;
  State state = State::wants_read;
  while (error == GNUTLS_E_AGAIN || state == State::wants_read) {
    if (error == GNUTLS_E_AGAIN) error = client.shake_hands();
    ASSERT_TRUE(!client.outgoing.empty() || state == State::good);
    while (!client.outgoing.empty()) {
      client.carry(1);
      if (state == State::wants_read) state = channel->shake_hands();
    }
    client.carry();
  }
  ASSERT_EQ(error, 0) << gnutls_strerror(error);
  client.send("one record");
  while (client.outgoing.size() > 1) {
    client.carry(1);
    EXPECT_EQ(state_of_read(*channel), State::wants_read);
  }
  client.carry();
  EXPECT_EQ(read_once(*channel), "one record");
}

TEST_P(Tls, ShakesHandsOnWhenThereIsRoom) {
  std::size_t filled = 0;
  for (ssize_t count; (count = send(sockets.ours, long_text.data(), 4096, 0)) > 0;)
    filled += static_cast<std::size_t>(count);
  while (send(sockets.ours, "x", 1, 0) > 0) ++filled;
  EXPECT_EQ(client.shake_hands(), GNUTLS_E_AGAIN);
  EXPECT_GT(send(sockets.peer, client.outgoing.data(), client.outgoing.size(), 0), 0);
  client.outgoing.clear();
  EXPECT_EQ(channel->shake_hands(), State::wants_write);
  EXPECT_EQ(channel->shake_hands(), State::wants_write);
  client.carry();
  client.incoming.erase(0, filled);
  shake();
}

TEST_P(Tls, WritesOnWhenThereIsRoom) {
  shake();
  std::string got;
  write_all(*channel, long_text, [&] {
    client.carry();
    got += client.receive();
  });
  EXPECT_TRUE(got == long_text);
}

TEST_P(Tls, EndsEachDirectionByItself) {
  shake();
  client.send("last");
  EXPECT_EQ(gnutls_bye(client.session, GNUTLS_SHUT_WR), 0);
  client.carry();
  EXPECT_EQ(read_once(*channel), "last");
  EXPECT_EQ(state_of_read(*channel), State::ended);
  EXPECT_EQ(channel->write("answer").state, State::good);
  EXPECT_EQ(channel->say_goodbye(), State::good);
  client.carry();
  EXPECT_EQ(client.receive(), "answer");
  char byte;
  EXPECT_EQ(gnutls_record_recv(client.session, &byte, 1), 0) << "it was told of the end";
  EXPECT_EQ(recv(sockets.peer, &byte, 1, 0), 0) << "end of file";
}

TEST_P(Tls, SaysGoodbyeWhenThereIsRoom) {
  shake();
  std::string_view rest = long_text;
  rest.remove_prefix(channel->write(rest).count);
  EXPECT_EQ(channel->say_goodbye(), State::wants_write);
  client.carry();
  EXPECT_EQ(channel->say_goodbye(), State::good);
}

TEST_P(Tls, EndsWithoutAWord) {
  shake();
  client.send("last");
  client.carry();
  sockets.close_peer();
  EXPECT_EQ(read_once(*channel), "last");
  EXPECT_EQ(state_of_read(*channel), State::ended);
}

TEST_P(Tls, IsBrokenWhenThePeerIsGone) {
  shake();
  sockets.close_peer();
  EXPECT_EQ(channel->write("x").state, State::broken);  // and no SIGPIPE
}

TEST_P(Tls, IsBrokenByWhatIsNoTls) {
  ASSERT_GT(send(sockets.peer, "GET / HTTP/1.1\r\nHost: x\r\n\r\n", 27, 0), 0);
  EXPECT_EQ(channel->shake_hands(), State::broken);
  EXPECT_NE(channel->say_goodbye(), State::wants_read);
}

TEST_P(Tls, IsBrokenByARecordThatIsNotTheClients) {
  shake();
  client.send("a record that was changed");
  client.outgoing.back() = static_cast<char>(client.outgoing.back() ^ 1);
  client.carry();
  EXPECT_EQ(state_of_read(*channel), State::broken);
}

TEST_P(Tls, EndsBeforeTheHandshakeIsDone) {
  EXPECT_EQ(client.shake_hands(), GNUTLS_E_AGAIN);
  client.carry();
  EXPECT_EQ(channel->shake_hands(), State::wants_read);
  shutdown(sockets.peer, SHUT_WR);
  EXPECT_EQ(channel->shake_hands(), State::ended);
  EXPECT_EQ(channel->say_goodbye(), State::good);
}

INSTANTIATE_TEST_SUITE_P(Versions, Tls, testing::Values(tls_1_2, tls_1_3),
                         [](const auto& info) { return info.index == 0 ? "Tls12" : "Tls13"; });

class Tls12 : public Tls {};

TEST_P(Tls12, HandshakeIsNotDoneAnew) {
  shake();
  EXPECT_EQ(client.shake_hands(), GNUTLS_E_AGAIN);
  client.carry();
  EXPECT_EQ(state_of_read(*channel), State::broken);
}

TEST_P(Tls12, WarningsWithoutEndBreakIt) {
  shake();
  for (int i = 0; i < 100; ++i)
    gnutls_alert_send(client.session, GNUTLS_AL_WARNING, GNUTLS_A_USER_CANCELED);
  client.send("after them");
  client.carry();
  EXPECT_EQ(state_of_read(*channel), State::broken);
}

INSTANTIATE_TEST_SUITE_P(Versions, Tls12, testing::Values(tls_1_2));

}  // namespace
}  // namespace broker::http

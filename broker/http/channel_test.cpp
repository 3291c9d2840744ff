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
  constexpr const char* kNames[] = {"good", "wants_read", "wants_write", "ended", "broken"};
  *out << kNames[static_cast<int>(state)];
}

namespace {

using State = Channel::State;

const std::string kLongText = [] {
  std::string text;
  while (text.size() < std::size_t{4} << 20) text += std::to_string(text.size()) + " ";
  return text;
}();

std::string read_once(Channel& channel, std::size_t most = 100) {
  std::string text(most, '\0');
  const Channel::Moved moved = channel.read(text.data(), most);
  EXPECT_EQ(moved.count > 0, moved.state == State::Good);
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
    ASSERT_EQ(moved.state, text.empty() ? State::Good : State::WantsWrite);
    waited = waited || !text.empty();
    peer();
  }
  EXPECT_TRUE(waited);
}

class Plain : public testing::Test {
 protected:
  SocketPair sockets_;
  std::unique_ptr<Channel> channel_ = plain_channel(sockets_.ours.get());

  void send(std::string_view text) {
    ASSERT_EQ(::send(sockets_.peer.get(), text.data(), text.size(), 0),
              static_cast<ssize_t>(text.size()));
  }
  std::string receive() {
    std::string text(1 << 20, '\0');
    const ssize_t count = recv(sockets_.peer.get(), text.data(), text.size(), 0);
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return text;
  }
};

TEST_F(Plain, ReadsWhatIsThere) {
  EXPECT_EQ(channel_->shake_hands(), State::Good);
  EXPECT_EQ(state_of_read(*channel_), State::WantsRead);
  send("abcde");
  EXPECT_EQ(read_once(*channel_, 3), "abc");
  EXPECT_EQ(read_once(*channel_), "de");
  EXPECT_EQ(state_of_read(*channel_), State::WantsRead);
}

TEST_F(Plain, WritesOnWhenThereIsRoom) {
  std::string got;
  write_all(*channel_, kLongText, [&] { got += receive(); });
  for (std::string more; !(more = receive()).empty();) got += more;
  EXPECT_TRUE(got == kLongText);
}

TEST_F(Plain, EndsEachDirectionByItself) {
  send("last");
  shutdown(sockets_.peer.get(), SHUT_WR);
  EXPECT_EQ(read_once(*channel_), "last");
  EXPECT_EQ(state_of_read(*channel_), State::Ended);
  EXPECT_EQ(channel_->write("answer").state, State::Good);
  EXPECT_EQ(channel_->say_goodbye(), State::Good);
  EXPECT_EQ(receive(), "answer");
  EXPECT_EQ(recv(sockets_.peer.get(), nullptr, 0, 0), 0) << "end of file";
}

TEST_F(Plain, IsBrokenWhenThePeerIsGone) {
  sockets_.peer.close();
  EXPECT_EQ(channel_->write("x").state, State::Broken);  // and no SIGPIPE
}

constexpr const char* kTls13 = "NORMAL:-VERS-ALL:+VERS-TLS1.3";
constexpr const char* kTls12 = "NORMAL:-VERS-ALL:+VERS-TLS1.2";

class Tls : public testing::TestWithParam<const char*> {
 protected:
  static std::shared_ptr<const TlsSettings> settings() {
    static const auto made = std::make_shared<const TlsSettings>(make_certificate());
    return made;
  }
  void shake() {
    const Handshake done = shake_hands(*channel_, client_);
    ASSERT_EQ(done.server, State::Good);
    ASSERT_EQ(done.client, 0) << gnutls_strerror(done.client);
  }

  SocketPair sockets_;
  std::unique_ptr<Channel> channel_ = tls_channel(sockets_.ours.get(), settings());
  TlsClient client_{sockets_.peer.get(), GetParam()};
};

TEST_P(Tls, MovesWhatIsThere) {
  shake();
  EXPECT_EQ(state_of_read(*channel_), State::WantsRead);
  client_.send("abcde");
  client_.carry();
  EXPECT_EQ(read_once(*channel_, 3), "abc");
  EXPECT_EQ(read_once(*channel_), "de");
  EXPECT_EQ(channel_->write("answer").state, State::Good);
  client_.carry();
  EXPECT_EQ(client_.receive(), "answer");
}

TEST_P(Tls, TakesHandshakeAndRecordsByteByByte) {
  int error = GNUTLS_E_AGAIN;
  State state = State::WantsRead;
  while (error == GNUTLS_E_AGAIN || state == State::WantsRead) {
    if (error == GNUTLS_E_AGAIN) error = client_.shake_hands();
    ASSERT_TRUE(!client_.outgoing.empty() || state == State::Good);
    while (!client_.outgoing.empty()) {
      client_.carry(1);
      if (state == State::WantsRead) state = channel_->shake_hands();
    }
    client_.carry();
  }
  ASSERT_EQ(error, 0) << gnutls_strerror(error);
  client_.send("one record");
  while (client_.outgoing.size() > 1) {
    client_.carry(1);
    EXPECT_EQ(state_of_read(*channel_), State::WantsRead);
  }
  client_.carry();
  EXPECT_EQ(read_once(*channel_), "one record");
}

TEST_P(Tls, ShakesHandsOnWhenThereIsRoom) {
  std::size_t filled = 0;
  for (ssize_t count; (count = send(sockets_.ours.get(), kLongText.data(), 4096, 0)) > 0;)
    filled += static_cast<std::size_t>(count);
  while (send(sockets_.ours.get(), "x", 1, 0) > 0) ++filled;
  EXPECT_EQ(client_.shake_hands(), GNUTLS_E_AGAIN);
  EXPECT_GT(send(sockets_.peer.get(), client_.outgoing.data(), client_.outgoing.size(), 0), 0);
  client_.outgoing.clear();
  EXPECT_EQ(channel_->shake_hands(), State::WantsWrite);
  EXPECT_EQ(channel_->shake_hands(), State::WantsWrite);
  client_.carry();
  client_.incoming.erase(0, filled);
  shake();
}

TEST_P(Tls, WritesOnWhenThereIsRoom) {
  shake();
  std::string got;
  write_all(*channel_, kLongText, [&] {
    client_.carry();
    got += client_.receive();
  });
  EXPECT_TRUE(got == kLongText);
}

TEST_P(Tls, EndsEachDirectionByItself) {
  shake();
  client_.send("last");
  EXPECT_EQ(gnutls_bye(client_.session, GNUTLS_SHUT_WR), 0);
  client_.carry();
  EXPECT_EQ(read_once(*channel_), "last");
  EXPECT_EQ(state_of_read(*channel_), State::Ended);
  EXPECT_EQ(channel_->write("answer").state, State::Good);
  EXPECT_EQ(channel_->say_goodbye(), State::Good);
  client_.carry();
  EXPECT_EQ(client_.receive(), "answer");
  char byte;
  EXPECT_EQ(gnutls_record_recv(client_.session, &byte, 1), 0) << "it was told of the end";
  EXPECT_EQ(recv(sockets_.peer.get(), &byte, 1, 0), 0) << "end of file";
}

TEST_P(Tls, SaysGoodbyeWhenThereIsRoom) {
  shake();
  std::string_view rest = kLongText;
  rest.remove_prefix(channel_->write(rest).count);
  EXPECT_EQ(channel_->say_goodbye(), State::WantsWrite);
  client_.carry();
  EXPECT_EQ(channel_->say_goodbye(), State::Good);
}

TEST_P(Tls, EndsWithoutAWord) {
  shake();
  client_.send("last");
  client_.carry();
  sockets_.peer.close();
  EXPECT_EQ(read_once(*channel_), "last");
  EXPECT_EQ(state_of_read(*channel_), State::Ended);
}

TEST_P(Tls, IsBrokenWhenThePeerIsGone) {
  shake();
  sockets_.peer.close();
  EXPECT_EQ(channel_->write("x").state, State::Broken);  // and no SIGPIPE
}

TEST_P(Tls, IsBrokenByWhatIsNoTls) {
  ASSERT_GT(send(sockets_.peer.get(), "GET / HTTP/1.1\r\nHost: x\r\n\r\n", 27, 0), 0);
  EXPECT_EQ(channel_->shake_hands(), State::Broken);
  EXPECT_NE(channel_->say_goodbye(), State::WantsRead);
}

TEST_P(Tls, IsBrokenByARecordThatIsNotTheClients) {
  shake();
  client_.send("a record that was changed");
  client_.outgoing.back() = static_cast<char>(client_.outgoing.back() ^ 1);
  client_.carry();
  EXPECT_EQ(state_of_read(*channel_), State::Broken);
}

TEST_P(Tls, EndsBeforeTheHandshakeIsDone) {
  EXPECT_EQ(client_.shake_hands(), GNUTLS_E_AGAIN);
  client_.carry();
  EXPECT_EQ(channel_->shake_hands(), State::WantsRead);
  shutdown(sockets_.peer.get(), SHUT_WR);
  EXPECT_EQ(channel_->shake_hands(), State::Ended);
  EXPECT_EQ(channel_->say_goodbye(), State::Good);
}

INSTANTIATE_TEST_SUITE_P(Versions, Tls, testing::Values(kTls12, kTls13),
                         [](const auto& info) { return info.index == 0 ? "Tls12" : "Tls13"; });

class Tls12 : public Tls {};

TEST_P(Tls12, HandshakeIsNotDoneAnew) {
  shake();
  EXPECT_EQ(client_.shake_hands(), GNUTLS_E_AGAIN);
  client_.carry();
  EXPECT_EQ(state_of_read(*channel_), State::Broken);
}

TEST_P(Tls12, WarningsWithoutEndBreakIt) {
  shake();
  for (int i = 0; i < 100; ++i)
    gnutls_alert_send(client_.session, GNUTLS_AL_WARNING, GNUTLS_A_USER_CANCELED);
  client_.send("after them");
  client_.carry();
  EXPECT_EQ(state_of_read(*channel_), State::Broken);
}

INSTANTIATE_TEST_SUITE_P(Versions, Tls12, testing::Values(kTls12));

}  // namespace
}  // namespace broker::http

#include "broker/http/channel.h"

#include <sys/socket.h>

#include <cerrno>

namespace broker::http {
namespace {

class PlainChannel : public Channel {
 public:
  explicit PlainChannel(int socket) : socket_(socket) {}

  State shake_hands() override { return State::Good; }

  Moved read(char* to, std::size_t most) override {
    for (;;) {
      const ssize_t count = recv(socket_, to, most, MSG_DONTWAIT);
      if (count > 0) return {static_cast<std::size_t>(count), State::Good};
      if (count == 0) return {0, State::Ended};
      if (errno != EINTR) return {0, would_block() ? State::WantsRead : State::Broken};
    }
  }

  Moved write(std::string_view text) override {
    std::size_t done = 0;
    while (done < text.size()) {
      const ssize_t count =
          send(socket_, text.data() + done, text.size() - done, MSG_DONTWAIT | MSG_NOSIGNAL);
      if (count >= 0)
        done += static_cast<std::size_t>(count);
      else if (errno != EINTR)
        return {done, would_block() ? State::WantsWrite : State::Broken};
    }
    return {done, State::Good};
  }

  State say_goodbye() override {
    return shutdown(socket_, SHUT_WR) == 0 ? State::Good : State::Broken;
  }

 private:
  static bool would_block() { return errno == EAGAIN || errno == EWOULDBLOCK; }

  const int socket_;
};

}  // namespace

std::unique_ptr<Channel> plain_channel(int socket) {
  return std::make_unique<PlainChannel>(socket);
}

}  // namespace broker::http

#include "broker/http/peer.h"

#include <sys/socket.h>

#include <exception>
#include <utility>

namespace broker::http {

void Peer::receive_within(std::chrono::milliseconds time) noexcept {
  limit(time, Clock::Hurry::yes);
}

void Peer::reply_within(std::chrono::milliseconds time) noexcept { limit(time, Clock::Hurry::no); }

void Peer::limit(std::chrono::milliseconds time, Clock::Hurry hurry) noexcept {
  release();
  try {
    const auto close = [socket = socket_] { shutdown(socket, SHUT_RDWR); };
    deadline_ = clock_.after(time, close, hurry);
    if (hurry == Clock::Hurry::yes) watch_.add(socket_);
  } catch (const std::exception&) {
    shutdown(socket_, SHUT_RDWR);
  }
}

void Peer::release() noexcept {
  watch_.remove(socket_);
  clock_.cancel(std::exchange(deadline_, {}));
}

}  // namespace broker::http

#include "broker/http/peer.h"

#include <sys/socket.h>

#include <utility>

namespace broker::http {

void Peer::receive_within(std::chrono::milliseconds time) {
  release();
  deadline_ = clock_.after(time, [socket = socket_] { shutdown(socket, SHUT_RDWR); });
  watch_.add(socket_);
}

void Peer::reply_within(std::chrono::milliseconds time) {
  release();
  const auto close = [socket = socket_] { shutdown(socket, SHUT_RDWR); };
  deadline_ = clock_.after(time, close, Clock::Hurry::no);
}

void Peer::release() {
  watch_.remove(socket_);
  clock_.cancel(std::exchange(deadline_, {}));
}

}  // namespace broker::http

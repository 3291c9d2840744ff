#include "broker/http/watch.h"

#include <sys/socket.h>

#include <cerrno>
#include <chrono>

namespace broker::http {
namespace {

constexpr std::chrono::milliseconds interval{500};

bool is_at_end(int socket) {
  char next;
  const ssize_t count = recv(socket, &next, 1, MSG_PEEK | MSG_DONTWAIT);
  return count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR);
}

}  // namespace

Watch::Watch() : thread_([this] { run(); }) {}

Watch::~Watch() {
  {
    const std::lock_guard guard(lock_);
    ending_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Watch::add(int socket) {
  const std::lock_guard guard(lock_);
  sockets_[socket] = false;
  if (sockets_.size() == 1) changed_.notify_one();
}

void Watch::remove(int socket) {
  const std::lock_guard guard(lock_);
  sockets_.erase(socket);
}

void Watch::look() {
  for (auto& [socket, ended] : sockets_) {
    const bool before = ended;
    ended = is_at_end(socket);
    if (before && ended) shutdown(socket, SHUT_RDWR);
  }
}

void Watch::run() {
  std::unique_lock guard(lock_);
  while (!ending_) {
    changed_.wait(guard, [this] { return ending_ || !sockets_.empty(); });
    changed_.wait_for(guard, interval, [this] { return ending_; });
    if (!ending_) look();
  }
}

}  // namespace broker::http

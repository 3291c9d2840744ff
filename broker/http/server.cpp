#include "broker/http/server.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <exception>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "broker/http/connection.h"

namespace broker::http {
namespace {

constexpr int kAcceptedAtOnce = 64;
// The kernel's buffers of a connection (it takes twice as much). Left alone, they grow to MiBs for
// a client that does not read, or that sends while it is answered, and they count in MemoryMax.
constexpr struct {
  int option;
  int size;
} kKernelBuffers[] = {{SO_SNDBUF, 128 << 10}, {SO_RCVBUF, 64 << 10}};
constexpr std::chrono::milliseconds kPause{100};   // when there are no descriptors left
constexpr std::chrono::seconds kBetweenLines{60};  // of the log that say so

}  // namespace

// A listening socket. It is closed when the server is hurried.
class Listener final : public Loop::SocketOwner {
 public:
  Listener(Shared& shared, platform::Descriptor socket)
      : shared_(shared), socket_(std::move(socket)) {
    // Connections inherit it from their listener.
    for (const auto& [option, size] : kKernelBuffers)
      setsockopt(socket_.get(), SOL_SOCKET, option, &size, sizeof size);
  }

  void open() { shared_.loop.add(shared_from_this(), socket_.get(), EPOLLIN); }
  void ready(std::uint32_t) noexcept override;
  void woken() noexcept override {}
  void expired() noexcept override { shared_.loop.want(*this, EPOLLIN); }
  void hurried(bool) noexcept override { shared_.loop.remove(*this); }

 private:
  bool accept_one() noexcept;
  bool make_room(int error) noexcept;

  Shared& shared_;
  const platform::Descriptor socket_;
  Loop::Time next_line_;
};

void Listener::ready(std::uint32_t) noexcept {
  for (int i = 0; i < kAcceptedAtOnce && accept_one(); ++i) continue;
}

// False when no further client waits, or there is no room for one now.
bool Listener::accept_one() noexcept {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  platform::Descriptor socket(accept4(socket_.get(), reinterpret_cast<sockaddr*>(&address), &length,
                                      SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!socket && errno == EAGAIN) return false;
  // The other errors tell of clients that went away before they were accepted.
  if (!socket && errno != EMFILE && errno != ENFILE && errno != ENOBUFS && errno != ENOMEM)
    return errno == EINTR || errno == ECONNABORTED || errno == EPROTO;
  if (!socket) return make_room(errno);
  // Replies are written whole: nothing follows that a small packet would have to wait for.
  const int one = 1;
  setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  try {
    const Address peer(reinterpret_cast<const sockaddr*>(&address));
    std::make_shared<Connection>(shared_, std::move(socket), peer)->open();
  } catch (const std::exception& error) {
    log_failure(shared_.log, "a connection was dropped", error);
  }
  return true;
}

// Closes a connection, so that the next one can be accepted at once: when descriptors are short,
// many wait to be accepted.
bool Listener::make_room(int error) noexcept {
  const auto now = std::chrono::steady_clock::now();
  ConnectionSlots::Slot* const gone = shared_.slots.crowd_out();
  if (gone) static_cast<Connection*>(gone->owner)->close();
  // After the close, since the log may need a descriptor too.
  if (now >= next_line_) {
    next_line_ = now + kBetweenLines;
    try {
      throw std::system_error(error, std::generic_category(), "accept");
    } catch (const std::exception& failure) {
      log_failure(shared_.log, "no connection can be accepted", failure);
    }
  }
  if (gone) return true;
  shared_.loop.want(*this, 0);
  shared_.loop.expire_at(*this, now + kPause);
  return false;
}

struct Server::State {
  State(Handler handler, ServerOptions options) : shared(std::move(handler), std::move(options)) {}

  Shared shared;
  std::thread thread;
};

Server::Server(Handler handler, ServerOptions options) {
  std::vector<platform::Descriptor> sockets = std::move(options.listeners);
  state_ = std::make_unique<State>(std::move(handler), std::move(options));
  Shared& shared = state_->shared;
  for (platform::Descriptor& socket : sockets)
    std::make_shared<Listener>(shared, std::move(socket))->open();
  state_->thread = std::thread([&loop = shared.loop] { loop.run(); });
}

Server::~Server() {
  stop(std::chrono::milliseconds(0));
  Shared& shared = state_->shared;
  std::unique_lock guard(shared.lock);
  shared.changed.wait(guard, [&] { return shared.in_hand == 0; });
  guard.unlock();
  shared.loop.stop();
  state_->thread.join();
}

void Server::replace_users(std::shared_ptr<Users> users) {
  const std::lock_guard guard(state_->shared.lock);
  if (users && state_->shared.users) users->follow(*state_->shared.users);
  state_->shared.users = std::move(users);
}

void Server::replace_certificate(const Certificate& certificate) {
  auto settings = std::make_shared<const TlsSettings>(certificate);
  const std::lock_guard guard(state_->shared.lock);
  state_->shared.tls = std::move(settings);
}

std::size_t Server::stop(std::chrono::milliseconds grace) {
  Shared& shared = state_->shared;
  std::unique_lock guard(shared.lock);
  shared.ending = true;
  guard.unlock();
  // Held answers to failed log-ins go now, and connections without a request are closed.
  shared.log_ins.end();
  shared.loop.hurry();
  guard.lock();
  shared.changed.wait_for(guard, grace,
                          [&] { return shared.requests == 0 && shared.in_hand == 0; });
  guard.unlock();
  shared.loop.hurry();  // closes also those whose requests have ended meanwhile
  guard.lock();
  return shared.in_hand;
}

}  // namespace broker::http

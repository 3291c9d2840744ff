#include "broker/http/shared.h"

#include <sys/resource.h>

#include <algorithm>
#include <utility>

namespace broker::http {
namespace {

// Descriptors for what is not a connection: programs that are started, files, libraries.
constexpr std::size_t kOtherDescriptors = 256;

// What handshakes may take of a round of the loop.
constexpr std::chrono::milliseconds kHandshakesShare{5};

// As many connections as there may be, and in the same proportion no more than the process may have
// descriptors for.
ServerLimits within_descriptors(ServerLimits limits) {
  rlimit most{};
  if (getrlimit(RLIMIT_NOFILE, &most) != 0) return limits;
  const std::size_t all = most.rlim_cur;
  const std::size_t room = all - std::min(all / 2, kOtherDescriptors);
  const std::size_t wanted = limits.unknown_connections + limits.known_connections;
  if (wanted <= room) return limits;
  limits.unknown_connections = std::max<std::size_t>(limits.unknown_connections * room / wanted, 1);
  limits.known_connections = std::max<std::size_t>(limits.known_connections * room / wanted, 1);
  return limits;
}

}  // namespace

Shared::Shared(Handler answer, ServerOptions options)
    : handler(std::move(answer)),
      limits(within_descriptors(options.limits)),
      log(std::move(options.log)),
      secure(options.certificate != nullptr),
      own_names(std::move(options.own_names)),
      users(std::move(options.users)),
      tls(options.certificate ? std::make_shared<const TlsSettings>(*options.certificate)
                              : nullptr),
      slots(limits.unknown_connections, limits.known_connections),
      log_ins(limits, log),
      workers(limits.workers) {}

std::unique_ptr<Channel> Shared::channel(int socket) {
  std::unique_lock guard(lock);
  const auto settings = tls;
  guard.unlock();
  return settings ? tls_channel(socket, settings) : plain_channel(socket);
}

bool Shared::take_handshake_step(const std::function<void()>& step) {
  if (std::exchange(handshakes_round, loop.round()) != loop.round()) handshakes_time = {};
  if (handshakes_time >= kHandshakesShare) return false;
  const auto begin = std::chrono::steady_clock::now();
  step();
  handshakes_time += std::chrono::steady_clock::now() - begin;
  return true;
}

bool Shared::enter() {
  const std::lock_guard guard(lock);
  if (!ending) ++in_hand;
  return !ending;
}

void Shared::leave() noexcept {
  {
    const std::lock_guard guard(lock);
    --in_hand;
    // With the lock held, since a thread that waits for the last one may destroy this right after.
    changed.notify_all();
  }
}

bool Shared::is_ending() {
  const std::lock_guard guard(lock);
  return ending;
}

}  // namespace broker::http

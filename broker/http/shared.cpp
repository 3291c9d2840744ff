#include "broker/http/shared.h"

#include <utility>

namespace broker::http {

Shared::Shared(Handler answer, Options options)
    : handler(std::move(answer)),
      limits(options.limits),
      log(std::move(options.log)),
      own_names(std::move(options.own_names)),
      users(std::move(options.users)),
      tls(options.certificate ? std::make_shared<const TlsSettings>(*options.certificate)
                              : nullptr),
      places(limits.unknown_connections, limits.known_connections),
      log_ins(limits, log),
      workers(limits.workers) {}

std::shared_ptr<Users> Shared::present_users() {
  const std::lock_guard guard(lock);
  return users;
}

std::unique_ptr<Channel> Shared::channel(int socket) {
  std::unique_lock guard(lock);
  const auto settings = tls;
  guard.unlock();
  return settings ? tls_channel(socket, settings) : plain_channel(socket);
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
    // With the lock held: who waits for the last one may destroy this right after it.
    changed.notify_all();
  }
}

bool Shared::is_ending() {
  const std::lock_guard guard(lock);
  return ending;
}

}  // namespace broker::http

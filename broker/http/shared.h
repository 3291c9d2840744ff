// What all connections of a server share.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>

#include "broker/http/channel.h"
#include "broker/http/log_in.h"
#include "broker/http/loop.h"
#include "broker/http/options.h"
#include "broker/http/places.h"
#include "broker/http/workers.h"

namespace broker::http {

struct Shared {
  Shared(Handler answer, Options options);

  // A channel of the kind that is served.
  std::unique_ptr<Channel> channel(int socket);
  // Has a step of a handshake done; false when those of this round of the loop have taken enough
  // time. On the loop's thread: others wait for it, and a stranger's hello costs milliseconds.
  bool take_handshake_step(const std::function<void()>& step);
  // Counts what a worker has in hand; false when the server is ending.
  bool enter();
  void leave() noexcept;
  bool is_ending();

  const Handler handler;
  const Limits limits;
  const Log log;
  const bool secure;                          // whether connections begin with a handshake
  const std::shared_ptr<OwnNames> own_names;  // null: any Host

  std::mutex lock;
  std::condition_variable changed;
  std::shared_ptr<Users> users;            // null: everybody is admitted
  std::shared_ptr<const TlsSettings> tls;  // null: plain HTTP
  std::size_t requests = 0;                // from the end of the head to that of the reply
  std::size_t in_hand = 0;                 // of workers
  bool ending = false;

  std::atomic<std::size_t> bodies = 0;  // bytes of large bodies that are received or answered
  // These are for the loop's thread alone.
  Places places;
  std::uint64_t handshakes_round = 0;
  std::chrono::steady_clock::duration handshakes_time{0};  // of that round

  Loop loop;
  LogIns log_ins;
  Workers workers;  // the first to go: their tasks use the others
};

}  // namespace broker::http

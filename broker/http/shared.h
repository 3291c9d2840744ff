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
#include "broker/http/connection_slots.h"
#include "broker/http/log_in.h"
#include "broker/http/loop.h"
#include "broker/http/server_options.h"
#include "broker/http/workers.h"

namespace broker::http {

struct Shared {
  Shared(Handler answer, ServerOptions options);

  // Plain or with TLS, as the server was set up.
  std::unique_ptr<Channel> channel(int socket);
  // Calls the step of a handshake. False, without the call, when the steps of this round of the
  // loop have taken their share of time: all connections wait for them, and a stranger's hello
  // costs milliseconds. On the loop's thread.
  bool take_handshake_step(const std::function<void()>& step);
  // Counts what others than the connections have in hand, until leave. False when the server is
  // ending.
  bool enter();
  void leave() noexcept;
  bool is_ending();

  const Handler handler;
  const ServerLimits limits;
  const Log log;
  const bool secure;                          // whether connections begin with a handshake
  const std::shared_ptr<OwnNames> own_names;  // null: any Host

  std::mutex lock;
  std::condition_variable changed;
  std::shared_ptr<Users> users;            // null: everybody is admitted
  std::shared_ptr<const TlsSettings> tls;  // null: plain HTTP
  std::size_t requests = 0;                // from the end of the head to that of the reply
  std::size_t in_hand = 0;                 // between enter and leave
  bool ending = false;

  std::atomic<std::size_t> bodies = 0;  // bytes of large bodies, from announcement to reply
  // Used by the loop's thread alone.
  ConnectionSlots slots;
  std::uint64_t handshakes_round = 0;
  std::chrono::steady_clock::duration handshakes_time{0};  // of that round

  Loop loop;
  LogIns log_ins;
  Workers workers;  // the first to go: their tasks use the others
};

}  // namespace broker::http

// A request on its way through the workers. Internal to connection.h.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include "broker/http/connection.h"
#include "broker/http/exchange.h"

namespace broker::http {

constexpr std::size_t kAtOnce = std::size_t{16} << 10;  // bytes read of a socket by one call

// The answers to a log-in that is wrong or missing, and to a request when the server is full.
inline Refusal wrong_log_in() { return {401, {{"WWW-Authenticate", "Basic realm=\"hddtest\""}}}; }
inline Refusal busy() { return {503, {{"Retry-After", "10"}}}; }

// Shared by the connection and by the worker that answers; keeps the connection in memory.
struct Connection::Job {
  explicit Job(std::shared_ptr<Connection> owner)
      : connection(std::move(owner)), exchange([this](bool last) {
          // Before the wake: the client's next request may come before this worker is idle.
          if (last) connection->shared_.workers.end_soon();
          connection->shared_.loop.wake(*connection);
        }) {}

  ~Job() { connection->shared_.bodies -= reserved; }

  void answer() noexcept;

  const std::shared_ptr<Connection> connection;
  Exchange exchange;
  Head head;
  std::string body;
  LogIns::Admission log_in = LogIns::Admission::Busy;
  std::atomic<bool> log_in_is_held = false, log_in_is_answered = false;
  std::size_t reserved = 0;  // of Shared::bodies
};

}  // namespace broker::http

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

constexpr std::size_t at_once = std::size_t{16} << 10;  // read of a socket with one call

// What is said to somebody whose log-in is wrong or missing.
inline Refusal wrong_log_in() { return {401, {{"WWW-Authenticate", "Basic realm=\"hddtest\""}}}; }
inline Refusal busy() { return {503, {{"Retry-After", "10"}}}; }

// It keeps its connection in memory.
struct Connection::Job {
  explicit Job(std::shared_ptr<Connection> owner)
      : connection(std::move(owner)), exchange([this](bool last) {
          if (last) connection->shared_.workers.end_soon();
          connection->shared_.loop.wake(*connection);
        }) {}

  ~Job() { connection->shared_.bodies -= reserved; }

  void answer() noexcept;

  const std::shared_ptr<Connection> connection;
  Exchange exchange;
  Head head;
  std::string body;
  LogIns::Answer log_in = LogIns::Answer::busy;
  std::atomic<bool> log_in_is_held = false, log_in_is_answered = false;
  std::size_t reserved = 0;  // of Shared::bodies
};

}  // namespace broker::http

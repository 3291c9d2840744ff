// A connection, from accept to close, and how long it may last.
#pragma once

#include <chrono>

#include "broker/http/address.h"
#include "broker/http/clock.h"
#include "broker/http/watch.h"

namespace broker::http {

// On the connection's thread. A connection at the end of its time is shut down; its thread then
// finds it at its end.
class Peer {
 public:
  Peer(Clock& clock, Watch& watch, int socket, const Address& address)
      : clock_(clock), watch_(watch), socket_(socket), address_(address) {}
  ~Peer() { release(); }
  Peer(const Peer&) = delete;

  const Address& address() const { return address_; }

  // Each replaces the one before. A connection that there is no memory to limit is shut down.
  // Also ends when the client closes.
  void receive_within(std::chrono::milliseconds time) noexcept;
  // A stop of the server does not hurry it.
  void reply_within(std::chrono::milliseconds time) noexcept;
  void release() noexcept;  // as long as it likes

 private:
  void limit(std::chrono::milliseconds time, Clock::Hurry hurry) noexcept;

  Clock& clock_;
  Watch& watch_;
  const int socket_;
  const Address address_;
  Clock::Appointment deadline_;
};

}  // namespace broker::http

// The reply of one request on its way from the handler's thread to the connection's: the handler
// writes, the connection takes what there is, and the handler waits while the connection has more
// than it can send.
//
// A short reply is handed over whole when the handler has returned; a longer one is streamed.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "broker/http/head.h"

namespace broker::http {

class Exchange final : public cimxml::Reply {
 public:
  // wake: called, on the handler's thread, when there is something new to take; last: by finish or
  // fail. Must not throw.
  using Wake = std::function<void(bool last)>;
  explicit Exchange(Wake wake) : wake_(std::move(wake)) {}

  // Of M-POST; set before the handler is called.
  void set_prefix(const std::string& prefix) { prefix_ = prefix; }

  // On the handler's thread.
  void begin(int status, const Headers& headers) override;
  void write(std::string_view text) override;
  void abandon() override { abandoned_ = true; }
  bool client_has_gone() const override { return client_has_gone_ || gone_; }
  bool has_ended() const { return gone_; }  // nobody takes anything any more
  void finish() noexcept;  // the handler has returned; without begin it is a failure of ours: 500
  void fail() noexcept;    // it threw: a reply that has begun cannot be completed

  // On the connection's thread.
  enum class State {
    nothing,  // there will be more
    piece,    // there may be more
    whole,    // that was all
    broken    // there will be no more, but it is no whole reply
  };
  State take(std::string& text);
  bool has_news();  // take would not return nothing
  // Once take has returned anything but nothing.
  int status() const { return status_; }
  const Headers& headers() const { return headers_; }
  void client_ended() { client_has_gone_ = true; }  // it sends no more; it may still read
  void end() noexcept;                              // the connection is through with it, or gone

 private:
  void hand_over(std::unique_lock<std::mutex>& guard);

  const Wake wake_;
  std::string prefix_;
  int status_ = 0;
  Headers headers_;
  std::string gathered_;    // the handler's own, not yet handed over
  bool abandoned_ = false;  // likewise
  std::atomic<bool> gone_ = false;
  std::atomic<bool> client_has_gone_ = false;

  std::mutex lock_;
  std::condition_variable changed_;
  bool finished_ = false;
  bool failed_ = false;
  std::string ready_;  // for the connection to take
};

}  // namespace broker::http

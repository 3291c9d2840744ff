// The reply of one request on its way from the handler's thread to the connection's. The handler
// writes, and the connection takes what there is. The handler waits while the connection has not
// yet taken the piece before, so a slow client makes its provider slow and takes little memory.
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
  // wake is called on the handler's thread when there is something new to take, and with last by
  // finish and fail. It must not throw.
  using Wake = std::function<void(bool last)>;
  explicit Exchange(Wake wake) : wake_(std::move(wake)) {}

  // The prefix of CIM fields in the reply to an M-POST. Set before the handler is called.
  void set_prefix(const std::string& prefix) { prefix_ = prefix; }

  // On the handler's thread.
  void begin(int status, const Headers& headers) override;
  void write(std::string_view text) override;
  void abandon() override { abandoned_ = true; }
  bool client_has_gone() const override { return client_has_gone_ || gone_; }
  bool has_ended() const { return gone_; }  // nobody will take the reply
  void finish() noexcept;  // the handler has returned; when it has not begun a reply: 500
  void fail() noexcept;    // it has thrown: 500, or a reply that breaks off

  // On the connection's thread.
  enum class State {
    Nothing,  // there will be more
    Piece,    // there may be more
    Whole,    // that was all
    Broken    // there will be no more, but it is no whole reply
  };
  State take(std::string& text);
  bool has_news();  // whether take would return anything but Nothing
  // Valid after take has returned anything but Nothing.
  int status() const { return status_; }
  const Headers& headers() const { return headers_; }
  void client_ended() { client_has_gone_ = true; }  // it sends no more; it may still read
  void end() noexcept;  // the connection has taken all that it will take

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

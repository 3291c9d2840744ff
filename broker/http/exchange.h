// The reply of one request on its way from the handler's thread to the connection's: the handler
// writes, the connection takes what there is and sleeps (suspended) while there is nothing, and
// the handler waits while the connection has more than it can send.
//
// A short reply is handed over whole when the handler has returned; a longer one is streamed.
#pragma once

#include <microhttpd.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "broker/http/head.h"

namespace broker::http {

class Exchange final : public cimxml::Reply, public std::enable_shared_from_this<Exchange> {
 public:
  explicit Exchange(MHD_Connection* connection) : connection_(connection) {}

  // Of M-POST; set before the handler is called.
  void set_prefix(const std::string& prefix) { prefix_ = prefix; }

  // On the handler's thread.
  void begin(int status, const Headers& headers) override;
  void write(std::string_view text) override;
  void abandon() override { abandoned_ = true; }
  void finish();  // the handler has returned; without begin it is a failure of ours: 500
  void fail();    // it threw: a reply that has begun cannot be completed

  // On the connection's thread, which a resume wakes; resume may come from any.
  void suspend();
  void resume();
  MHD_Result send();  // once, after the resume that finish or write made
  void end();         // the connection is through with it, or gone

 private:
  void hand_over(std::unique_lock<std::mutex>& guard);
  void wake();
  ssize_t take(char* to, std::size_t most);
  static ssize_t read(void* self, std::uint64_t, char* to, std::size_t most);

  std::string prefix_;
  int status_ = 0;
  Headers headers_;
  std::string gathered_;    // the handler's own, not yet handed over
  bool abandoned_ = false;  // likewise
  std::atomic<bool> gone_ = false;

  std::mutex lock_;
  std::condition_variable changed_;
  MHD_Connection* connection_;
  bool suspended_ = false;
  bool finished_ = false;
  bool failed_ = false;
  std::string ready_;  // for the connection to take

  std::string sending_;  // the connection's own
  std::size_t sent_ = 0;
};

// Queues a reply with a short text.
MHD_Result send_text(MHD_Connection* connection, int status, const Headers& headers,
                     const std::string& text);

}  // namespace broker::http

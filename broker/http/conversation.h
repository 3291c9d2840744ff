// One request, from its first line to the end of its reply.
//
// The connection's thread carries it from stage to stage (advance) and never waits: log-ins are
// verified and requests answered on workers, while the connection sleeps.
#pragma once

#include <microhttpd.h>

#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <string>

#include "broker/http/clock.h"
#include "broker/http/exchange.h"
#include "broker/http/head.h"
#include "broker/http/log.h"
#include "broker/http/log_in.h"
#include "broker/http/options.h"
#include "broker/http/peer.h"
#include "broker/http/workers.h"

namespace broker::http {

// What all conversations of a server share.
struct Shared {
  Shared(Handler answer, const Limits& bounds, Log to)
      : handler(std::move(answer)), limits(bounds), log(std::move(to)), log_ins(bounds, log) {}

  std::shared_ptr<Users> present_users();
  // Counts a conversation that sleeps while a worker has it; false when the server is ending.
  bool enter();
  void leave();
  void log_failure(const char* what, const std::exception& error) noexcept;

  const Handler handler;
  const Limits limits;
  const Log log;

  std::mutex lock;
  std::condition_variable changed;
  std::shared_ptr<Users> users;  // null: everybody is admitted
  std::size_t conversations = 0;
  std::size_t in_hand = 0;  // of workers
  bool ending = false;

  LogIns log_ins;
  Clock clock;
  Watch watch;
  Workers workers;  // the first to go: its tasks use the others
};

class Conversation : public std::enable_shared_from_this<Conversation> {
 public:
  Conversation(Shared& shared, MHD_Connection* connection, Peer& peer);

  MHD_Result advance(const char* path, const char* method, const char* version, const char* data,
                     std::size_t* size);
  void end() noexcept;

 private:
  enum class Stage { head, admission, body, work, reply };

  void read_fields(const char* path, const char* method, const char* version);
  MHD_Result admit();
  MHD_Result receive(const char* data, std::size_t size);
  MHD_Result work();
  MHD_Result refuse();
  void take(LogIns::Answer answer) noexcept;
  void answer();
  // Puts the connection to sleep and has a worker do the task; false when that cannot be.
  bool hand_to_worker(Stage next, std::function<void()> task);
  std::optional<std::string> field(const std::string& name) const;

  Shared& shared_;
  MHD_Connection* const connection_;
  Peer& peer_;
  const std::shared_ptr<Exchange> exchange_;
  const std::shared_ptr<Users> users_;

  Stage stage_ = Stage::head;
  Head head_;
  std::optional<Refusal> refusal_;
  std::string body_;
  std::size_t received_ = 0;
};

}  // namespace broker::http

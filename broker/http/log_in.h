// Log-ins. Passwords are checked one at a time, and the answers to wrong ones are held back, so
// that guessing takes long.
//
// One client does not keep others waiting. A user whose password was right before is admitted at
// once. The others take turns: first those whose network, and then whose name, has failed the
// least. A network and a name that fail too often are not looked at for a while (penalties.h),
// which nobody else notices.
//
// Neither answers nor times tell which names are users'. A made-up name takes its turn and costs a
// hash like any other. While others wait it costs none, but its answer goes when that of a user
// would.
#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "broker/http/address.h"
#include "broker/http/log.h"
#include "broker/http/penalties.h"
#include "broker/http/server_options.h"
#include "broker/http/timer.h"
#include "broker/http/users.h"

namespace broker::http {

// Safe from any thread. To be destroyed when all answers have been given.
class LogIns {
 public:
  // busy: not looked at, and the client may come again. held: refused later.
  enum class Admission { Admitted, Refused, Busy, Held };

  // Who asks. What is given here may be called on any thread; it must neither block nor throw, nor
  // call this object.
  struct Asker {
    std::function<void(Admission)> answer;
    std::function<bool()> has_gone;  // whether the answer is for nobody any more
  };

  LogIns(const ServerLimits& limits, Log log);
  ~LogIns();
  LogIns(const LogIns&) = delete;

  // Does not wait. The answer is given once (held and then refused count as one), now or later.
  // A password is not checked when all who asked have gone before its turn: their answer is busy.
  void check(const std::shared_ptr<Users>& users, const Credentials& credentials,
             const Address& peer, const Asker& asker);
  // From now on no answer is held back, and those that were go now. A log-in that waits for its
  // turn is told that the server is busy.
  void end();

 private:
  using Time = Penalties::Time;

  // Credentials that wait for their turn, and all who came with the same ones.
  struct Waiting {
    std::shared_ptr<Users> users;
    Credentials credentials;
    bool is_user;
    Claimant claimant;
    std::string host;  // of the first
    Time came;
    std::vector<Asker> askers;

    void answer(Admission answer) const {
      for (const Asker& asker : askers) asker.answer(answer);
    }
    bool is_for_nobody() const {
      return std::ranges::all_of(askers, [](const Asker& asker) { return asker.has_gone(); });
    }
  };
  using Line = std::vector<std::unique_ptr<Waiting>>;  // in the order in which they came

  bool enter(const std::shared_ptr<Users>& users, const Credentials& credentials,
             const Address& peer, const Asker& asker);
  void run();
  Line::iterator next();
  Line::iterator one_too_many();  // or the line's end
  bool is_worth_a_hash(const Waiting& waiting) const;
  void look_at(const Waiting& waiting, bool with_hash);
  void pass_over(const Waiting& waiting);
  void refuse(const Waiting& waiting);
  void log_refusal(const Waiting& waiting);

  const Log log_;
  Penalties penalties_;

  std::mutex lock_;
  std::condition_variable changed_;
  Line line_;
  const Waiting* present_ = nullptr;  // the one that is being looked at
  bool ending_ = false;

  Time logged_since_{};  // used by the thread alone
  unsigned logged_ = 0;
  std::atomic<unsigned> unlogged_ = 0;
  std::atomic<std::size_t> held_ = 0;
  Timer timer_;
  std::thread thread_;
};

}  // namespace broker::http

// Whether who asks is who he says: passwords are checked one at a time, and the answers to wrong
// ones are held back, so that guessing takes long.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "broker/http/address.h"
#include "broker/http/clock.h"
#include "broker/http/log.h"
#include "broker/http/options.h"
#include "broker/http/penalties.h"
#include "broker/http/users.h"

namespace broker::http {

// Safe from any thread. Whoever has it destroyed has waited for all answers.
class LogIns {
 public:
  enum class Answer { admitted, refused, busy };  // busy: not looked at; the client may come again
  using Then = std::function<void(Answer)>;

  LogIns(const Limits& limits, Log log);

  // Blocks until the password has been checked, which takes its turn. Then the answer is given,
  // once; that to a wrong password later, on another thread, where then must neither block nor call
  // this object. It must not throw.
  void check(const std::shared_ptr<Users>& users, const Credentials& credentials,
             const Address& peer, const Then& then);
  // From now on no answer is held back any more, nor is one that was.
  void end();

 private:
  void refuse(const std::string& network, const Then& then);

  const Log log_;
  std::mutex turn_;  // one is looked at at a time
  std::mutex lock_;
  bool ending_ = false;
  Penalties penalties_;
  Clock clock_;
};

}  // namespace broker::http

#include "broker/http/log_in.h"

#include <exception>
#include <utility>

#include "broker/http/quoted_name.h"

namespace broker::http {

LogIns::LogIns(const Limits& limits, Log log)
    : log_(std::move(log)), penalties_(limits.delay, limits.longest_delay, limits.held_log_ins) {}

// A failed log-in keeps nobody waiting but the one who made it.
void LogIns::check(const std::shared_ptr<Users>& users, const Credentials& credentials,
                   const Address& peer, const Then& then) {
  const std::lock_guard turn(turn_);
  try {
    const std::string network = peer.network();
    // Another connection may have been found right while this one waited for its turn.
    if (users->remembers(credentials)) return then(Answer::admitted);
    if (!penalties_.admits(network)) return then(Answer::busy);
    if (users->verify(credentials)) return then(Answer::admitted);
    if (log_)
      log_(1, "refused a log-in of user " + quoted_name(credentials.user) + " from " + peer.host());
    return refuse(network, then);
  } catch (const std::exception& error) {
    log_failure(log_, "a log-in could not be checked", error);
  }
  then(Answer::busy);
}

void LogIns::refuse(const std::string& network, const Then& then) {
  auto answer = [this, network, then] {
    penalties_.answered(network);
    then(Answer::refused);
  };
  const auto delay = penalties_.failed(network);
  try {
    clock_.after(delay, std::move(answer));
  } catch (const std::exception&) {
    penalties_.answered(network);
    throw;
  }
  const std::lock_guard guard(lock_);
  if (ending_) clock_.hurry();
}

void LogIns::end() {
  const std::lock_guard guard(lock_);
  ending_ = true;
  clock_.hurry();
}

}  // namespace broker::http

#include "broker/http/log_in.h"

#include <gnutls/gnutls.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

#include "broker/http/quoted_name.h"

namespace broker::http {
namespace {

using std::chrono::steady_clock;

constexpr std::size_t kMostOfAName = 255;      // as long as a user's can be
constexpr std::size_t kMostOfAPassword = 512;  // more than crypt takes
constexpr std::size_t kMostTogether = 512;     // requests with the same password
constexpr std::ptrdiff_t kMostUsers = 512;     // passwords of users that wait
constexpr std::ptrdiff_t kMostMadeUp = 64;     // those of names that are no user's
constexpr std::size_t kFewMadeUp = 4;          // that cost a hash each
constexpr std::size_t kMostHeld = 1024;        // answers held back
constexpr unsigned kMostLines = 10;            // of the log, in a second, about made-up names

// A longer text is nobody's name or password, and neither is its beginning.
Credentials cut(const Credentials& credentials) {
  return {credentials.user.substr(0, kMostOfAName + 1),
          credentials.password.substr(0, kMostOfAPassword)};
}

bool is_same(const Credentials& a, const Credentials& b) {
  return a.user == b.user && a.password.size() == b.password.size() &&
         gnutls_memcmp(a.password.data(), b.password.data(), a.password.size()) == 0;
}

}  // namespace

LogIns::LogIns(const ServerLimits& limits, Log log)
    : log_(std::move(log)),
      penalties_(limits.delay, limits.longest_delay, limits.held_log_ins),
      thread_([this] { run(); }) {}

LogIns::~LogIns() {
  end();
  changed_.notify_all();
  thread_.join();
}

void LogIns::check(const std::shared_ptr<Users>& users, const Credentials& credentials,
                   const Address& peer, const Asker& asker) {
  Admission answer = Admission::Busy;
  try {
    if (users->remembers(credentials)) {
      answer = Admission::Admitted;
    } else if (enter(users, cut(credentials), peer, asker)) {
      return;
    }
  } catch (const std::exception& error) {
    log_failure(log_, "a log-in could not be checked", error);
  }
  asker.answer(answer);
}

// False when it is not looked at.
bool LogIns::enter(const std::shared_ptr<Users>& users, const Credentials& credentials,
                   const Address& peer, const Asker& asker) {
  auto added = std::make_unique<Waiting>(Waiting{users,
                                                 credentials,
                                                 users->knows(credentials.user),
                                                 {peer.network(), credentials.user},
                                                 peer.host(),
                                                 steady_clock::now(),
                                                 {asker}});
  std::unique_ptr<Waiting> crowded_out;
  {
    const std::lock_guard guard(lock_);
    if (ending_) return false;
    std::size_t of_this_claimant = present_ && present_->claimant == added->claimant ? 1 : 0;
    for (const auto& waiting : line_) {
      if (waiting->claimant != added->claimant) continue;
      ++of_this_claimant;
      if (waiting->users != users || !is_same(waiting->credentials, credentials)) continue;
      if (waiting->askers.size() >= kMostTogether) return false;
      waiting->askers.push_back(asker);
      return true;
    }
    if (!penalties_.admits(added->claimant, of_this_claimant)) return false;
    line_.push_back(std::move(added));
    if (const auto place = one_too_many(); place != line_.end()) {
      crowded_out = std::move(*place);
      line_.erase(place);
    }
  }
  changed_.notify_all();
  if (crowded_out) pass_over(*crowded_out);
  return true;
}

LogIns::Line::iterator LogIns::next() {
  return std::ranges::min_element(
      line_, {}, [this](const auto& waiting) { return penalties_.past(waiting->claimant); });
}

// Made-up names go first.
LogIns::Line::iterator LogIns::one_too_many() {
  const auto is_made_up = [](const auto& waiting) { return !waiting->is_user; };
  const std::ptrdiff_t made_up = std::ranges::count_if(line_, is_made_up);
  if (made_up > kMostMadeUp) return std::ranges::find_if(line_, is_made_up);
  if (std::ssize(line_) - made_up <= kMostUsers) return line_.end();
  // Of those with equally many failures it is the last that came: the search begins at the end.
  const auto place =
      std::max_element(line_.rbegin(), line_.rend(), [this](const auto& a, const auto& b) {
        return penalties_.past(a->claimant) < penalties_.past(b->claimant);
      });
  return std::prev(place.base());
}

bool LogIns::is_worth_a_hash(const Waiting& waiting) const {
  return waiting.is_user ||
         (line_.size() < kFewMadeUp &&
          std::ranges::none_of(line_, [](const auto& other) { return other->is_user; }));
}

void LogIns::run() {
  std::unique_lock guard(lock_);
  while (true) {
    changed_.wait(guard, [this] { return ending_ || !line_.empty(); });
    if (line_.empty()) return;
    const auto place = next();
    const std::unique_ptr<Waiting> waiting = std::move(*place);
    line_.erase(place);
    present_ = waiting.get();
    const bool is_late = ending_ || waiting->is_for_nobody();
    const bool with_hash = is_worth_a_hash(*waiting);
    guard.unlock();
    if (is_late) {
      waiting->answer(Admission::Busy);
    } else {
      look_at(*waiting, with_hash);
    }
    guard.lock();
    present_ = nullptr;
  }
}

void LogIns::look_at(const Waiting& waiting, bool with_hash) {
  Admission answer = Admission::Busy;
  try {
    Users& users = *waiting.users;
    // The same password may have been found right while this one waited for its turn.
    if (users.remembers(waiting.credentials) || (with_hash && users.verify(waiting.credentials))) {
      answer = Admission::Admitted;
    } else {
      log_refusal(waiting);
      return refuse(waiting);
    }
  } catch (const std::exception& error) {
    log_failure(log_, "a log-in could not be checked", error);
  }
  {
    // Before the answer: its client may come again at once, and must not count as waiting twice.
    const std::lock_guard guard(lock_);
    present_ = nullptr;
  }
  waiting.answer(answer);
}

// On the thread of the newcomer for whom there was no room.
void LogIns::pass_over(const Waiting& waiting) {
  try {
    if (!waiting.is_user) {
      ++unlogged_;
      return refuse(waiting);
    }
  } catch (const std::exception& error) {
    log_failure(log_, "a log-in could not be checked", error);
  }
  waiting.answer(Admission::Busy);
}

void LogIns::refuse(const Waiting& waiting) {
  auto answer = [this, askers = waiting.askers] {
    --held_;
    for (const Asker& asker : askers) asker.answer(Admission::Refused);
  };
  Time goes = waiting.came;
  {
    // In one step, so that it counts either as waiting or as held back, and never as both.
    const std::lock_guard guard(lock_);
    goes += penalties_.failed(waiting.claimant, waiting.came);
    if (present_ == &waiting) present_ = nullptr;
  }
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(goes - steady_clock::now());
  waiting.answer(Admission::Held);
  ++held_;
  try {
    timer_.after(std::max(left, std::chrono::milliseconds(0)), std::move(answer));
  } catch (const std::exception&) {
    --held_;
    throw;
  }
  // In a flood answers go earlier, but no more passwords are checked.
  if (held_ > kMostHeld) timer_.hurry_next();
  const std::lock_guard guard(lock_);
  if (ending_) timer_.hurry();
}

// Made-up names must not fill the log: they are counted after a few lines in a second.
void LogIns::log_refusal(const Waiting& waiting) {
  if (!log_) return;
  if (const Time now = steady_clock::now(); now - logged_since_ >= std::chrono::seconds(1)) {
    logged_since_ = now;
    logged_ = 0;
  }
  if (!waiting.is_user && ++logged_ > kMostLines) {
    ++unlogged_;
    return;
  }
  std::string text =
      "refused a log-in of user " + quoted_name(waiting.credentials.user) + " from " + waiting.host;
  if (const unsigned unlogged = unlogged_.exchange(0); unlogged > 0)
    text += "; before, " + std::to_string(unlogged) + " of names that are no user's went unsaid";
  log_(1, text);
}

void LogIns::end() {
  {
    const std::lock_guard guard(lock_);
    ending_ = true;
    timer_.hurry();
  }
  changed_.notify_all();
}

}  // namespace broker::http

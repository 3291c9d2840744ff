#include "broker/http/exchange.h"

#include <utility>

namespace broker::http {
namespace {

constexpr std::size_t kPiece = std::size_t{64} << 10;  // bytes that are handed over at a time

}  // namespace

void Exchange::begin(int status, const Headers& headers) {
  headers_ = reply_headers(headers, prefix_);
  status_ = status;
}

void Exchange::write(std::string_view text) {
  // Looked at without the lock: seen late, it only costs one more piece.
  if (gone_.load(std::memory_order_relaxed)) throw Gone();
  gathered_ += text;
  if (gathered_.size() < kPiece) return;
  std::unique_lock guard(lock_);
  hand_over(guard);
  if (gone_) throw Gone();
  guard.unlock();
  wake_(false);
}

void Exchange::finish() noexcept {
  std::unique_lock guard(lock_);
  if (status_ == 0) status_ = 500;
  hand_over(guard);
  failed_ = abandoned_;
  finished_ = true;  // before the lock is left: the last piece and the end are taken together
  guard.unlock();
  wake_(true);
}

void Exchange::fail() noexcept {
  std::unique_lock guard(lock_);
  failed_ = status_ != 0;
  if (!failed_) status_ = 500;
  finished_ = true;
  guard.unlock();
  wake_(true);
}

void Exchange::hand_over(std::unique_lock<std::mutex>& guard) {
  changed_.wait(guard, [this] { return gone_ || ready_.empty(); });
  if (!gone_) std::swap(ready_, gathered_);
}

Exchange::State Exchange::take(std::string& text) {
  const std::lock_guard guard(lock_);
  text.clear();
  // The two sides pass their buffers around, so that a long reply seldom asks for memory.
  std::swap(text, ready_);
  changed_.notify_all();
  if (finished_) return failed_ ? State::Broken : State::Whole;
  return text.empty() ? State::Nothing : State::Piece;
}

bool Exchange::has_news() {
  const std::lock_guard guard(lock_);
  return finished_ || !ready_.empty();
}

void Exchange::end() noexcept {
  const std::lock_guard guard(lock_);
  gone_ = true;
  changed_.notify_all();
}

}  // namespace broker::http

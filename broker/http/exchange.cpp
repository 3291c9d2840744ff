#include "broker/http/exchange.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace broker::http {
namespace {

constexpr std::size_t piece = std::size_t{64} << 10;  // what is handed over at a time

using Held = std::shared_ptr<Exchange>;

void let_go(void* held) { delete static_cast<Held*>(held); }

// Queues the response and lets it go.
MHD_Result queue(MHD_Connection* connection, int status, const Headers& headers,
                 MHD_Response* response) {
  if (!response) return MHD_NO;
  for (const auto& [name, value] : headers)
    MHD_add_response_header(response, name.c_str(), value.c_str());
  const MHD_Result result = MHD_queue_response(connection, static_cast<unsigned>(status), response);
  MHD_destroy_response(response);
  return result;
}

}  // namespace

void Exchange::begin(int status, const Headers& headers) {
  status_ = status;
  headers_ = reply_headers(headers, prefix_);
}

void Exchange::write(std::string_view text) {
  if (gone_.load(std::memory_order_relaxed)) throw Gone();
  gathered_ += text;
  if (gathered_.size() < piece) return;
  std::unique_lock guard(lock_);
  hand_over(guard);
  if (gone_) throw Gone();
}

void Exchange::finish() {
  std::unique_lock guard(lock_);
  if (status_ == 0) status_ = 500;
  hand_over(guard);
  failed_ = abandoned_;
  finished_ = true;
  wake();
}

void Exchange::fail() {
  const std::lock_guard guard(lock_);
  failed_ = status_ != 0;
  if (!failed_) status_ = 500;
  finished_ = true;
  wake();
}

void Exchange::hand_over(std::unique_lock<std::mutex>& guard) {
  changed_.wait(guard, [this] { return gone_ || ready_.empty(); });
  if (gone_) return;
  std::swap(ready_, gathered_);
  if (!ready_.empty() && ready_.size() >= piece) wake();
}

// With the lock held.
void Exchange::wake() {
  if (std::exchange(suspended_, false) && connection_) MHD_resume_connection(connection_);
}

void Exchange::suspend() {
  const std::lock_guard guard(lock_);
  suspended_ = true;
  MHD_suspend_connection(connection_);
}

void Exchange::resume() {
  const std::lock_guard guard(lock_);
  wake();
}

void Exchange::end() {
  const std::lock_guard guard(lock_);
  connection_ = nullptr;
  gone_ = true;
  changed_.notify_all();
}

MHD_Result Exchange::send() {
  auto held = std::make_unique<Held>(shared_from_this());
  std::unique_lock guard(lock_);
  MHD_Response* response;
  if (finished_ && !failed_) {
    sending_ = std::move(ready_);
    response = MHD_create_response_from_buffer_with_free_callback_cls(
        sending_.size(), sending_.data(), let_go, held.get());
  } else {
    response = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, piece, read, held.get(), let_go);
  }
  guard.unlock();
  if (response) static_cast<void>(held.release());  // the response's now
  return queue(connection_, status_, headers_, response);
}

ssize_t Exchange::read(void* held, std::uint64_t, char* to, std::size_t most) {
  return (*static_cast<Held*>(held))->take(to, most);
}

ssize_t Exchange::take(char* to, std::size_t most) {
  if (sent_ == sending_.size()) {
    const std::lock_guard guard(lock_);
    if (ready_.empty()) {
      if (failed_) return MHD_CONTENT_READER_END_WITH_ERROR;
      if (finished_) return MHD_CONTENT_READER_END_OF_STREAM;
      suspended_ = true;
      MHD_suspend_connection(connection_);
      return 0;
    }
    sending_.clear();
    std::swap(sending_, ready_);
    sent_ = 0;
    changed_.notify_all();
  }
  const std::size_t size = std::min(most, sending_.size() - sent_);
  std::memcpy(to, sending_.data() + sent_, size);
  sent_ += size;
  return static_cast<ssize_t>(size);
}

MHD_Result send_text(MHD_Connection* connection, int status, const Headers& headers,
                     const std::string& text) {
  return queue(connection, status, headers,
               MHD_create_response_from_buffer(text.size(), const_cast<char*>(text.data()),
                                               MHD_RESPMEM_MUST_COPY));
}

}  // namespace broker::http

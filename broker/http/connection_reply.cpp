// The part of Connection that sends replies and takes leave.
#include <sys/epoll.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "broker/http/job.h"
#include "broker/http/reply_text.h"

namespace broker::http {
namespace {

using std::chrono::steady_clock;

// A client that was refused may still be sending. If the connection were closed then, the system
// would reset it, and the reply could be lost. So what comes is dropped for a while.
constexpr std::chrono::seconds kLeaveTime{2};
constexpr std::size_t kMostDroppedAtLeave = std::size_t{1} << 20;

}  // namespace

void Connection::refuse() {
  stage_ = Stage::Reply;
  reply_end_ = steady_clock::now() + shared_.limits.reply;
  for (const auto& [name, value] : refusal_->headers)
    close_after_ = close_after_ || (name == "Connection" && value == "close");
  close_after_ = close_after_ || shared_.is_ending();
  const std::string_view text = explanation(refusal_->status);
  const bool has_head = reader_->stage() != RequestReader::Stage::Faulty;
  Sending how;
  how.length = text.size();
  how.close = close_after_;
  how.old = has_head && reader_->head().version == "HTTP/1.0";
  out_ = reply_head(refusal_->status, refusal_->headers, how);
  if (!has_head || reader_->head().method != "HEAD") out_ += text;
  sent_ = 0;
  head_sent_ = true;
  last_ = true;
}

bool Connection::take_piece() {
  const auto state = job_->exchange.take(piece_);
  if (state == Exchange::State::Nothing) return false;
  out_.clear();
  sent_ = 0;
  if (state == Exchange::State::Broken) {
    close();  // and so the client sees that the reply is not whole
    return false;
  }
  last_ = state != Exchange::State::Piece;
  if (!std::exchange(head_sent_, true)) {
    Sending how;
    how.old = reader_->head().version == "HTTP/1.0";
    if (last_) {
      how.length = piece_.size();
    } else {
      chunked_ = !how.old;
      how.chunked = chunked_;
      close_after_ = close_after_ || how.old;
    }
    close_after_ = close_after_ || shared_.is_ending();
    how.close = close_after_;
    out_ = reply_head(job_->exchange.status(), job_->exchange.headers(), how);
  }
  if (chunked_ && !piece_.empty()) {
    char size[20];
    out_.append(
        size, static_cast<std::size_t>(std::snprintf(size, sizeof size, "%zx\r\n", piece_.size())));
    out_ += piece_;
    out_ += "\r\n";
  } else {
    out_ += piece_;
  }
  if (chunked_ && last_) out_ += "0\r\n\r\n";
  return true;
}

bool Connection::send() {
  while (sent_ < out_.size()) {
    const auto moved = channel_->write(std::string_view(out_).substr(sent_));
    sent_ += moved.count;
    if (moved.count != 0) continue;
    slot_.has_work = false;  // the reply waits for its own client alone
    shared_.loop.expire_at(*this, std::min(reply_end_, steady_clock::now() + shared_.limits.idle));
    return wait_for(moved.state);
  }
  if (last_) {
    end_of_reply();
    return true;
  }
  if (take_piece()) return true;
  if (!is_closed()) {
    slot_.has_work = true;
    shared_.loop.want(*this, client_ended_ ? std::uint32_t{0} : EPOLLRDHUP);
    shared_.loop.expire_at(*this, reply_end_);
  }
  return false;
}

void Connection::end_request() noexcept {
  if (job_) {
    job_->exchange.end();
    job_ = nullptr;
    {
      const std::lock_guard guard(shared_.lock);
      --shared_.requests;
    }
    shared_.changed.notify_all();
  }
}

void Connection::end_of_reply() {
  slot_.has_work = false;
  end_request();
  const bool ends = close_after_ || client_ended_ || shared_.is_ending();
  users_ = nullptr;
  refusal_.reset();
  out_ = {};
  piece_ = {};
  sent_ = 0;
  head_sent_ = false;
  chunked_ = false;
  last_ = false;
  close_after_ = false;
  if (ends) {
    stage_ = Stage::Goodbye;
    received_ = 0;
    unread_ = {};
    shared_.loop.expire_at(*this, steady_clock::now() + kLeaveTime);
  } else {
    rest();
  }
}

void Connection::rest() {
  stage_ = Stage::Head;
  reader_.emplace(shared_.limits.header);
  const auto now = steady_clock::now();
  patience_ = now + shared_.limits.unknown;
  request_end_ = now + shared_.limits.idle;
  shared_.loop.expire_at(*this, receive_end());
}

bool Connection::take_leave() {
  if (!said_goodbye_) {
    const auto state = channel_->say_goodbye();
    if (state != Channel::State::Good) return wait_for(state);
    said_goodbye_ = true;
  }
  char buffer[kAtOnce];
  const auto moved = channel_->read(buffer, sizeof buffer);
  if (moved.count == 0) return wait_for(moved.state);
  received_ += moved.count;
  if (received_ > kMostDroppedAtLeave) close();
  return true;
}

}  // namespace broker::http

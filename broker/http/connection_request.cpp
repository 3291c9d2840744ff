// The part of Connection that receives requests.
#include <sys/epoll.h>

#include <algorithm>
#include <utility>

#include "broker/http/job.h"
#include "broker/http/own_names.h"
#include "platform/words.h"

namespace broker::http {
namespace {

using platform::same_name;
using std::chrono::steady_clock;

// Whether a list of words ("close, TE") has this one.
bool has_word(std::string_view list, std::string_view word) {
  while (!list.empty())
    if (same_name(platform::trim(platform::take_to(list, ',')), word)) return true;
  return false;
}

}  // namespace

bool Connection::receive() {
  if (!unread_.empty()) {
    const std::string text = std::exchange(unread_, {});
    take(text);
    return true;
  }
  char buffer[kAtOnce];
  const auto moved = channel_->read(buffer, sizeof buffer);
  if (moved.count == 0) return wait_for(moved.state);
  take(std::string_view(buffer, moved.count));
  return true;
}

void Connection::take(std::string_view text) {
  const bool had_begun = reader_->begun();
  while (!is_closed() && !text.empty() && (stage_ == Stage::Head || stage_ == Stage::Body)) {
    text.remove_prefix(reader_->take(text));
    if (reader_->stage() == RequestReader::Stage::Faulty) {
      refusal_ = reader_->fault();
      close_after_ = true;
      return refuse();
    }
    if (stage_ == Stage::Head && reader_->stage() != RequestReader::Stage::Head) {
      end_of_head();
    } else if (stage_ == Stage::Body) {
      take_body();
    }
  }
  if (is_closed()) return;
  if (stage_ == Stage::Head && !had_begun && reader_->begun()) {
    request_end_ = steady_clock::now() + shared_.limits.receive;
    shared_.loop.expire_at(*this, receive_end());
  }
  if (!close_after_ || stage_ != Stage::Reply) unread_ = text;
}

// Head and body of an unknown client have to be there when the server's patience ends.
Loop::Time Connection::receive_end() const {
  return slot_.known ? request_end_ : std::min(request_end_, patience_);
}

std::optional<std::string> Connection::field(std::string_view name) const {
  for (const auto& [present, value] : reader_->head().fields)
    if (same_name(present, name)) return value;
  return std::nullopt;
}

std::optional<Refusal> Connection::fault_of_head() {
  const RequestHead& head = reader_->head();
  if (shared_.own_names) {
    // A server takes the host from an absolute target and not from the field (RFC 9112, 3.2.2).
    // Here both must be names of this one.
    for (const auto& host : {field("Host"), host_of(head.target)})
      if (host && !shared_.own_names->covers(*host)) return Refusal{421};
  }
  if (says_twice(head.fields)) return Refusal{400, {{"Connection", "close"}}};
  auto read =
      read_head(head.method, head.target, [this](const std::string& name) { return field(name); });
  if (Refusal* const refusal = std::get_if<Refusal>(&read)) return std::move(*refusal);
  job_->head = std::move(std::get<Head>(read));
  job_->exchange.set_prefix(job_->head.prefix);
  if (reader_->length().value_or(0) > shared_.limits.body) return Refusal{413};
  return std::nullopt;
}

void Connection::end_of_head() {
  job_ = std::make_shared<Job>(std::static_pointer_cast<Connection>(shared_from_this()));
  {
    const std::lock_guard guard(shared_.lock);
    ++shared_.requests;
    users_ = shared_.users;
  }
  const std::string connection = field("Connection").value_or("");
  close_after_ = has_word(connection, "close") ||
                 (reader_->head().version == "HTTP/1.0" && !has_word(connection, "keep-alive"));
  refusal_ = fault_of_head();
  received_ = 0;
  // Refused without a look at the log-in. A browser must not be asked for a password under another
  // site's name (421), and of two log-ins in one request none is the right one (400).
  if (refusal_ && (refusal_->status == 421 || refusal_->status == 400)) return admitted();
  admit();
}

void Connection::admit() {
  const auto credentials = basic_credentials(field("Authorization").value_or(""));
  if (!users_) {
    become_known();
  } else if (!credentials) {
    refusal_ = wrong_log_in();
  } else {
    job_->head.call.principal = credentials->user;
    if (users_->remembers(*credentials)) {
      become_known();
    } else if (ask(*credentials)) {
      return;
    }
  }
  if (!is_closed()) admitted();
}

// False when there will be no answer.
bool Connection::ask(const Credentials& credentials) {
  // Made before it counts as in hand: there may be no memory for it.
  const LogIns::Asker asker{.answer =
                                [job = job_](LogIns::Admission answer) {
                                  Shared& shared = job->connection->shared_;
                                  if (answer == LogIns::Admission::Held) {
                                    job->log_in_is_held = true;
                                    return shared.loop.wake(*job->connection);
                                  }
                                  job->log_in = answer;
                                  job->log_in_is_answered = true;
                                  shared.loop.wake(*job->connection);
                                  shared.leave();
                                },
                            .has_gone = [job = job_] { return job->exchange.has_ended(); }};
  if (!wait_for_others(Stage::Admission)) return false;
  shared_.log_ins.check(users_, credentials, peer_, asker);
  return true;
}

// What is left of the request is received now, also of a client that was refused.
void Connection::admitted() {
  stage_ = Stage::Body;
  request_end_ = steady_clock::now() + shared_.limits.receive;
  shared_.loop.expire_at(*this, receive_end());
  const auto length = reader_->length();
  if (!refusal_ && length && !reserve(*length)) refusal_ = busy();
  const bool complete = reader_->stage() == RequestReader::Stage::Complete;
  if (!complete && field("Expect")) {
    // The client waits before it sends the body, and need not send one that is not looked at.
    if (refusal_) {
      close_after_ = true;
      return refuse();
    }
    constexpr std::string_view kGoOn = "HTTP/1.1 100 Continue\r\n\r\n";
    if (reader_->head().version != "HTTP/1.0" && channel_->write(kGoOn).count != kGoOn.size())
      return close();
  }
  if (refusal_ && !slot_.known && length.value_or(0) > shared_.limits.refused_body) {
    close_after_ = true;
    return refuse();
  }
  if (!refusal_ && length && *length > shared_.limits.large_body) job_->body.reserve(*length);
  take_body();
}

bool Connection::reserve(std::size_t size) {
  if (size <= std::max(shared_.limits.large_body, job_->reserved)) return true;
  // Only this thread reserves memory; others release it. So what is free now stays free.
  const std::size_t others = shared_.bodies - job_->reserved;
  if (others != 0 && others + size > shared_.limits.bodies) return false;
  shared_.bodies += size - std::exchange(job_->reserved, size);
  return true;
}

void Connection::take_body() {
  std::string part = reader_->take_body();
  received_ += part.size();
  if (!refusal_ && received_ > shared_.limits.body) refusal_ = Refusal{413};
  if (!refusal_ && received_ > std::max(shared_.limits.large_body, job_->reserved) &&
      !reserve(std::min(2 * received_, shared_.limits.body)))
    refusal_ = busy();
  if (!refusal_) {
    job_->body += part;
  } else {
    job_->body = {};
    // The rest of a known client's body is read and dropped, within the time for receiving: the
    // client reads the answer when it has sent all.
    if (!slot_.known && received_ > shared_.limits.refused_body) {
      close_after_ = true;
      return refuse();
    }
  }
  if (reader_->stage() == RequestReader::Stage::Complete) end_of_body();
}

void Connection::end_of_body() {
  if (refusal_ || !wait_for_others(Stage::Work)) return refuse();
  try {
    shared_.workers.run([job = job_] {
      job->answer();
      job->connection->shared_.leave();
    });
  } catch (const std::exception&) {
    shared_.leave();
    slot_.has_work = false;
    refusal_ = busy();
    refuse();
  }
}

// Others go on with the request: it counts as in hand until they call Shared::leave. False, with
// the refusal, when the server is ending.
bool Connection::wait_for_others(Stage stage) {
  if (!shared_.enter()) {
    refusal_ = busy();
    return false;
  }
  stage_ = stage;
  slot_.has_work = true;
  shared_.loop.want(*this, EPOLLRDHUP);
  shared_.loop.expire_at(*this, Loop::Time::max());
  return true;
}

void Connection::become_known() {
  ConnectionSlots::Slot* const gone = shared_.slots.become_known(slot_);
  if (gone == &slot_) {
    refusal_ = busy();
  } else if (gone) {
    static_cast<Connection*>(gone->owner)->close();
  }
}

}  // namespace broker::http

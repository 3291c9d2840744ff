#include "broker/http/conversation.h"

#include <cstdlib>
#include <exception>
#include <utility>
#include <vector>

namespace broker::http {
namespace {

const char* reason(int status) {
  switch (status) {
    case 200:
      return "";
    case 400:
      return "the header does not say for whom the request is, or where it ends\n";
    case 401:
      return "a user and a password are needed, or these are wrong\n";
    case 403:
      return "requests of web pages are not answered\n";
    case 404:
      return "the object manager is at /cimom\n";
    case 406:
      return "replies are XML in UTF-8\n";
    case 413:
      return "the request is too long\n";
    case 415:
      return "the body must not be encoded\n";
    case 431:
      return "the request's header is too long\n";
    case 503:
      return "the server is ending or busy, or too many log-ins from here have failed\n";
    case 510:
      return "an M-POST must declare http://www.dmtf.org/cim/mapping/http/v1.0\n";
    default:
      return "the method must be POST or M-POST\n";
  }
}

Refusal wrong_log_in() { return {401, {{"WWW-Authenticate", "Basic realm=\"hddtest\""}}}; }
Refusal busy() { return {503, {{"Retry-After", "10"}}}; }

}  // namespace

std::shared_ptr<Users> Shared::present_users() {
  const std::lock_guard guard(lock);
  return users;
}

bool Shared::enter() {
  const std::lock_guard guard(lock);
  if (!ending) ++in_hand;
  return !ending;
}

void Shared::leave() {
  const std::lock_guard guard(lock);
  --in_hand;
  changed.notify_all();
}

void Shared::log_failure(const char* what, const std::exception& error) noexcept {
  http::log_failure(log, what, error);
}

Conversation::Conversation(Shared& shared, MHD_Connection* connection, Peer& peer)
    : shared_(shared),
      connection_(connection),
      peer_(peer),
      exchange_(std::make_shared<Exchange>(connection)),
      users_(shared.present_users()) {
  peer_.receive_within(shared_.limits.receive);
  const std::lock_guard guard(shared_.lock);
  ++shared_.conversations;
}

void Conversation::end() noexcept {
  exchange_->end();
  peer_.receive_within(shared_.limits.idle + shared_.limits.receive);
  const std::lock_guard guard(shared_.lock);
  --shared_.conversations;
  shared_.changed.notify_all();
}

// The stages that sleep come here again when a worker wakes them; the others with each part of the
// body, and once more after the last.
MHD_Result Conversation::advance(const char* path, const char* method, const char* version,
                                 const char* data, std::size_t* size) {
  switch (stage_) {
    case Stage::head:
      read_fields(path, method, version);
      // What follows such a header is not known to be its body.
      return refusal_ && refusal_->status == 400 ? refuse() : admit();
    case Stage::admission:
      peer_.receive_within(shared_.limits.receive);
      stage_ = Stage::body;
      return MHD_YES;
    case Stage::body:
      if (*size > 0) return receive(data, std::exchange(*size, 0));
      peer_.release();
      return refusal_ ? refuse() : work();
    case Stage::work:
      stage_ = Stage::reply;
      peer_.reply_within(shared_.limits.reply);
      return exchange_->send();
    case Stage::reply:
      break;
  }
  return MHD_NO;
}

std::optional<std::string> Conversation::field(const std::string& name) const {
  const char* const value = MHD_lookup_connection_value(connection_, MHD_HEADER_KIND, name.c_str());
  return value ? std::optional<std::string>(value) : std::nullopt;
}

void Conversation::read_fields(const char* path, const char* method, const char* version) {
  // No memory is asked for below the library's frames.
  std::vector<std::pair<const char*, const char*>> fields;
  const int count = MHD_get_connection_values(connection_, MHD_HEADER_KIND, nullptr, nullptr);
  fields.reserve(static_cast<std::size_t>(count));
  MHD_get_connection_values(
      connection_, MHD_HEADER_KIND,
      [](void* to, MHD_ValueKind, const char* name, const char* value) {
        static_cast<decltype(fields)*>(to)->emplace_back(name, value ? value : "");
        return MHD_YES;
      },
      &fields);
  const Headers all(fields.begin(), fields.end());
  const auto* const size =
      MHD_get_connection_info(connection_, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE);
  auto read = read_head(method, path, [this](const std::string& name) { return field(name); });
  if (size && size->header_size > shared_.limits.header) {
    refusal_ = Refusal{431};
  } else if (auto faulty = framing_fault(version, all)) {
    refusal_ = std::move(*faulty);
  } else if (Refusal* const refusal = std::get_if<Refusal>(&read)) {
    refusal_ = std::move(*refusal);
  } else {
    head_ = std::move(std::get<Head>(read));
    exchange_->set_prefix(head_.prefix);
    if (std::strtoull(field("Content-Length").value_or("").c_str(), nullptr, 10) >
        shared_.limits.body)
      refusal_ = Refusal{413};
  }
}

MHD_Result Conversation::admit() {
  stage_ = Stage::body;
  if (users_) {
    const auto credentials = basic_credentials(field("Authorization").value_or(""));
    if (!credentials) {
      refusal_ = wrong_log_in();
    } else if (head_.call.principal = credentials->user; !users_->remembers(*credentials)) {
      peer_.release();
      const LogIns::Then then = [self = shared_from_this()](LogIns::Answer answer) {
        self->take(answer);
        self->exchange_->resume();
        self->shared_.leave();
      };
      const auto check = [self = shared_from_this(), credentials, then] {
        self->shared_.log_ins.check(self->users_, *credentials, self->peer_.address(), then);
      };
      if (hand_to_worker(Stage::admission, check)) return MHD_YES;
    }
  }
  // Nobody has to send a body that is not looked at.
  return refusal_ && field("Expect") ? refuse() : MHD_YES;
}

void Conversation::take(LogIns::Answer answer) noexcept {
  try {
    if (answer == LogIns::Answer::refused) refusal_ = wrong_log_in();
    if (answer == LogIns::Answer::busy) refusal_ = busy();
  } catch (const std::exception&) {
    refusal_ = Refusal{503};  // whose fields would need memory
  }
}

MHD_Result Conversation::receive(const char* data, std::size_t size) {
  received_ += size;
  if (!refusal_ && received_ > shared_.limits.body) refusal_ = Refusal{413};
  // The rest of a refused body is read and dropped: a client reads the answer when it has sent
  // all. The time for receiving ends that too.
  if (refusal_) {
    body_ = {};
  } else {
    body_.append(data, size);
  }
  return MHD_YES;
}

MHD_Result Conversation::work() {
  if (hand_to_worker(Stage::work, [self = shared_from_this()] { self->answer(); })) return MHD_YES;
  return refuse();
}

MHD_Result Conversation::refuse() {
  stage_ = Stage::reply;
  peer_.reply_within(shared_.limits.reply);
  return send_text(connection_, refusal_->status, refusal_->headers, reason(refusal_->status));
}

bool Conversation::hand_to_worker(Stage next, std::function<void()> task) {
  if (shared_.enter()) {
    exchange_->suspend();
    stage_ = next;
    try {
      shared_.workers.run(std::move(task));
      return true;
    } catch (const std::exception&) {
      exchange_->resume();
      shared_.leave();
    }
  }
  stage_ = Stage::body;
  refusal_ = busy();
  return false;
}

// On a worker.
void Conversation::answer() {
  try {
    head_.call.body = body_;
    shared_.handler(head_.call, *exchange_);
    exchange_->finish();
  } catch (const cimxml::Reply::Gone&) {
    exchange_->finish();
  } catch (const std::exception& error) {
    shared_.log_failure("a request could not be answered", error);
    exchange_->fail();
  }
  shared_.leave();
}

}  // namespace broker::http

#include "broker/http/server.h"

#include <microhttpd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <utility>
#include <vector>

#include "broker/http/address.h"
#include "broker/http/conversation.h"

namespace broker::http {
namespace {

using Held = std::shared_ptr<Conversation>;

// Room for the largest header, and for the pieces of a reply on their way to the socket.
constexpr std::size_t reply_memory = std::size_t{192} << 10;

}  // namespace

struct Server::State {
  State(Handler handler, const Limits& limits, Log log)
      : shared(std::move(handler), limits, std::move(log)) {}

  Shared shared;
  MHD_Daemon* daemon = nullptr;
  int listener = -1;
  bool listening = true;
  std::string last_note;  // of the library, until the server runs

  // What the library calls; self is this object. No exception passes its frames: what there is no
  // memory for is dropped, and its connection closed.
  static void note(void* self, const char* format, va_list arguments);
  static void* request(void* self, const char* uri, MHD_Connection* connection);
  static MHD_Result handle(void* self, MHD_Connection* connection, const char* path,
                           const char* method, const char* version, const char* data,
                           std::size_t* size, void** context);
  static void completed(void* self, MHD_Connection* connection, void** context,
                        MHD_RequestTerminationCode how);
  static void connection(void* self, MHD_Connection* connection, void** context,
                         MHD_ConnectionNotificationCode what);
};

void Server::State::note(void* self, const char* format, va_list arguments) {
  State& state = *static_cast<State*>(self);
  char text[500];
  std::vsnprintf(text, sizeof text, format, arguments);
  try {
    std::string line = text;
    while (line.ends_with('\n')) line.pop_back();
    if (!state.daemon) state.last_note = line;
    if (state.shared.log) state.shared.log(4, line);
  } catch (const std::exception&) {  // goes unsaid
  }
}

void Server::State::connection(void* self, MHD_Connection* connection, void** context,
                               MHD_ConnectionNotificationCode what) {
  Shared& shared = static_cast<State*>(self)->shared;
  if (what == MHD_CONNECTION_NOTIFY_CLOSED) {
    delete static_cast<Peer*>(std::exchange(*context, nullptr));
    return;
  }
  const int socket =
      MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
  const sockaddr* const address =
      MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS)->client_addr;
  try {
    Peer* const peer = new Peer(shared.clock, shared.watch, socket, Address(address));
    peer->receive_within(shared.limits.first_line);
    *context = peer;
  } catch (const std::exception& error) {
    shutdown(socket, SHUT_RDWR);
    shared.log_failure("a connection was dropped", error);
  }
}

void* Server::State::request(void* self, const char*, MHD_Connection* connection) {
  Shared& shared = static_cast<State*>(self)->shared;
  Peer* const peer = static_cast<Peer*>(
      MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT)->socket_context);
  if (!peer) return nullptr;  // what came before its socket was shut down
  try {
    auto held = std::make_unique<Held>();
    *held = std::make_shared<Conversation>(shared, connection, *peer);
    return held.release();
  } catch (const std::exception& error) {
    shared.log_failure("a request was dropped", error);
    return nullptr;
  }
}

MHD_Result Server::State::handle(void* self, MHD_Connection*, const char* path, const char* method,
                                 const char* version, const char* data, std::size_t* size,
                                 void** context) {
  if (!*context) return MHD_NO;
  try {
    return (*static_cast<Held*>(*context))->advance(path, method, version, data, size);
  } catch (const std::exception& error) {
    static_cast<State*>(self)->shared.log_failure("a request was dropped", error);
    return MHD_NO;
  }
}

void Server::State::completed(void*, MHD_Connection*, void** context, MHD_RequestTerminationCode) {
  const std::unique_ptr<Held> held(static_cast<Held*>(std::exchange(*context, nullptr)));
  if (held) (*held)->end();
}

Server::Server(Handler handler, Options options)
    : state_(std::make_unique<State>(std::move(handler), options.limits, std::move(options.log))) {
  State& state = *state_;
  state.shared.users = std::move(options.users);
  state.listener = options.listener;

  const Limits& limits = options.limits;
  const auto number = [](auto value) { return static_cast<intptr_t>(value); };
  std::vector<MHD_OptionItem> items = {
      {MHD_OPTION_LISTEN_SOCKET, options.listener, nullptr},
      {MHD_OPTION_CONNECTION_LIMIT, number(limits.connections), nullptr},
      {MHD_OPTION_PER_IP_CONNECTION_LIMIT, number(limits.connections_per_address), nullptr},
      {MHD_OPTION_CONNECTION_TIMEOUT, number(limits.idle.count()), nullptr},
      {MHD_OPTION_CONNECTION_MEMORY_LIMIT, number(limits.header + reply_memory), nullptr},
      {MHD_OPTION_NOTIFY_COMPLETED, reinterpret_cast<intptr_t>(&State::completed), &state},
      {MHD_OPTION_NOTIFY_CONNECTION, reinterpret_cast<intptr_t>(&State::connection), &state},
      {MHD_OPTION_URI_LOG_CALLBACK, reinterpret_cast<intptr_t>(&State::request), &state},
      // The library answers a request without Host twice over; framing_fault looks for it.
      {MHD_OPTION_STRICT_FOR_CLIENT, -1, nullptr}};
  unsigned flags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ERROR_LOG;
  if (const Certificate* const certificate = options.certificate.get()) {
    flags |= MHD_USE_TLS;
    static char priorities[] = "NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2";
    items.push_back({MHD_OPTION_HTTPS_MEM_CERT, 0, const_cast<char*>(certificate->chain.c_str())});
    items.push_back({MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char*>(certificate->key.c_str())});
    items.push_back({MHD_OPTION_HTTPS_PRIORITIES, 0, priorities});
  }
  items.push_back({MHD_OPTION_END, 0, nullptr});
  MHD_Daemon* const daemon = MHD_start_daemon(flags, 0, nullptr, nullptr, &State::handle, &state,
                                              MHD_OPTION_EXTERNAL_LOGGER, &State::note, &state,
                                              MHD_OPTION_ARRAY, items.data(), MHD_OPTION_END);
  if (!daemon) {
    close(options.listener);
    throw std::runtime_error(options.certificate
                                 ? "cannot serve; do certificate and key belong together? (" +
                                       state.last_note + ")"
                                 : "cannot serve: " + state.last_note);
  }
  state.daemon = daemon;
}

Server::~Server() {
  stop(std::chrono::milliseconds(0));
  Shared& shared = state_->shared;
  std::unique_lock guard(shared.lock);
  shared.changed.wait(guard, [&] { return shared.in_hand == 0; });
  guard.unlock();
  MHD_stop_daemon(state_->daemon);
  close(state_->listener);
}

void Server::replace_users(std::shared_ptr<Users> users) {
  const std::lock_guard guard(state_->shared.lock);
  state_->shared.users = std::move(users);
}

std::size_t Server::stop(std::chrono::milliseconds grace) {
  Shared& shared = state_->shared;
  if (std::exchange(state_->listening, false)) {
    MHD_quiesce_daemon(state_->daemon);
    // Closed when the library's thread is gone, which may still take it out of what it waits for.
    shutdown(state_->listener, SHUT_RDWR);
  }
  std::unique_lock guard(shared.lock);
  shared.ending = true;
  guard.unlock();
  // Who waits for the answer to a failed log-in gets it now; connections at rest are closed.
  shared.log_ins.end();
  shared.clock.hurry();
  guard.lock();
  shared.changed.wait_for(guard, grace,
                          [&] { return shared.conversations == 0 && shared.in_hand == 0; });
  guard.unlock();
  // Also those that have come to rest meanwhile.
  shared.clock.hurry();
  guard.lock();
  return shared.in_hand;
}

}  // namespace broker::http

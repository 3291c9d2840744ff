// A connection, from accept to close: receives requests, has them admitted and answered by workers,
// and sends the replies.
//
// All of it runs on the loop's thread and never waits. Workers see no more of it than a Job
// (job.h).
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "broker/http/address.h"
#include "broker/http/head.h"
#include "broker/http/request_reader.h"
#include "broker/http/shared.h"
#include "platform/descriptor.h"

namespace broker::http {

class Connection final : public Loop::SocketOwner {
 public:
  Connection(Shared& shared, platform::Descriptor socket, const Address& peer);
  // On any thread, once it is closed: a Job may be the last to let go.
  ~Connection() override = default;

  // From now on the loop calls it. Throws what Loop::add and ConnectionSlots::enter throw.
  void open();
  void close() noexcept;

  void ready(std::uint32_t events) noexcept override;
  void woken() noexcept override;
  void expired() noexcept override { close(); }
  void hurried(bool to_the_end) noexcept override;  // closes it, unless a request is admitted

 private:
  enum class Stage { Handshake, Head, Admission, Body, Work, Reply, Goodbye };
  struct Job;

  template <class Part>
  void guarded(Part part) noexcept;
  // Does what there is to do in each stage, until something has to be waited for.
  void advance();

  // Each does a part, and is true when the next one can follow at once.
  bool shake_hands();
  bool receive();
  bool send();
  bool take_leave();
  bool wait_for(Channel::State state);  // always false

  bool is_closed() const { return !socket_; }

  void take(std::string_view text);
  void end_of_head();
  std::optional<Refusal> fault_of_head();
  void admit();
  bool ask(const Credentials& credentials);
  void admitted();
  void take_body();
  bool reserve(std::size_t size);
  void end_of_body();
  void refuse();
  bool take_piece();
  void end_of_reply();
  void rest();
  bool wait_for_others(Stage stage);
  void end_request() noexcept;
  void become_known();
  std::optional<std::string> field(std::string_view name) const;
  Loop::Time receive_end() const;

  Shared& shared_;
  platform::Descriptor socket_;
  const Address peer_;
  std::unique_ptr<Channel> channel_;
  ConnectionSlots::Slot slot_;

  Stage stage_ = Stage::Handshake;
  bool client_ended_ = false;
  Loop::Time patience_;     // how long the server waits for a client that it does not know
  Loop::Time request_end_;  // when this request must have come in
  std::string unread_;      // what has come after this request

  std::optional<RequestReader> reader_;
  std::shared_ptr<Job> job_;  // of this request, from the end of its head
  std::shared_ptr<Users> users_;
  std::optional<Refusal> refusal_;
  std::size_t received_ = 0;

  std::string out_, piece_;
  std::size_t sent_ = 0;
  bool head_sent_ = false, chunked_ = false, last_ = false, close_after_ = false;
  bool said_goodbye_ = false;
  Loop::Time reply_end_;
};

}  // namespace broker::http

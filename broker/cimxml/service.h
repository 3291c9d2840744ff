// CIM operations over HTTP, without the HTTP: takes the body and the CIM headers of a request, asks
// the object manager, and writes the reply as it comes. Source of the formats: DSP0200 1.4
// (operations over HTTP) and DSP0201 2.4 (representation in XML).
//
//   cimxml::Service service(manager);
//   service.answer({.body = body, .method = "EnumerateInstances", .object = "root/cimv2"}, reply);
//
// Of instances always everything is written that was asked for by the property list, without
// qualifiers: LocalOnly and IncludeQualifiers, which the standard deprecates there, change nothing.
// Those of class operations have their effect.
//
// Threads: answer may be called by any number of threads at once; it blocks for as long as the
// provider works and the client reads, which for a self-test is minutes.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "broker/object_manager.h"

namespace broker::cimxml {

// The values of the CIM header fields, their prefix ("73-CIMMethod" of an M-POST) taken away;
// unset when the request had no such field.
struct Call {
  std::string_view body;
  std::optional<std::string> operation;         // CIMOperation
  std::optional<std::string> method;            // CIMMethod, URL-decoded
  std::optional<std::string> object;            // CIMObject, URL-decoded
  std::optional<std::string> batch;             // CIMBatch
  std::optional<std::string> protocol_version;  // CIMProtocolVersion
  std::optional<std::string> content_type;
  std::string principal;        // the authenticated user, empty without
  std::string accept_language;  // as the client sent it
};

// Where a reply goes: begin once, then write any number of times, all on the thread that called
// answer. Both block as the client reads; both throw Gone when it will read no more.
class Reply {
 public:
  struct Gone {};
  using Headers = std::vector<std::pair<std::string, std::string>>;

  virtual ~Reply() = default;
  // status: 200, or the HTTP status of a request that is no CIM request.
  virtual void begin(int status, const Headers& headers) = 0;
  virtual void write(std::string_view text) = 0;
  // Called last, in place of the rest of a reply that has begun and cannot be completed: the
  // client must see that it is no whole message.
  virtual void abandon() {}
  // Whether the client has gone, or will read no more. From any thread, while answer runs.
  virtual bool client_has_gone() const { return false; }
};

// A request beyond a limit of depth or batch is refused as not valid (400) or not supported (501),
// one with too many elements with 413. Enumerations beyond theirs get the CIM status 27
// (CIM_ERR_SERVER_LIMITS_EXCEEDED).
struct Limits {
  std::size_t depth = 64;                // of elements in a request
  std::size_t elements = 100'000;        // in a request, with those of its embedded instances
  std::size_t batch = 100;               // requests in one message
  std::size_t contexts = 100;            // open enumerations at a time
  std::size_t contexts_of_one = 25;      // those of one authenticated user
  std::size_t context_bytes = 64 << 20;  // held for all open enumerations together
  std::size_t context_bytes_of_one = 32 << 20;  // for those of one authenticated user
  unsigned context_seconds = 90;                // an enumeration that nobody pulls for so long ends
  unsigned context_life_seconds = 900;          // and this one does, however it is pulled
  unsigned maximum_pull = 10'000;               // objects in one pull
};

// Requests of more bytes are large: who receives them has to bound how much they hold together.
inline constexpr std::size_t large_body = 64 << 10;

class Contexts;

class Service {
 public:
  // The manager must outlive the service.
  explicit Service(ObjectManager& manager, const Limits& limits = {});
  ~Service();
  Service(const Service&) = delete;

  // Writes one whole reply, whatever the call holds; throws nothing. A client that has gone ends
  // the writing, never the operation: what a method has begun is finished.
  void answer(const Call& call, Reply& reply);

 private:
  void answer_message(const Call& call, Reply& reply);

  ObjectManager& manager_;
  const Limits limits_;
  std::unique_ptr<Contexts> contexts_;
};

}  // namespace broker::cimxml

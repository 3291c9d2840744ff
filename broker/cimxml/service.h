// CIM operations over HTTP, without the HTTP: takes the body and the CIM headers of a request, asks
// the object manager, and writes the reply as it comes. Source of the formats: DSP0200 1.4
// (operations over HTTP) and DSP0201 2.4 (representation in XML).
//
//   cimxml::Service service(manager);
//   service.answer({.body = body, .method = "EnumerateInstances", .object = "root/cimv2"}, reply);
//
// Instances are written without qualifiers, and with all properties that the property list asks
// for. LocalOnly and IncludeQualifiers, which the standard deprecates for instances, have their
// effect on classes alone.
//
// Threads: answer may be called by any number of threads at once; it blocks for as long as the
// provider works and the client reads, which for a self-test is minutes.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

#include "broker/cimxml/call.h"
#include "broker/object_manager.h"

namespace broker::cimxml {

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
  unsigned context_seconds = 90;                // an enumeration ends when nobody pulls for so long
  unsigned context_life_seconds = 900;          // and after this, however it is pulled
  unsigned maximum_pull = 10'000;               // objects in one pull
};

class Contexts;

// What the time is. A test moves it on.
using Now = std::function<std::chrono::steady_clock::time_point()>;

class Service {
 public:
  // The manager must outlive the service.
  explicit Service(ObjectManager& manager, const Limits& limits = {},
                   Now now = std::chrono::steady_clock::now);
  ~Service();
  Service(const Service&) = delete;

  // Writes one whole reply, whatever the call holds; throws nothing. A client that has gone ends
  // the writing, never the operation: what a method has begun is finished.
  void answer(const Call& call, Reply& reply);

  // Frees the memory of open enumerations that have expired; returns how many there were. The next
  // pulled operation does the same, so this is for times without one. Safe from any thread.
  std::size_t drop_expired();

 private:
  ObjectManager& manager_;
  const Limits limits_;
  std::unique_ptr<Contexts> contexts_;
};

}  // namespace broker::cimxml

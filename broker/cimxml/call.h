// A CIM request and the way of its reply, as they pass between the HTTP server and the service that
// answers. They stand apart from the service, so that the server knows nothing of the object
// manager.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace broker::cimxml {

// The CIM header fields of a request, without the prefix that an M-POST gives them
// ("73-CIMMethod"). A field that the request did not have is unset.
struct Call {
  std::string_view body;
  std::optional<std::string> operation;         // CIMOperation
  std::optional<std::string> method;            // CIMMethod, URL-decoded
  std::optional<std::string> object;            // CIMObject, URL-decoded
  std::optional<std::string> batch;             // CIMBatch
  std::optional<std::string> protocol_version;  // CIMProtocolVersion
  std::optional<std::string> content_type;
  std::string principal;        // the authenticated user; empty without authentication
  std::string accept_language;  // as the client sent it
};

// Where a reply goes: begin once, then write any number of times, all on the thread that called
// answer. Both block while the client has not read enough, and throw Gone when it reads no more.
class Reply {
 public:
  struct Gone {};
  using Headers = std::vector<std::pair<std::string, std::string>>;

  virtual ~Reply() = default;
  // status: 200, or the HTTP status that refuses a text that is not a CIM request.
  virtual void begin(int status, const Headers& headers) = 0;
  virtual void write(std::string_view text) = 0;
  // Called last, in place of the rest of a reply that has begun and cannot be completed: the
  // client must see that it is no whole message.
  virtual void abandon() {}
  // Whether the client has gone, or will read no more. From any thread, while answer runs.
  virtual bool client_has_gone() const { return false; }
};

// Bodies of more bytes are large. The receiver bounds how much memory they take together.
inline constexpr std::size_t kLargeBody = 64 << 10;

}  // namespace broker::cimxml

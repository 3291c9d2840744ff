// Reads one request of HTTP/1.0 or 1.1 as its bytes come (RFC 9112). Pure: no input or output, so
// nothing here blocks.
//
// It is strict: where two readers could differ about where a request ends or what it says, as with
// lone line feeds, folded lines, or two lengths, it is refused, and so are control characters. How
// the bytes were cut on their way makes no difference.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "broker/http/head.h"

namespace broker::http {

struct RequestHead {
  std::string method;
  std::string target;
  std::string version;  // "HTTP/1.0" or "HTTP/1.1"
  Headers fields;       // as often as they stand there; values without blanks at their ends
};

class RequestReader {
 public:
  // most_head: of request line and fields in bytes, and once more of a trailer; more is 431.
  explicit RequestReader(std::size_t most_head) : most_head_(most_head) {}

  enum class Stage { head, body, complete, faulty };

  // Takes from the front of bytes what belongs to this request and returns how many it took. It
  // stops at the end of the head, so that the caller can look at that first, and at the end of the
  // request; then and when the request is faulty it takes nothing more.
  std::size_t take(std::string_view bytes);

  Stage stage() const;
  // A byte of it has come. Empty lines before the request line are none of its bytes.
  bool begun() const { return place_ != Place::request_line || !line_.empty(); }
  // From the end of the head on.
  const RequestHead& head() const { return head_; }
  // Of the body as announced: 0 without one; unset where it comes in chunks.
  std::optional<std::uint64_t> length() const { return length_; }
  // What has come of the body and was not yet moved away, without the chunks' framing.
  std::string take_body();
  // The one answer to a faulty request, after which the connection is closed: what follows is not
  // known to be a request.
  const Refusal& fault() const { return fault_; }

 private:
  enum class Place {
    request_line,
    fields,
    body,
    chunk_size,
    chunk,
    chunk_end,
    trailer,
    complete,
    faulty
  };

  void take_of_line(char byte);
  void end_line();
  void read_request_line();
  void read_field();
  void end_head();
  void read_chunk_size();
  std::size_t take_of_body(std::string_view bytes);
  void refuse(int status);

  const std::size_t most_head_;
  Place place_ = Place::request_line;
  std::string line_;           // what has come of the present one
  bool after_return_ = false;  // its last byte was a carriage return, which is not in line_
  unsigned empty_lines_ = 0;   // before the request line
  std::size_t head_size_ = 0;  // of head or trailer
  RequestHead head_;
  std::optional<std::uint64_t> length_ = 0;
  std::uint64_t left_ = 0;  // of the body, or of its present chunk
  std::string body_;
  Refusal fault_{400};
};

}  // namespace broker::http

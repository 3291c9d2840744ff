// Reads one request of HTTP/1.0 or 1.1 as its bytes come (RFC 9112). Pure: no input or output, so
// nothing here blocks.
//
// It is strict: it refuses a request where two readers could differ about its end or its meaning,
// as with lone line feeds, folded lines or two lengths. It refuses control characters too. How the
// bytes were cut on their way makes no difference.
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
  // most_head: bytes of request line and fields together, and of a trailer; more: 431.
  explicit RequestReader(std::size_t most_head) : most_head_(most_head) {}

  enum class Stage { Head, Body, Complete, Faulty };

  // Takes from the front what belongs to this request, and returns how many bytes that were. Stops
  // at the end of the head, so that the caller can look at it, and at the end of the request. Of a
  // complete or faulty request it takes nothing more.
  std::size_t take(std::string_view bytes);

  Stage stage() const;
  // Whether a byte of it has come. Empty lines before the request line do not count.
  bool begun() const { return position_ != Position::RequestLine || !line_.empty(); }
  // From the end of the head on.
  const RequestHead& head() const { return head_; }
  // The announced length of the body: 0 without one, unset where it comes in chunks.
  std::optional<std::uint64_t> length() const { return length_; }
  // What has come of the body since the last call, without the framing of chunks.
  std::string take_body();
  // The answer to a faulty request. The connection is closed after it, since nobody knows whether
  // another request follows.
  const Refusal& fault() const { return fault_; }

 private:
  enum class Position {
    RequestLine,
    Fields,
    Body,
    ChunkSize,
    Chunk,
    ChunkEnd,
    Trailer,
    Complete,
    Faulty
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
  Position position_ = Position::RequestLine;
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

#include "broker/http/request_reader.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

#include "platform/words.h"

namespace broker::http {
namespace {

using platform::same_name;
using platform::take_to;
using platform::trim;

// Some clients end a body with a line end that they do not count (RFC 9112, 2.2).
constexpr unsigned kMostEmptyLines = 4;
// A field takes more memory than its bytes. No CIM client sends a third as many.
constexpr std::size_t kMostFields = 100;
// The size of a chunk, and extensions that no server has to understand (RFC 9112, 7.1.1).
constexpr std::size_t kMostOfChunkLine = 256;

bool is_control(char byte) {
  const auto code = static_cast<unsigned char>(byte);
  return (code < 0x20 && byte != '\t') || code == 0x7f;
}

bool is_digit(char byte) { return byte >= '0' && byte <= '9'; }

bool is_token(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char byte) {
    return is_digit(byte) || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           std::string_view("!#$%&'*+-.^_`|~").find(byte) != std::string_view::npos;
  });
}

bool is_visible(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(),
                                      [](char byte) { return byte > 0x20 && byte < 0x7f; });
}

bool is_version(std::string_view text) {
  return text.size() == 8 && text.starts_with("HTTP/") && is_digit(text[5]) && text[6] == '.' &&
         is_digit(text[7]);
}

// The status that refuses a Transfer-Encoding; 0 for "chunked" alone. This server undoes no other
// encoding (501). A list without "chunked" at its end, and there alone, is wrong in itself (400):
// nobody would know where the body ends.
int encoding_fault(std::string_view value) {
  if (same_name(value, "chunked")) return 0;
  for (bool more = true; more;) {
    more = value.find(',') != std::string_view::npos;
    const std::string_view coding = trim(take_to(value, ','));
    if (!is_token(coding) || (more && same_name(coding, "chunked"))) return 400;
  }
  return 501;
}

}  // namespace

std::size_t RequestReader::take(std::string_view bytes) {
  const Stage before = stage();
  if (before == Stage::Complete || before == Stage::Faulty) return 0;
  std::size_t taken = 0;
  while (taken < bytes.size() && stage() == before) {
    if (position_ == Position::Body || position_ == Position::Chunk) {
      taken += take_of_body(bytes.substr(taken));
    } else {
      take_of_line(bytes[taken++]);
    }
  }
  return taken;
}

RequestReader::Stage RequestReader::stage() const {
  switch (position_) {
    case Position::RequestLine:
    case Position::Fields:
      return Stage::Head;
    case Position::Complete:
      return Stage::Complete;
    case Position::Faulty:
      return Stage::Faulty;
    default:
      return Stage::Body;
  }
}

std::string RequestReader::take_body() { return std::exchange(body_, {}); }

std::size_t RequestReader::take_of_body(std::string_view bytes) {
  const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left_, bytes.size()));
  body_.append(bytes, 0, count);
  left_ -= count;
  if (left_ == 0)
    position_ = position_ == Position::Chunk ? Position::ChunkEnd : Position::Complete;
  return count;
}

// A byte that is wrong by itself is refused at once: a client of another protocol may never send a
// line end.
void RequestReader::take_of_line(char byte) {
  const bool in_chunk_line = position_ == Position::ChunkSize || position_ == Position::ChunkEnd;
  if (!in_chunk_line && ++head_size_ > most_head_) return refuse(431);
  if (std::exchange(after_return_, byte == '\r')) return byte == '\n' ? end_line() : refuse(400);
  if (byte == '\r') return;
  if (is_control(byte) || position_ == Position::ChunkEnd ||
      (in_chunk_line && line_.size() >= kMostOfChunkLine))
    return refuse(400);
  line_ += byte;
}

void RequestReader::end_line() {
  switch (position_) {
    case Position::RequestLine:
      read_request_line();
      break;
    case Position::Fields:
      if (line_.empty()) {
        end_head();
      } else {
        read_field();
      }
      break;
    case Position::ChunkSize:
      read_chunk_size();
      break;
    case Position::ChunkEnd:
      position_ = Position::ChunkSize;
      break;
    default:  // a trailer, of which nothing is used
      if (line_.empty()) {
        position_ = Position::Complete;
      } else {
        read_field();
      }
  }
  line_.clear();
}

void RequestReader::read_request_line() {
  if (line_.empty()) {
    head_size_ = 0;
    if (++empty_lines_ > kMostEmptyLines) refuse(400);
    return;
  }
  std::string_view rest = line_;
  const std::string_view method = take_to(rest, ' ');
  const std::string_view target = take_to(rest, ' ');
  if (!is_token(method) || !is_visible(target) || !is_version(rest)) return refuse(400);
  if (rest != "HTTP/1.0" && rest != "HTTP/1.1") return refuse(505);
  head_.method = method;
  head_.target = target;
  head_.version = rest;
  position_ = Position::Fields;
}

// Refuses folded lines too: they begin with a blank, which no name does.
void RequestReader::read_field() {
  std::string_view value = line_;
  const bool has_colon = value.find(':') != std::string_view::npos;
  const std::string_view name = take_to(value, ':');
  if (!has_colon || !is_token(name)) return refuse(400);
  if (position_ == Position::Trailer) return;
  if (head_.fields.size() == kMostFields) return refuse(431);
  head_.fields.emplace_back(name, trim(value));
}

void RequestReader::end_head() {
  head_size_ = 0;
  line_ = {};  // it may have grown to the whole head
  unsigned hosts = 0, ends = 0;
  const std::string *length = nullptr, *encoding = nullptr;
  for (const auto& [name, value] : head_.fields) {
    if (same_name(name, "Host")) ++hosts;
    if (same_name(name, "Content-Length")) {
      ++ends;
      length = &value;
    }
    if (same_name(name, "Transfer-Encoding")) {
      ++ends;
      encoding = &value;
    }
  }
  const bool is_1_1 = head_.version == "HTTP/1.1";
  if (hosts > 1 || (is_1_1 && hosts == 0) || ends > 1 || (encoding && !is_1_1)) return refuse(400);
  if (encoding) {
    if (const int fault = encoding_fault(*encoding); fault != 0) return refuse(fault);
    length_.reset();
    position_ = Position::ChunkSize;
    return;
  }
  if (length) {
    if (length->empty() || !std::all_of(length->begin(), length->end(), is_digit))
      return refuse(400);
    const auto read = std::from_chars(length->data(), length->data() + length->size(), left_);
    if (read.ec != std::errc()) return refuse(413);
    length_ = left_;
  }
  position_ = left_ > 0 ? Position::Body : Position::Complete;
}

void RequestReader::read_chunk_size() {
  const char* const end = line_.data() + line_.size();
  const auto read = std::from_chars(line_.data(), end, left_, 16);
  if (read.ec != std::errc() || (read.ptr != end && *read.ptr != ';')) return refuse(400);
  position_ = left_ > 0 ? Position::Chunk : Position::Trailer;
}

void RequestReader::refuse(int status) {
  fault_ = {status, {{"Connection", "close"}}};
  position_ = Position::Faulty;
}

}  // namespace broker::http

// A reply on its way: collected in a block, written whenever the block is full.
//
// The first block is held back until it is full or the message is complete. An operation that fails
// until then takes back what it has written, and its error is the answer. When it fails later, its
// client already reads the result, where the standard has no place for an error: the reply breaks
// off (Broken), which no client takes for a whole message.
#pragma once

#include <cstddef>

#include "broker/cimxml/service.h"
#include "broker/cimxml/xml_text.h"

namespace broker::cimxml {

class ReplyStream {
 public:
  struct Broken {};
  using Position = std::size_t;

  explicit ReplyStream(Reply& reply) : reply_(reply) {}

  Text& text() { return text_; }
  // Writes out a full block; to be called at least after each object. Throws Reply::Gone, now and
  // at every later call, when nobody reads any more.
  void offer() {
    if (text_.size() >= kBlock) write_out();
  }

  Position position() const { return written_ + text_.size(); }
  // Takes back what was put in since that position. Throws Broken when some was written already.
  void take_back(Position start);

  // The end of the message; writes nothing for a client that has gone.
  void finish();
  bool begun() const { return begun_; }
  bool gone() const { return gone_; }

 private:
  static constexpr std::size_t kBlock = std::size_t{64} * 1024;

  void write_out();

  Reply& reply_;
  Text text_;
  std::size_t written_ = 0;
  bool begun_ = false;
  bool gone_ = false;
};

}  // namespace broker::cimxml

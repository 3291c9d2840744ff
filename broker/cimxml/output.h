// A reply on its way: collected in a block, written whenever the block is full.
//
// So the first block is held back until it is full or the message complete, and an operation
// that fails within it takes back what it has written and answers with its error. One that fails
// later has a client that already reads the result, where the standard has no place for an error
// any more: then the reply breaks off (Broken), which no client takes for a whole message.
#pragma once

#include <cstddef>

#include "broker/cimxml/service.h"
#include "broker/cimxml/text.h"

namespace broker::cimxml {

class Output {
 public:
  struct Broken {};
  using Mark = std::size_t;

  explicit Output(Reply& reply) : reply_(reply) {}

  Text& text() { return text_; }
  // To be called now and then, at the latest after each object: writes out a full block. Throws
  // Reply::Gone, now and at every later call, when nobody reads any more.
  void offer() {
    if (text_.size() >= kBlock) write_out();
  }

  Mark mark() const { return written_ + text_.size(); }
  // Takes back what was put in since; throws Broken when it is on its way already.
  void take_back(Mark mark);

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

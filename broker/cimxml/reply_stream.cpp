#include "broker/cimxml/reply_stream.h"

namespace broker::cimxml {

void ReplyStream::take_back(Position start) {
  if (start < written_) throw Broken();
  text_.cut(start - written_);
}

void ReplyStream::write_out() {
  if (!gone_) {
    try {
      if (!begun_) {
        begun_ = true;
        reply_.begin(200, {{"Content-Type", "application/xml; charset=utf-8"},
                           {"CIMOperation", "MethodResponse"}});
      }
      reply_.write(text_.view());
    } catch (const Reply::Gone&) {
      gone_ = true;
    }
  }
  written_ += text_.size();
  text_.cut(0);
  if (gone_) throw Reply::Gone();
}

void ReplyStream::finish() {
  if (!gone_) write_out();
}

}  // namespace broker::cimxml

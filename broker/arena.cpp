#include "broker/arena.h"

#include <algorithm>
#include <cstddef>

namespace broker {

// The handles of all kinds of object are two pointers, and the header follows.
void* Arena::start(Header& header) { return reinterpret_cast<char*>(&header) - sizeof(CMPIString); }

// A provider rarely holds more than a few objects at a time.
constexpr std::size_t kMostSpares = 8;

Arena::~Arena() {
  free_after(nullptr);
  while (Header* header = spare_) {
    spare_ = header->next;
    header->destroy(*header);
  }
}

void Arena::add(Header& header) {
  header.arena = this;
  header.previous = last_;
  if (last_) last_->next = &header;
  last_ = &header;
  ++size_;
}

void Arena::remove(Header& header) {
  // A mark that was set when this object was the newest one now counts from the one before it.
  for (Mark& mark : marks_) {
    if (mark.last == &header) mark.last = header.previous;
  }
  if (header.previous) header.previous->next = header.next;
  if (header.next) {
    header.next->previous = header.previous;
  } else {
    last_ = header.previous;
  }
  --size_;
}

bool Arena::keep_spare(Header& header) {
  if (!header.reusable || spares_ == kMostSpares) return false;
  // The first pointer of the handle: the object is refused until it is used again.
  *static_cast<void**>(start(header)) = nullptr;
  header.next = spare_;
  spare_ = &header;
  ++spares_;
  return true;
}

Header* Arena::take_spare(Kind kind) {
  Header** place = &spare_;
  while (*place && (*place)->kind != kind) place = &(*place)->next;
  Header* found = *place;
  if (!found) return nullptr;
  *place = found->next;
  --spares_;
  found->next = nullptr;
  add(*found);
  return found;
}

void Arena::free(Header& header) {
  if (Arena* arena = header.arena) {
    arena->remove(header);
    if (arena->keep_spare(header)) return;
  }
  // The clone may be the last owner of its core, which must outlive the clone's destructor.
  const std::shared_ptr<Core> keeps = std::move(header.keeps);
  header.destroy(header);
}

void Arena::free_after(const Header* stop) {
  while (last_ != stop) free(*last_);  // NOLINT(clang-analyzer-unix.Malloc): free moves last_ on
}

void* Arena::mark() {
  marks_.push_back({std::make_unique<char>(), last_});
  return marks_.back().identity.get();
}

bool Arena::release(const void* mark) {
  const auto found = std::find_if(marks_.begin(), marks_.end(), [mark](const Mark& candidate) {
    return candidate.identity.get() == mark;
  });
  if (found == marks_.end()) return false;
  Header* stop = found->last;
  marks_.erase(found, marks_.end());
  free_after(stop);
  return true;
}

}  // namespace broker

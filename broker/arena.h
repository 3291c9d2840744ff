// What all CMPI objects of the object manager have in common, and who frees them.
//
// An object is one allocation that begins with the CMPI handle {hdl, ft}, so that its address is
// the CMPI pointer. hdl holds the object's own address. A handle of another maker holds something
// else there, and so does a released one until its memory serves another object: both are refused.
//
// Objects belong to the arena of the operation that made them and are freed with it. A provider may
// release one of its objects earlier. Objects that it was given are lent, and releasing them has no
// effect. Clones belong to no arena: they live until they are released, and keep the manager's
// tables alive.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "broker/tables.h"

namespace broker {

class Arena;
class Core;

enum class Kind : std::uint32_t {
  String,
  Array,
  DateTime,
  ObjectPath,
  Instance,
  Args,
  Context,
  Result,
  Enumeration,
  Error,
  PropertyList,
  EnumerationFilter,
};

struct Header {
  Kind kind{};
  bool lent = false;           // an argument of a provider's function
  bool reusable = false;       // when it is released, it waits for the next of its kind
  Arena* arena = nullptr;      // null for a clone
  Header* previous = nullptr;  // neighbours in the arena
  Header* next = nullptr;
  void (*destroy)(Header&) = nullptr;
  std::shared_ptr<Core> keeps;  // what a clone needs; null for other objects
};

// Base of the object types in objects.h.
template <class CmpiHandle, Kind object_kind>
struct Object {
  using Handle = CmpiHandle;
  static constexpr Kind kKind = object_kind;

  Handle handle{};
  Header header;
};

class Arena {
 public:
  // core may be null. Clones of the arena's objects keep it alive.
  explicit Arena(const Tables& tables, std::shared_ptr<Core> core = nullptr)
      : tables_(tables), core_(std::move(core)) {}
  ~Arena();
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  // Makes an object that is freed with the arena.
  template <class T, class... Arguments>
  T* make(Arguments&&... arguments) {
    T* object = make_free<T>(tables_, std::forward<Arguments>(arguments)...);
    add(object->header);
    return object;
  }

  // A copy that belongs to no arena.
  template <class T>
  static T* clone(const T& source) {
    T* copy = new T(source);
    copy->handle.hdl = copy;
    copy->header = Header{};
    copy->header.kind = T::kKind;
    copy->header.destroy = source.header.destroy;
    copy->header.keeps = source.header.arena ? source.header.arena->core_ : source.header.keeps;
    return copy;
  }

  // A released object of this kind, to be filled anew: it still holds the contents and the memory
  // of the one before. Null when there is none. For kinds that providers make and release all the
  // time, which make_reusable makes. Without this, CIM-XML over HTTP would miss its goal
  // (bench/table.py).
  template <class T>
  T* reuse() {
    Header* header = take_spare(T::kKind);
    if (!header) return nullptr;
    T* object = reinterpret_cast<T*>(start(*header));
    object->handle.hdl = object;
    return object;
  }
  template <class T, class... Arguments>
  T* make_reusable(Arguments&&... arguments) {
    T* object = make<T>(std::forward<Arguments>(arguments)...);
    object->header.reusable = true;
    return object;
  }

  // As make, for an argument of a provider's function.
  template <class T, class... Arguments>
  T* lend(Arguments&&... arguments) {
    T* object = make<T>(std::forward<Arguments>(arguments)...);
    object->header.lent = true;
    return object;
  }

  // Makes an object that belongs to no arena.
  template <class T, class... Arguments>
  static T* make_free(const Tables& tables, Arguments&&... arguments) {
    T* object = new T{{}, std::forward<Arguments>(arguments)...};
    object->handle.hdl = object;
    object->handle.ft = &(tables.*T::kTable);
    object->header.kind = T::kKind;
    object->header.destroy = [](Header& header) { delete reinterpret_cast<T*>(start(header)); };
    return object;
  }

  // Frees an object: one of its arena, or a clone.
  static void free(Header& header);

  // Lifetimes that nest. release frees every object and forgets every mark made since the mark; it
  // returns false when there is no such mark.
  void* mark();
  bool release(const void* mark);

  std::size_t size() const { return size_; }  // objects that it holds

 private:
  static void* start(Header& header);

  void add(Header& header);
  void remove(Header& header);
  bool keep_spare(Header& header);
  Header* take_spare(Kind kind);
  void free_after(const Header* stop);

  struct Mark {
    std::unique_ptr<char> identity;  // its address is the handle
    Header* last;                    // the newest object when the mark was set
  };

  const Tables& tables_;
  const std::shared_ptr<Core> core_;
  Header* last_ = nullptr;
  std::size_t size_ = 0;
  Header* spare_ = nullptr;  // chained by next
  std::size_t spares_ = 0;
  std::vector<Mark> marks_;
};

}  // namespace broker

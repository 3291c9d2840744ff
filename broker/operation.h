// The arena and the context of one call of a provider's function, or of an attached thread.
// Operations of a thread nest, since a provider may call the object manager on the thread of its
// own call.
#pragma once

#include <memory>
#include <string>

#include "broker/arena.h"
#include "broker/object_manager.h"
#include "broker/objects.h"

namespace broker {

class Core;

class Operation {
 public:
  // Opens an operation on the calling thread, inside the one that is open there.
  Operation(Core& core, const Request& request, CMPIFlags flags);
  // Opens the operation of an attached thread and takes over its context.
  Operation(Core& core, ContextObject* prepared);
  ~Operation();
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  // The innermost one of this thread; null when the thread is in no call and not attached.
  static Operation* current();
  // Throws Error (Failed) when there is none.
  static Operation& get();

  Arena& arena() { return arena_; }
  Core& core() { return *core_; }
  const CMPIContext* context() const { return &context_->handle; }
  bool attached() const { return attached_; }
  const Operation* outer() const { return outer_; }

  template <class T, class... Arguments>
  T* lend(Arguments&&... arguments) {
    return arena_.lend<T>(std::forward<Arguments>(arguments)...);
  }

 private:
  std::shared_ptr<Core> core_;
  Operation* outer_;
  Arena arena_;
  ContextObject* context_;
  bool attached_;
};

// The request of an up-call with this context. The flags of the context are not looked at:
// providers pass on the context of their own call, and expect whole instances whatever their client
// asked for.
Request request_of(const ContextObject& context);

// Makes an object of the running operation.
template <class T, class... Arguments>
T* make(Arguments&&... arguments) {
  return Operation::get().arena().make<T>(std::forward<Arguments>(arguments)...);
}

}  // namespace broker

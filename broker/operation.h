// One call of a provider's function, or an attached thread: the arena and context that belong to
// it. Operations of a thread nest, since providers call the object manager back on it.
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
  // For an attached thread; takes the context over.
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

// The request that a context stands for, as up-calls pass it on. The invocation flags are left
// out of account: providers pass on the context that they got, and expect whole instances.
Request request_of(const ContextObject& context);

// Makes an object of the running operation.
template <class T, class... Arguments>
T* make(Arguments&&... arguments) {
  return Operation::get().arena().make<T>(std::forward<Arguments>(arguments)...);
}

}  // namespace broker

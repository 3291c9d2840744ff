// How a provider hands the instances of an enumeration to the framework.
#pragma once

#include "platform/framework/instance.h"

namespace ovk_cimple {

// Called once per instance with its status, and, to close the enumeration, once with a null
// instance and the operation's status. Takes over the caller's reference to the instance.
using EnumCallback = void (*)(Instance* instance, sint32 status, void* data);

template <class T = Instance>
class EnumHandler {
 public:
  EnumHandler(EnumCallback callback, void* data) : callback_(callback), data_(data) {}

  // The instance belongs to the framework afterwards.
  void handle(T* instance, sint32 status = 0) { callback_(instance, status, data_); }
  void handle(Ref<T> instance, sint32 status = 0) { handle(instance.release(), status); }

 private:
  EnumCallback callback_;
  void* data_;
};

}  // namespace ovk_cimple

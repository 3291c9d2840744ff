// Instances of CIM classes: what they share, who owns them, how they are made.
//
// A generated class is a struct that derives from its CIM superclass, down from Instance, and
// holds one Property per CIM property. Instances are reference-counted. References may be taken and
// dropped on any thread; the properties are not guarded.
#pragma once

#include <atomic>

#include "platform/framework/property.h"

namespace ovk_cimple {

struct MetaClass;

class OVK_CIMPLE_EXPORT Instance {
 public:
  // The class the instance really is of; never null.
  const MetaClass* const meta_class;

  // The name space of an instance that came from the object manager; empty for others. References
  // to the instance are published in this name space.
  String name_space;

  Instance& operator=(const Instance&) = delete;

 protected:
  explicit Instance(const MetaClass& meta) : meta_class(&meta) {}
  Instance(const Instance& other) : meta_class(other.meta_class), name_space(other.name_space) {}
  ~Instance() = default;  // unref() ends instances, by the function of their meta-class

 private:
  friend OVK_CIMPLE_EXPORT void ref(const Instance*);
  friend OVK_CIMPLE_EXPORT void unref(const Instance*);
  mutable std::atomic<uint32> references_{1};
};

// A new instance with one reference, owned by the caller. Without defaults every property is null.
// With defaults a property for which the schema gives a default has that value.
OVK_CIMPLE_EXPORT Instance* create(const MetaClass& meta, bool defaults = false);

// A copy with a reference count of its own; instances that it refers to are shared. Null for
// null. Owned by the caller.
OVK_CIMPLE_EXPORT Instance* clone(const Instance* instance);

// Take and drop one reference. The instance ends with its last reference. Null is ignored.
OVK_CIMPLE_EXPORT void ref(const Instance* instance);
OVK_CIMPLE_EXPORT void unref(const Instance* instance);

// Drops the caller's reference to an instance that it made.
inline void destroy(const Instance* instance) { unref(instance); }

// Whether the instance's class is that class or derives from it. False for null.
OVK_CIMPLE_EXPORT bool is_a(const Instance* instance, const MetaClass& meta);

// The instance as a T, or null when its class is neither T nor derived from T.
template <class T>
T* cast(Instance* instance) {
  return is_a(instance, T::static_meta_class) ? static_cast<T*>(instance) : nullptr;
}
template <class T>
const T* cast(const Instance* instance) {
  return is_a(instance, T::static_meta_class) ? static_cast<const T*>(instance) : nullptr;
}

// Owns one reference to an instance, or nothing.
template <class T = Instance>
class Ref {
 public:
  Ref() = default;
  Ref(const Ref& other) : instance_(other.instance_) { ref(instance_); }
  Ref(Ref&& other) noexcept : instance_(other.release()) {}
  template <class U>
  Ref(Ref<U> other) : instance_(other.release()) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(instance_, other.instance_);
    return *this;
  }
  ~Ref() { unref(instance_); }

  // Takes over the caller's reference.
  static Ref adopt(T* instance) {
    Ref result;
    result.instance_ = instance;
    return result;
  }
  // Takes a reference of its own.
  static Ref share(T* instance) {
    ref(instance);
    return adopt(instance);
  }

  T* get() const { return instance_; }
  T* operator->() const { return instance_; }
  T& operator*() const { return *instance_; }
  explicit operator bool() const { return instance_ != nullptr; }
  // Hands the reference over to the caller.
  T* release() { return std::exchange(instance_, nullptr); }

 private:
  T* instance_ = nullptr;
};

// create() for a class known at compile time.
template <class T>
Ref<T> make(bool defaults = false) {
  return Ref<T>::adopt(static_cast<T*>(create(T::static_meta_class, defaults)));
}

}  // namespace ovk_cimple

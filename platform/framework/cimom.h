// Up-calls: what a provider may ask of the object manager that runs it.
#pragma once

#include <vector>

#include "platform/framework/instance.h"

namespace ovk_cimple {

// The instances that an up-call returned, in the order delivered.
class Instance_Enumerator {
 public:
  void add(Ref<Instance> instance) { instances_.push_back(std::move(instance)); }
  bool more() const { return next_ < instances_.size(); }
  // The next instance, with a reference that the caller owns; null when there are no more.
  Ref<Instance> next() { return more() ? instances_[next_++] : Ref<Instance>(); }

 private:
  std::vector<Ref<Instance>> instances_;
  std::size_t next_ = 0;
};

// The object manager as the adapter offers it for the duration of one operation. Called only
// on the thread that runs the operation.
class OVK_CIMPLE_EXPORT Cimom {
 public:
  virtual ~Cimom() = default;
  // Adds every instance of the model's class and its subclasses. Returns 0 or the object
  // manager's status code. May block for as long as other providers take.
  virtual sint32 enum_instances(const char* name_space, const Instance& model,
                                Instance_Enumerator& enumerator) = 0;
};

// Directs the up-calls of this thread to an object manager until the scope ends. Scopes nest, since
// an up-call may come back into the same module.
class OVK_CIMPLE_EXPORT CimomScope {
 public:
  explicit CimomScope(Cimom& cimom);
  ~CimomScope();
  CimomScope(const CimomScope&) = delete;
  CimomScope& operator=(const CimomScope&) = delete;

 private:
  Cimom* previous_;
};

namespace cimom {

// Asks the object manager for the instances of the model's class. Returns -1 outside of an
// operation, where there is no object manager to ask.
OVK_CIMPLE_EXPORT sint32 enum_instances(const char* name_space, const Instance& model,
                                        Instance_Enumerator& enumerator);

}  // namespace cimom
}  // namespace ovk_cimple

// The receiving end of one call of a provider's function: what the provider puts into its result is
// checked here and handed on to the sink of the operation's caller.
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "broker/object_manager.h"
#include "broker/objects.h"

namespace broker {

// The properties that a requester wants to see.
struct PropertyChoice {
  const Request* request = nullptr;  // null: all
  const ClassInfo* base = nullptr;   // only properties that this class has; null: all

  bool all() const { return !base && (!request || !request->properties); }
  bool wants(std::string_view name) const;
};

class Delivery {
 public:
  // Accepts nothing, as for modify and delete.
  Delivery() = default;
  // bound: the class that items must be of; null accepts every class. limit 0: any number of items.
  Delivery(const InstanceSink& sink, const ClassInfo* bound, PropertyChoice choice,
           std::size_t limit = 0);
  Delivery(const PathSink& sink, const ClassInfo* bound, std::size_t limit = 0);
  // Accepts the return value of the method.
  explicit Delivery(const MethodInfo& method);

  // The functions of a CMPIResult. Each throws Error: InvalidDataType for what the operation does
  // not accept, InvalidHandle after the end, or once the sink has thrown.
  void instance(const InstanceObject& object);
  void path(const ObjectPathObject& object);
  void value(Value value);
  void done();
  void error(std::string text);

  // Throws again what the sink threw, if it did. The provider saw an error status instead.
  void rethrow() const;

  std::size_t count() const { return count_; }
  const Value& return_value() const { return value_; }
  const std::string& first_error() const { return first_error_; }

 private:
  void admit(const ClassInfo* info);
  template <class Sink, class Item>
  void hand_over(const Sink& sink, const Item& item);

  const InstanceSink* instances_ = nullptr;
  const PathSink* paths_ = nullptr;
  const MethodInfo* method_ = nullptr;
  const ClassInfo* bound_ = nullptr;
  PropertyChoice choice_;
  std::size_t limit_ = 0;
  std::size_t count_ = 0;
  bool done_ = false;
  Value value_;
  std::string first_error_;
  std::exception_ptr failure_;
};

}  // namespace broker

// One call of an interface function: what it needs of the provider and of the object manager. No
// exception leaves it.
#pragma once

#include <cxxabi.h>

#include <exception>
#include <vector>

#include "platform/cmpi/adapted_provider.h"
#include "platform/cmpi/incoming.h"
#include "platform/cmpi/outgoing.h"
#include "platform/framework/cimom.h"
#include "platform/framework/dispatch.h"

namespace ovk_cimple {

class ClientCall final : public Cimom {
 public:
  // The path gives the name space of the call. Throws Failure when the provider was ended.
  ClientCall(const ManagementInterface& interface, const CMPIContext* context,
             const CMPIResult* result, const CMPIObjectPath* path);

  const MetaClass& meta_class() const { return provider_.meta_class(); }
  const Translator& translator() const { return translator_; }
  const CMPIResult* result() const { return result_; }

  // The class that a path names, or null when it is unknown. A path without a class means the
  // provider's class.
  const MetaClass* class_of(const CMPIObjectPath* path) const;

  // Performs an operation of the provider, whose up-calls come here, and returns its status.
  // Arguments as the operation lists them, after the provider.
  template <class... Arguments>
  sint32 dispatch(sint32 operation, Arguments... arguments) {
    const CimomScope scope(*this);
    return lease_.dispatch(operation, argument(arguments)...);
  }

  // The same for an enumeration; the callback and its data follow the arguments.
  template <class... Arguments>
  sint32 enumerate(std::vector<Ref<Instance>>& instances, sint32 operation,
                   Arguments... arguments) {
    return dispatch(operation, arguments..., reinterpret_cast<void*>(&collect), &instances);
  }

  // Every instance of the provider, asked with a model of a class. Each goes to the sink,
  // void(Ref<Instance>), as soon as the provider hands it out, so that they never exist all at
  // once. If the sink throws, the rest is dropped; the provider still comes to its normal end
  // before the exception goes on.
  template <class Sink>
  void enumerate_all(const MetaClass& model_class, Sink sink) {
    const auto model = Ref<Instance>::adopt(create(model_class));
    struct Receiver {
      Sink& sink;
      std::exception_ptr failure;
    } receiver{sink, nullptr};
    const EnumCallback callback = [](Instance* instance, sint32 status, void* data) {
      auto owned = Ref<Instance>::adopt(instance);
      auto& receiver = *static_cast<Receiver*>(data);
      if (!owned || status != OK || receiver.failure) return;
      try {
        receiver.sink(std::move(owned));
      } catch (const abi::__forced_unwind&) {
        throw;
      } catch (...) {
        receiver.failure = std::current_exception();
      }
    };
    const sint32 status = dispatch(EnumInstances, model.get(), reinterpret_cast<void*>(callback),
                                   static_cast<void*>(&receiver));
    if (receiver.failure) std::rethrow_exception(receiver.failure);
    require_ok(EnumInstances, status);
  }

  // Throws Failure unless the provider's status is OK.
  void require_ok(sint32 operation, sint32 status) const;

  // Hand a result over.
  void deliver(const Instance& instance, Selection& selection) const;
  void deliver(const CMPIInstance* instance) const;
  void deliver_path(const Instance& instance) const;

  // Asks the object manager for the instance, which lives as long as the call. Null when there is
  // none.
  const CMPIInstance* fetch(const Instance& instance, const char** properties) const;

  sint32 enum_instances(const char* name_space, const Instance& model,
                        Instance_Enumerator& enumerator) override;

 private:
  sint32 add_instances(const char* name_space, const Instance& model,
                       Instance_Enumerator& enumerator) const;
  static void collect(Instance* instance, sint32 status, void* data);

  static void* argument(void* pointer) { return pointer; }
  static void* argument(const Instance* instance) { return const_cast<Instance*>(instance); }
  static void* argument(const char* text) { return const_cast<char*>(text); }

  AdaptedProvider& provider_;
  const AdaptedProvider::Lease lease_;
  const CMPIContext* const context_;
  const CMPIResult* const result_;
  const Translator translator_;
};

// The code and text for the exception that is being handled.
struct Caught {
  CMPIrc code;
  std::string cause;
};
Caught caught_exception();

// The status for the exception that is being handled. Its text names provider, operation and cause.
CMPIStatus failed_status(const ManagementInterface& interface, const char* operation) noexcept;

// Ends the results of a call that succeeded.
CMPIStatus done_status(const CMPIResult* result);

// Runs the body of an interface function with its call.
template <class Body>
CMPIStatus perform(const void* handle, const CMPIContext* context, const CMPIResult* result,
                   const CMPIObjectPath* path, const char* operation, Body body) {
  const auto& interface = *static_cast<const ManagementInterface*>(handle);
  try {
    ClientCall call(interface, context, result, path);
    body(call);
    return done_status(result);
  } catch (const abi::__forced_unwind&) {
    throw;  // the thread is being cancelled; the C library aborts a process that stops that
  } catch (...) {
    return failed_status(interface, operation);
  }
}

// The cleanup function of every interface.
CMPIStatus clean_up(const void* handle, CMPIBoolean terminating);

}  // namespace ovk_cimple

#include "platform/cmpi/adapted_provider.h"

#include "platform/cmpi/broker.h"
#include "platform/framework/cimom.h"
#include "platform/framework/dispatch.h"

namespace ovk_cimple {

namespace {

// Up-calls while a provider is loaded or unloaded are refused. They belong to no request, their
// context may be empty, and object managers read garbage from an empty context.
class Nobody final : public Cimom {
  sint32 enum_instances(const char*, const Instance&, Instance_Enumerator&) override { return -1; }
};

Failure ended() { return {CMPI_RC_ERR_FAILED, "the provider was ended"}; }

}  // namespace

Adapted_Provider& Adapted_Provider::of(Cmpi_Static_Data& data, const Registration& registration) {
  static auto& mutex = *new std::mutex;
  static auto& all = *new std::deque<Adapted_Provider>;
  const std::lock_guard lock(mutex);
  if (!data.adapter) data.adapter = &all.emplace_back(registration);
  return *static_cast<Adapted_Provider*>(data.adapter);
}

sint32 Adapted_Provider::dispatch(sint32 operation, void* arg0) const {
  Nobody nobody;
  const Cimom_Scope scope(nobody);
  return registration_.dispatch(&registration_, operation, arg0, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr);
}

void Adapted_Provider::start() {
  void* object = nullptr;
  const sint32 created = dispatch(CREATE_PROVIDER, &object);
  if (created != OK || !object)
    throw Failure{CMPI_RC_ERR_FAILED, "not created, code " + std::to_string(created)};
  try {
    const sint32 loaded = dispatch(LOAD, object);
    if (loaded != OK)
      throw Failure{CMPI_RC_ERR_FAILED, "not loaded, code " + std::to_string(loaded)};
  } catch (...) {
    dispatch(DESTROY_PROVIDER, object);
    throw;
  }
  object_ = object;
}

void Adapted_Provider::destroy(void* object) const {
  try {
    dispatch(UNLOAD, object);
  } catch (...) {
    dispatch(DESTROY_PROVIDER, object);
    throw;
  }
  dispatch(DESTROY_PROVIDER, object);
}

ManagementInterface& Adapted_Provider::open(char kind, const CMPIBroker* broker) {
  const bool known =
      kind == 'I' || kind == 'M' || (kind == 'A' && registration_.meta_class->association);
  if (!known) throw Failure{CMPI_RC_ERR_NOT_SUPPORTED, "no interface of this kind"};
  const std::lock_guard lock(mutex_);
  if (!object_) start();
  for (ManagementInterface& interface : interfaces_) {
    if (interface.kind != kind || interface.broker != broker) continue;
    interface.open = true;
    return interface;
  }
  ManagementInterface& interface = interfaces_.emplace_back();
  if (kind == 'I') interface.object.instance = {&interface, &instance_functions};
  if (kind == 'A') interface.object.association = {&interface, &association_functions};
  if (kind == 'M') interface.object.method = {&interface, &method_functions};
  interface.provider = this;
  interface.broker = broker;
  interface.kind = kind;
  interface.open = true;
  return interface;
}

void Adapted_Provider::close(ManagementInterface& interface) {
  const std::lock_guard lock(mutex_);
  interface.open = false;
  for (const ManagementInterface& other : interfaces_)
    if (other.open) return;
  void* const object = std::exchange(object_, nullptr);
  if (!object) return;
  if (calls_ == 0)
    destroy(object);
  else
    left_.push_back(object);
}

Adapted_Provider::Lease::Lease(Adapted_Provider& provider) : provider_(provider) {
  const std::lock_guard lock(provider.mutex_);
  object_ = provider.object_;
  if (!object_) throw ended();
  ++provider.calls_;
}

Adapted_Provider::Lease::~Lease() {
  const std::lock_guard lock(provider_.mutex_);
  --provider_.calls_;
}

void Adapted_Provider::Lease::require_not_ended() const {
  const std::lock_guard lock(provider_.mutex_);
  if (provider_.object_ != object_) throw ended();
}

sint32 Adapted_Provider::Lease::dispatch(sint32 operation, void* arg1, void* arg2, void* arg3,
                                         void* arg4, void* arg5, void* arg6) const {
  const Registration& registration = provider_.registration_;
  return registration.dispatch(&registration, operation, object_, arg1, arg2, arg3, arg4, arg5,
                               arg6, nullptr);
}

}  // namespace ovk_cimple

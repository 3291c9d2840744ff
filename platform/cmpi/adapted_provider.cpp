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

AdaptedProvider& AdaptedProvider::of(CmpiStaticData& data, const Registration& registration) {
  static auto& mutex = *new std::mutex;
  static auto& all = *new std::deque<AdaptedProvider>;
  const std::lock_guard lock(mutex);
  if (!data.adapter) data.adapter = &all.emplace_back(registration);
  return *static_cast<AdaptedProvider*>(data.adapter);
}

sint32 AdaptedProvider::dispatch(sint32 operation, void* arg0) const {
  Nobody nobody;
  const CimomScope scope(nobody);
  return registration_.dispatch(&registration_, operation, arg0, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr);
}

void AdaptedProvider::start() {
  void* object = nullptr;
  const sint32 created = dispatch(CreateProvider, &object);
  if (created != OK || !object)
    throw Failure{CMPI_RC_ERR_FAILED, "not created, code " + std::to_string(created)};
  try {
    const sint32 loaded = dispatch(LOAD, object);
    if (loaded != OK)
      throw Failure{CMPI_RC_ERR_FAILED, "not loaded, code " + std::to_string(loaded)};
  } catch (...) {
    dispatch(DestroyProvider, object);
    throw;
  }
  object_ = object;
}

void AdaptedProvider::destroy(void* object) const {
  try {
    dispatch(UNLOAD, object);
  } catch (...) {
    dispatch(DestroyProvider, object);
    throw;
  }
  dispatch(DestroyProvider, object);
}

ManagementInterface& AdaptedProvider::open(char kind, const CMPIBroker* broker) {
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
  if (kind == 'I') interface.object.instance = {&interface, &kInstanceFunctions};
  if (kind == 'A') interface.object.association = {&interface, &kAssociationFunctions};
  if (kind == 'M') interface.object.method = {&interface, &kMethodFunctions};
  interface.provider = this;
  interface.broker = broker;
  interface.kind = kind;
  interface.open = true;
  return interface;
}

void AdaptedProvider::close(ManagementInterface& interface) {
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

AdaptedProvider::Lease::Lease(AdaptedProvider& provider) : provider_(provider) {
  const std::lock_guard lock(provider.mutex_);
  object_ = provider.object_;
  if (!object_) throw ended();
  ++provider.calls_;
}

AdaptedProvider::Lease::~Lease() {
  const std::lock_guard lock(provider_.mutex_);
  --provider_.calls_;
}

void AdaptedProvider::Lease::require_not_ended() const {
  const std::lock_guard lock(provider_.mutex_);
  if (provider_.object_ != object_) throw ended();
}

sint32 AdaptedProvider::Lease::dispatch(sint32 operation, void* arg1, void* arg2, void* arg3,
                                        void* arg4, void* arg5, void* arg6) const {
  const Registration& registration = provider_.registration_;
  return registration.dispatch(&registration, operation, object_, arg1, arg2, arg3, arg4, arg5,
                               arg6, nullptr);
}

}  // namespace ovk_cimple

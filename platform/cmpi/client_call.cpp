#include "platform/cmpi/client_call.h"

#include "platform/cmpi/clean_text.h"
#include "platform/cmpi/codes.h"

namespace ovk_cimple {

namespace {

constexpr char kDefaultNameSpace[] = "root/cimv2";

String name_space_or_default(const CMPIObjectPath* path) {
  String result = name_space(path);
  return result.empty() ? kDefaultNameSpace : result;
}

}  // namespace

ClientCall::ClientCall(const ManagementInterface& interface, const CMPIContext* context,
                       const CMPIResult* result, const CMPIObjectPath* path)
    : provider_(*interface.provider),
      lease_(provider_),
      context_(context),
      result_(result),
      translator_(interface.broker, name_space_or_default(path)) {}

const MetaClass* ClientCall::class_of(const CMPIObjectPath* path) const {
  const String name = class_name(path);
  return name.empty() ? &meta_class() : find_class(meta_class(), name);
}

void ClientCall::collect(Instance* instance, sint32 status, void* data) {
  auto owned = Ref<Instance>::adopt(instance);
  if (owned && status == OK)
    static_cast<std::vector<Ref<Instance>>*>(data)->push_back(std::move(owned));
}

void ClientCall::require_ok(sint32 operation, sint32 status) const {
  const CMPIrc code = code_for(operation, status);
  if (code != CMPI_RC_OK) throw Failure{code, words_for(operation, status)};
}

void ClientCall::deliver(const Instance& instance, Selection& selection) const {
  lease_.require_not_ended();
  deliver(translator_.instance(instance, selection).get());
}

void ClientCall::deliver(const CMPIInstance* instance) const {
  require(invoke(result_, &CMPIResultFT::returnInstance, instance), "result");
}

void ClientCall::deliver_path(const Instance& instance) const {
  lease_.require_not_ended();
  auto path = translator_.path(instance);
  require(invoke(result_, &CMPIResultFT::returnObjectPath, path.get()), "result");
  if (!copies_paths(translator_.broker())) (void)path.release();
}

const CMPIInstance* ClientCall::fetch(const Instance& instance, const char** properties) const {
  const CMPIBroker* const broker = translator_.broker();
  if (!context_ || !broker->bft || !broker->bft->getInstance)
    throw Failure{CMPI_RC_ERR_FAILED, "the object manager takes no up-calls"};
  const auto path = translator_.path(instance);
  CMPIStatus status{};
  const CMPIInstance* const found =
      broker->bft->getInstance(broker, context_, path.get(), properties, &status);
  if (status.rc == CMPI_RC_ERR_NOT_FOUND) return nullptr;
  require(status, instance.meta_class->name);
  return found;
}

sint32 ClientCall::enum_instances(const char* name_space, const Instance& model,
                                  Instance_Enumerator& enumerator) {
  try {
    return add_instances(name_space, model, enumerator);
  } catch (const Failure& failure) {
    return failure.code;  // the provider gets a status, not an exception
  }
}

sint32 ClientCall::add_instances(const char* name_space, const Instance& model,
                                 Instance_Enumerator& enumerator) const {
  const CMPIBroker* const broker = translator_.broker();
  if (!context_ || !broker->bft || !broker->bft->enumerateInstances)
    return CMPI_RC_ERR_NOT_SUPPORTED;
  const String place = name_space && *name_space ? name_space : translator_.name_space();
  const auto path = translator_.class_path(place.c_str(), model.meta_class->name);
  CMPIStatus status{};
  const CMPIEnumeration* const found =
      broker->bft->enumerateInstances(broker, context_, path.get(), nullptr, &status);
  // Older object managers answer so when there are no instances.
  if (status.rc == CMPI_RC_ERR_NOT_FOUND) return CMPI_RC_OK;
  if (status.rc != CMPI_RC_OK) return status.rc;
  while (invoke(found, &CMPIEnumerationFT::hasNext, &status)) {
    status = {};
    const CMPIData data = invoke(found, &CMPIEnumerationFT::getNext, &status);
    if (status.rc != CMPI_RC_OK) return status.rc;
    if (data.type != CMPI_instance) continue;
    if (auto instance = read_instance(data.value.inst, *model.meta_class, place))
      enumerator.add(std::move(instance));
  }
  return CMPI_RC_OK;
}

Caught caught_exception() {
  try {
    throw;
  } catch (const Failure& failure) {
    return {failure.code, clean_text(failure.text)};
  } catch (const std::exception& exception) {
    return {CMPI_RC_ERR_FAILED, clean_text(exception.what())};
  } catch (...) {
    return {CMPI_RC_ERR_FAILED, "unknown exception"};
  }
}

CMPIStatus failed_status(const ManagementInterface& interface, const char* operation) noexcept {
  CMPIrc code = CMPI_RC_ERR_FAILED;
  try {
    const Caught caught = caught_exception();
    code = caught.code;
    const std::string text = interface.provider->name() + ": " + operation + ": " + caught.cause;
    return {code,
            make(interface.broker, "string", &CMPIBrokerEncFT::newString, text.c_str()).release()};
  } catch (...) {
    return {code, nullptr};  // the text cannot be made; the code still goes out
  }
}

CMPIStatus done_status(const CMPIResult* result) {
  const CMPIStatus status = invoke(result, &CMPIResultFT::returnDone);
  return status.rc == CMPI_RC_ERR_NOT_SUPPORTED ? CMPIStatus{} : status;
}

CMPIStatus clean_up(const void* handle, CMPIBoolean terminating) {
  auto& interface = *static_cast<ManagementInterface*>(const_cast<void*>(handle));
  // The state of runs lives in the process, so that an idle module must not be unloaded.
  if (!terminating) return {CMPI_RC_DO_NOT_UNLOAD, nullptr};
  try {
    interface.provider->close(interface);
    return {};
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
    return failed_status(interface, "cleanup");
  }
}

}  // namespace ovk_cimple

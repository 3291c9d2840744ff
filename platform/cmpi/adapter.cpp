#include "platform/cmpi/adapter.h"

#include "platform/cmpi/client_call.h"

using namespace ovk_cimple;

namespace {

// Entry points cannot return a reason, so that it goes into the object manager's log.
CMPIrc refuse(const CMPIBroker* broker, const char* provider_name) noexcept {
  CMPIrc code = CMPI_RC_ERR_FAILED;
  try {
    const Caught caught = caught_exception();
    code = caught.code;
    const std::string text = std::string(provider_name) + " gives no interface: " + caught.cause;
    if (broker->eft && broker->eft->logMessage)
      broker->eft->logMessage(broker, CMPI_SEV_ERROR, provider_name, text.c_str(), nullptr);
  } catch (...) {  // the caller still gets the code
  }
  return code;
}

}  // namespace

int ovk_cimple_cmpi_adapter(int caller, CmpiStaticData* static_data,
                            const Registration* registration, const CMPIBroker* broker,
                            const CMPIContext*, const char*, char kind, void** result) {
  if (caller != 67 || !static_data || !registration || !broker || !result)
    return CMPI_RC_ERR_INVALID_PARAMETER;
  try {
    *result = &AdaptedProvider::of(*static_data, *registration).open(kind, broker).object;
    return CMPI_RC_OK;
  } catch (const abi::__forced_unwind&) {
    throw;  // the thread is being cancelled; the C library aborts a process that stops that
  } catch (...) {
    return refuse(broker, registration->provider_name);
  }
}

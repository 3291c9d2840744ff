#include "platform/cmpi/codes.h"

#include "platform/framework/dispatch.h"

namespace ovk_cimple {

namespace {

// The operation that a provider refuses with this "unsupported" status.
const char* activity_of(sint32 status) {
  switch (status) {
    case GetInstanceUnsupported:
      return "getting single instances";
    case CreateInstanceUnsupported:
      return "creating instances";
    case DeleteInstanceUnsupported:
      return "deleting instances";
    case ModifyInstanceUnsupported:
      return "modifying instances";
    default:
      return "following associations";
  }
}

}  // namespace

CMPIrc code_for(sint32 operation, sint32 status) {
  switch (status) {
    case OK:
      return CMPI_RC_OK;
    case GetInstanceNotFound:
      return operation == GetInstance ? CMPI_RC_ERR_NOT_FOUND : CMPI_RC_ERR_FAILED;
    case GetInstanceUnsupported:
    case CreateInstanceUnsupported:
    case DeleteInstanceUnsupported:
    case ModifyInstanceUnsupported:
    case EnumAssociatorNamesUnsupported:
    case EnumReferencesUnsupported:
    case EnumAssociatorsUnsupported:
      return CMPI_RC_ERR_NOT_SUPPORTED;
    case MethodUnsupported:
      return CMPI_RC_ERR_METHOD_NOT_AVAILABLE;
    case UnknownOperation:
      return operation == InvokeMethod ? CMPI_RC_ERR_METHOD_NOT_FOUND : CMPI_RC_ERR_FAILED;
    default:
      return CMPI_RC_ERR_FAILED;
  }
}

std::string words_for(sint32 operation, sint32 status) {
  switch (code_for(operation, status)) {
    case CMPI_RC_ERR_NOT_FOUND:
      return "there is no such instance";
    case CMPI_RC_ERR_METHOD_NOT_AVAILABLE:
      return "this method is not supported";
    case CMPI_RC_ERR_METHOD_NOT_FOUND:
      return "this class has no such method";
    case CMPI_RC_ERR_NOT_SUPPORTED:
      return std::string(activity_of(status)) + " of this class is not supported";
    default:
      return "it failed, with the provider's code " + std::to_string(status);
  }
}

}  // namespace ovk_cimple

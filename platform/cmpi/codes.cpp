#include "platform/cmpi/codes.h"

#include "platform/framework/dispatch.h"

namespace ovk_cimple {

namespace {

// The operation that a provider refuses with this "unsupported" status.
const char* activity_of(sint32 status) {
  switch (status) {
    case GET_INSTANCE_UNSUPPORTED:
      return "getting single instances";
    case CREATE_INSTANCE_UNSUPPORTED:
      return "creating instances";
    case DELETE_INSTANCE_UNSUPPORTED:
      return "deleting instances";
    case MODIFY_INSTANCE_UNSUPPORTED:
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
    case GET_INSTANCE_NOT_FOUND:
      return operation == GET_INSTANCE ? CMPI_RC_ERR_NOT_FOUND : CMPI_RC_ERR_FAILED;
    case GET_INSTANCE_UNSUPPORTED:
    case CREATE_INSTANCE_UNSUPPORTED:
    case DELETE_INSTANCE_UNSUPPORTED:
    case MODIFY_INSTANCE_UNSUPPORTED:
    case ENUM_ASSOCIATOR_NAMES_UNSUPPORTED:
    case ENUM_REFERENCES_UNSUPPORTED:
    case ENUM_ASSOCIATORS_UNSUPPORTED:
      return CMPI_RC_ERR_NOT_SUPPORTED;
    case METHOD_UNSUPPORTED:
      return CMPI_RC_ERR_METHOD_NOT_AVAILABLE;
    case UNKNOWN_OPERATION:
      return operation == INVOKE_METHOD ? CMPI_RC_ERR_METHOD_NOT_FOUND : CMPI_RC_ERR_FAILED;
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

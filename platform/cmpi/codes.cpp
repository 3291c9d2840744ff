#include "platform/cmpi/codes.h"

#include "platform/framework/dispatch.h"

namespace ovk_cimple {

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

}  // namespace ovk_cimple

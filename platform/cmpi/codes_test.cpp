#include "platform/cmpi/codes.h"

#include <gtest/gtest.h>

#include "platform/framework/dispatch.h"

namespace ovk_cimple {
namespace {

TEST(Codes, everyProviderStatusHasOne) {
  struct Entry {
    sint32 operation, status;
    CMPIrc code;
  };
  const Entry entries[] = {
      {ENUM_INSTANCES, 0, CMPI_RC_OK},
      {GET_INSTANCE, 60, CMPI_RC_ERR_NOT_FOUND},
      {ENUM_INSTANCES, 60, CMPI_RC_ERR_FAILED},
      {GET_INSTANCE, 61, CMPI_RC_ERR_NOT_SUPPORTED},
      {CREATE_INSTANCE, 81, CMPI_RC_ERR_NOT_SUPPORTED},
      {DELETE_INSTANCE, 91, CMPI_RC_ERR_NOT_SUPPORTED},
      {MODIFY_INSTANCE, 101, CMPI_RC_ERR_NOT_SUPPORTED},
      {ENUM_ASSOCIATOR_NAMES, 111, CMPI_RC_ERR_NOT_SUPPORTED},
      {ENUM_REFERENCES, 121, CMPI_RC_ERR_NOT_SUPPORTED},
      {ENUM_ASSOCIATORS, 171, CMPI_RC_ERR_NOT_SUPPORTED},
      {INVOKE_METHOD, 131, CMPI_RC_ERR_METHOD_NOT_AVAILABLE},
      {INVOKE_METHOD, -1, CMPI_RC_ERR_METHOD_NOT_FOUND},
      {ENUM_ASSOCIATORS, -1, CMPI_RC_ERR_FAILED},
      {ENUM_INSTANCES, 1, CMPI_RC_ERR_FAILED},
  };
  for (const Entry& entry : entries)
    EXPECT_EQ(code_for(entry.operation, entry.status), entry.code)
        << entry.operation << " " << entry.status;
}

}  // namespace
}  // namespace ovk_cimple

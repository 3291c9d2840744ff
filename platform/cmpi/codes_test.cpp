#include "platform/cmpi/codes.h"

#include <gtest/gtest.h>

#include "platform/framework/dispatch.h"

namespace ovk_cimple {
namespace {

TEST(Codes, everyProviderStatusHasOneAndItsWords) {
  struct Entry {
    sint32 operation, status;
    CMPIrc code;
    std::string words = {};
  };
  const Entry entries[] = {
      {ENUM_INSTANCES, 0, CMPI_RC_OK},
      {GET_INSTANCE, 60, CMPI_RC_ERR_NOT_FOUND, "there is no such instance"},
      {ENUM_INSTANCES, 60, CMPI_RC_ERR_FAILED, "it failed, with the provider's code 60"},
      {GET_INSTANCE, 61, CMPI_RC_ERR_NOT_SUPPORTED,
       "getting single instances of this class is not supported"},
      {CREATE_INSTANCE, 81, CMPI_RC_ERR_NOT_SUPPORTED,
       "creating instances of this class is not supported"},
      {DELETE_INSTANCE, 91, CMPI_RC_ERR_NOT_SUPPORTED,
       "deleting instances of this class is not supported"},
      {MODIFY_INSTANCE, 101, CMPI_RC_ERR_NOT_SUPPORTED,
       "modifying instances of this class is not supported"},
      {ENUM_ASSOCIATOR_NAMES, 111, CMPI_RC_ERR_NOT_SUPPORTED,
       "following associations of this class is not supported"},
      {ENUM_REFERENCES, 121, CMPI_RC_ERR_NOT_SUPPORTED,
       "following associations of this class is not supported"},
      {ENUM_ASSOCIATORS, 171, CMPI_RC_ERR_NOT_SUPPORTED,
       "following associations of this class is not supported"},
      {INVOKE_METHOD, 131, CMPI_RC_ERR_METHOD_NOT_AVAILABLE, "this method is not supported"},
      {INVOKE_METHOD, -1, CMPI_RC_ERR_METHOD_NOT_FOUND, "this class has no such method"},
      {ENUM_ASSOCIATORS, -1, CMPI_RC_ERR_FAILED, "it failed, with the provider's code -1"},
      {ENUM_INSTANCES, 1, CMPI_RC_ERR_FAILED, "it failed, with the provider's code 1"},
  };
  for (const Entry& entry : entries) {
    EXPECT_EQ(code_for(entry.operation, entry.status), entry.code)
        << entry.operation << " " << entry.status;
    if (entry.code != CMPI_RC_OK) {
      EXPECT_EQ(words_for(entry.operation, entry.status), entry.words);
    }
  }
}

}  // namespace
}  // namespace ovk_cimple

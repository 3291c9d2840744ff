#include "platform/cmpi/codes.h"

#include <gtest/gtest.h>

#include "platform/framework/dispatch.h"

namespace ovk_cimple {
namespace {

TEST(Codes, EveryProviderStatusHasOneAndItsWords) {
  struct Entry {
    sint32 operation, status;
    CMPIrc code;
    std::string words = {};
  };
  const Entry entries[] = {
      {EnumInstances, 0, CMPI_RC_OK},
      {GetInstance, 60, CMPI_RC_ERR_NOT_FOUND, "there is no such instance"},
      {EnumInstances, 60, CMPI_RC_ERR_FAILED, "it failed, with the provider's code 60"},
      {GetInstance, 61, CMPI_RC_ERR_NOT_SUPPORTED,
       "getting single instances of this class is not supported"},
      {CreateInstance, 81, CMPI_RC_ERR_NOT_SUPPORTED,
       "creating instances of this class is not supported"},
      {DeleteInstance, 91, CMPI_RC_ERR_NOT_SUPPORTED,
       "deleting instances of this class is not supported"},
      {ModifyInstance, 101, CMPI_RC_ERR_NOT_SUPPORTED,
       "modifying instances of this class is not supported"},
      {EnumAssociatorNames, 111, CMPI_RC_ERR_NOT_SUPPORTED,
       "following associations of this class is not supported"},
      {EnumReferences, 121, CMPI_RC_ERR_NOT_SUPPORTED,
       "following associations of this class is not supported"},
      {EnumAssociators, 171, CMPI_RC_ERR_NOT_SUPPORTED,
       "following associations of this class is not supported"},
      {InvokeMethod, 131, CMPI_RC_ERR_METHOD_NOT_AVAILABLE, "this method is not supported"},
      {InvokeMethod, -1, CMPI_RC_ERR_METHOD_NOT_FOUND, "this class has no such method"},
      {EnumAssociators, -1, CMPI_RC_ERR_FAILED, "it failed, with the provider's code -1"},
      {EnumInstances, 1, CMPI_RC_ERR_FAILED, "it failed, with the provider's code 1"},
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

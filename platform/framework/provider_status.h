// The status codes of provider operations.
#pragma once

#include "platform/framework/types.h"

namespace ovk_cimple {

// Each "unsupported" code belongs to one operation. The adapter chooses the object manager's code
// for it.
enum ProviderStatus : sint32 {
  UnknownOperation = -1,  // or no method of that name
  OK = 0,
  GetInstanceNotFound = 60,  // for providers that look up by key
  GetInstanceUnsupported = 61,
  CreateInstanceUnsupported = 81,
  DeleteInstanceUnsupported = 91,
  ModifyInstanceUnsupported = 101,
  EnumAssociatorNamesUnsupported = 111,
  EnumReferencesUnsupported = 121,
  MethodUnsupported = 131,
  EnumAssociatorsUnsupported = 171,
};

}  // namespace ovk_cimple

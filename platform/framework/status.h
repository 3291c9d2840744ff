// The status codes of provider operations.
#pragma once

#include "platform/framework/types.h"

namespace ovk_cimple {

// Each "unsupported" code belongs to one operation. The adapter chooses the object manager's code
// for it.
enum Status : sint32 {
  UNKNOWN_OPERATION = -1,  // or no method of that name
  OK = 0,
  GET_INSTANCE_NOT_FOUND = 60,  // for providers that look up by key
  GET_INSTANCE_UNSUPPORTED = 61,
  CREATE_INSTANCE_UNSUPPORTED = 81,
  DELETE_INSTANCE_UNSUPPORTED = 91,
  MODIFY_INSTANCE_UNSUPPORTED = 101,
  ENUM_ASSOCIATOR_NAMES_UNSUPPORTED = 111,
  ENUM_REFERENCES_UNSUPPORTED = 121,
  METHOD_UNSUPPORTED = 131,
  ENUM_ASSOCIATORS_UNSUPPORTED = 171,
};

}  // namespace ovk_cimple

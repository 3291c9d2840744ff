// Statuses of providers as the object manager's codes.
#pragma once

#include <string>

#include "platform/cmpi/cmpi_codes.h"
#include "platform/framework/types.h"

namespace ovk_cimple {

// The code for what a provider answered to an operation (dispatch.h).
CMPIrc code_for(sint32 operation, sint32 status);

// What it means, for the client: half a sentence.
std::string words_for(sint32 operation, sint32 status);

}  // namespace ovk_cimple

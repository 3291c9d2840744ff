// How statuses of providers become codes and texts for the object manager.
#pragma once

#include <string>

#include "platform/cmpi/cmpi_codes.h"
#include "platform/framework/types.h"

namespace ovk_cimple {

// The code for a provider's answer to an operation (dispatch.h).
CMPIrc code_for(sint32 operation, sint32 status);

// What the answer means, in half a sentence for the client.
std::string words_for(sint32 operation, sint32 status);

}  // namespace ovk_cimple

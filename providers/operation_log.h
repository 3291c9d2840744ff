// The entry and exit lines that providers with behaviour write around their operations.
#pragma once

#include <string_view>

#include "platform/framework/types.h"
#include "platform/support/logger.h"

namespace ovk_cimple {

template <class... Parts>
void log_trace(const Parts&... parts) {
  NKVRHVX20::log_parts(NKVRHVX20::ILogger::eTrace, parts...);
}

inline void log_entering(std::string_view provider, std::string_view operation) {
  log_trace("Entering ", provider, "::", operation);
}

inline void log_exiting(std::string_view provider, std::string_view operation) {
  log_trace("Exiting ", provider, "::", operation);
}

// Writes both lines of an operation that only answers with a status.
inline sint32 log_answer(std::string_view provider, std::string_view operation, sint32 status) {
  log_entering(provider, operation);
  log_exiting(provider, operation);
  return status;
}

}  // namespace ovk_cimple

// The entry and exit lines that providers with behaviour write around their operations.
#pragma once

#include <string>

#include "platform/framework/types.h"
#include "platform/support/logger.h"

namespace ovk_cimple {

inline void log_trace(const std::string& text) {
  NKVRHVX20::TRootObject::GetCoreLogger()->Log(NKVRHVX20::ILogger::eTrace, text);
}

inline void log_entering(const std::string& provider, const std::string& operation) {
  log_trace("Entering " + provider + "::" + operation);
}

inline void log_exiting(const std::string& provider, const std::string& operation) {
  log_trace("Exiting " + provider + "::" + operation);
}

// Both lines of an operation that does nothing but answer.
inline sint32 log_answer(const std::string& provider, const std::string& operation, sint32 status) {
  log_entering(provider, operation);
  log_exiting(provider, operation);
  return status;
}

}  // namespace ovk_cimple

// The entry and exit lines that providers with behaviour write around their operations.
#pragma once

#include <string>
#include <string_view>

#include "platform/framework/types.h"
#include "platform/support/logger.h"

namespace ovk_cimple {

inline void log_trace(const std::string& text) {
  NKVRHVX20::TRootObject::GetCoreLogger()->Log(NKVRHVX20::ILogger::eTrace, text);
}

// There are two for every record of an enumeration.
inline void log_step(std::string_view step, std::string_view provider, std::string_view operation) {
  if (!NKVRHVX20::IsLogged(NKVRHVX20::ILogger::eTrace)) return;
  std::string line;
  line.reserve(step.size() + provider.size() + 2 + operation.size());
  log_trace(line.append(step).append(provider).append("::").append(operation));
}

inline void log_entering(std::string_view provider, std::string_view operation) {
  log_step("Entering ", provider, operation);
}

inline void log_exiting(std::string_view provider, std::string_view operation) {
  log_step("Exiting ", provider, operation);
}

// Both lines of an operation that does nothing but answer.
inline sint32 log_answer(std::string_view provider, std::string_view operation, sint32 status) {
  log_entering(provider, operation);
  log_exiting(provider, operation);
  return status;
}

}  // namespace ovk_cimple

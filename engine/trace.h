// Lines of the engine in the core log.
#pragma once

#include <string>

#include "platform/support/logger.h"

namespace engine {

template <class... Parts>
void trace(const Parts&... parts) {
  NKVRHVX20::log_parts(NKVRHVX20::ILogger::eTrace, parts...);
}

inline void log_error(const std::string& text) {
  using NKVRHVX20::ILogger;
  NKVRHVX20::TRootObject::GetCoreLogger()->Log(ILogger::eError, text);
}

}  // namespace engine

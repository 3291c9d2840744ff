// Lines of the engine in the core log.
#pragma once

#include <string>

#include "platform/support/logger.h"

namespace engine {

inline void Trace(const std::string& text) {
  using NKVRHVX20::ILogger;
  NKVRHVX20::TRootObject::GetCoreLogger()->Log(ILogger::eTrace, text);
}

inline void Failure(const std::string& text) {
  using NKVRHVX20::ILogger;
  NKVRHVX20::TRootObject::GetCoreLogger()->Log(ILogger::eError, text);
}

}  // namespace engine

// Lines of the engine in the core log.
#pragma once

#include <string>

#include "platform/support/logger.h"

namespace engine {

// One line of the parts one after the other, put together only where the line goes anywhere.
template <class... Parts>
void Trace(const Parts&... parts) {
  using NKVRHVX20::ILogger;
  if (!NKVRHVX20::IsLogged(ILogger::eTrace)) return;
  std::string text;
  (text.append(parts), ...);
  NKVRHVX20::TRootObject::GetCoreLogger()->Log(ILogger::eTrace, text);
}

inline void Failure(const std::string& text) {
  using NKVRHVX20::ILogger;
  NKVRHVX20::TRootObject::GetCoreLogger()->Log(ILogger::eError, text);
}

}  // namespace engine

// What the server tells an administrator.
#pragma once

#include <exception>
#include <functional>
#include <string>

namespace broker::http {

// May be called by several threads at once; must not throw. Severity: 0 error, 1 warning,
// 2 information, 3 trace, 4 debugging. An empty function logs nothing.
using Log = std::function<void(int severity, const std::string& text)>;

// Logs what went wrong with a request, as far as there is memory to do so.
inline void log_failure(const Log& log, const char* what, const std::exception& error) noexcept {
  try {
    if (log) log(0, std::string(what) + ": " + error.what());
  } catch (const std::exception&) {  // is not logged
  }
}

}  // namespace broker::http

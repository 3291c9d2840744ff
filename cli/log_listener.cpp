#include "cli/log_listener.h"

#include "platform/support/logger.h"

namespace cli {

LogListener::LogListener(Take take) : take_(std::move(take)) {
  NKVRHVX20::set_log_sink(
      [](NKVRHVX20::ILogger::EHVXLogSeverity severity, const std::string& text, void* data) {
        static_cast<LogListener*>(data)->take_(severity, text);
      },
      this);
}

LogListener::~LogListener() { NKVRHVX20::set_log_sink(nullptr, nullptr); }

}  // namespace cli

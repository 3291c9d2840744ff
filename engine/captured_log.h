// For tests: the lines of the core log while it lives, each as severity, blank, text.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/support/logger.h"

class CapturedLog {
 public:
  CapturedLog() { NKVRHVX20::set_log_sink(add, this); }
  ~CapturedLog() { NKVRHVX20::set_log_sink(nullptr, nullptr); }
  CapturedLog(const CapturedLog&) = delete;

  // The lines since the last call.
  std::vector<std::string> take() { return std::exchange(lines_, {}); }

 private:
  static void add(NKVRHVX20::ILogger::EHVXLogSeverity severity, const std::string& text,
                  void* data) {
    static_cast<CapturedLog*>(data)->lines_.push_back(std::to_string(severity) + " " + text);
  }

  std::vector<std::string> lines_;
};

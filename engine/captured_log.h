// For tests: the lines of the core log while it lives, each as severity, blank, text.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/support/logger.h"

class Captured_Log {
 public:
  Captured_Log() { NKVRHVX20::SetLogSink(Add, this); }
  ~Captured_Log() { NKVRHVX20::SetLogSink(nullptr, nullptr); }
  Captured_Log(const Captured_Log&) = delete;

  // The lines since the last call.
  std::vector<std::string> Take() { return std::exchange(lines, {}); }

 private:
  static void Add(NKVRHVX20::ILogger::EHVXLogSeverity severity, const std::string& text,
                  void* data) {
    static_cast<Captured_Log*>(data)->lines.push_back(std::to_string(severity) + " " + text);
  }

  std::vector<std::string> lines;
};

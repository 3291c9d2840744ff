#include "engine/smartctl_answer.h"

namespace engine {

bool step_failed(int status) { return (status & 15) != 0; }

bool is_smart_enabled(const std::string& information) {
  return information.find("SMART support is: Enabled") != std::string::npos ||
         information.find("Device supports SMART and is Enabled") != std::string::npos;
}

bool keeps_no_log(const std::string& log) {
  return log.find("No self-tests have been logged") != std::string::npos ||
         log.find("SMART Self-test Log not supported") != std::string::npos;
}

}  // namespace engine

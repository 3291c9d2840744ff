// What this process has resident, for tests of how much a request costs.
#pragma once

#include <fstream>
#include <string>

namespace broker::cimxml {

// Of a line of /proc/self/status, in bytes.
inline std::size_t status_bytes(const std::string& field) {
  std::ifstream file("/proc/self/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(field + ":")) return std::stoul(line.substr(field.size() + 1)) * 1024;
  }
  return 0;
}

inline std::size_t resident_bytes() { return status_bytes("VmRSS"); }
inline std::size_t peak_bytes() { return status_bytes("VmHWM"); }
inline void reset_peak() { std::ofstream("/proc/self/clear_refs") << 5; }

// The sanitizers keep memory that was freed.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kMemoryIsTelling = false;
#else
inline constexpr bool kMemoryIsTelling = true;
#endif

}  // namespace broker::cimxml

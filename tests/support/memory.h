#pragma once

#include <fstream>
#include <string>

// Whether memory figures are the module's own: sanitizers keep what is freed, and more.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kMemoryIsMeasurable = false;
#else
inline constexpr bool kMemoryIsMeasurable = true;
#endif

// A field of /proc/self/status, such as "VmRSS" or "VmHWM", in kilobytes.
inline long MemoryKilobytes(const std::string& field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(field)) return std::stol(line.substr(field.size() + 1));
  }
  return 0;
}

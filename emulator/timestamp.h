#pragma once

#include <chrono>
#include <cstdint>

namespace emulator {

// Milliseconds since 1970, the form in which the service shows times.
inline int64_t Timestamp(
    std::chrono::system_clock::time_point when = std::chrono::system_clock::now()) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(when.time_since_epoch()).count();
}

}  // namespace emulator

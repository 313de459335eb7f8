#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace emulator {

// Keeps bytes to a rate: they go in steps, and each step is followed by a rest.
struct Pace {
  // Bytes; at least 1.
  size_t Step() const { return std::clamp<uint64_t>(rate / kStepsPerSecond, 1, kLargestStep); }
  std::chrono::milliseconds Rest(size_t step) const {
    return std::chrono::milliseconds(step * 1000 / rate);
  }

  uint64_t rate;  // bytes per second, not 0

  static constexpr uint64_t kStepsPerSecond = 50;
  static constexpr uint64_t kLargestStep = uint64_t{1} << 20;
};

}  // namespace emulator
